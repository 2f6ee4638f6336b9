#ifndef VELLCODES_H
#define VELLCODES_H

// The numbered codes of the library: values that are stored in documents and
// streams, handed to shaders as uniforms and compared by several floors. Each
// value is written here and nowhere else. The shaders get the same values as
// #define lines generated from kVellGlslCodes at build time (the shader
// enciphering step puts them after each shader's #version line), so C++ and
// GLSL cannot drift apart.
//
// Codes are plain ints wherever they are kept (layers, streams, uniforms),
// hence unscoped enums inside a namespace: VellBlend::Multiply reads as the
// int a layer stores, and a switch over an int takes the names as labels.

namespace VellBlend {
// The 25 blend modes, in menu order: code = menu position x Step. Any other
// code composites as Normal.
enum Mode : int {
    Normal = 0,
    Dissolve = 10,
    Darken = 20,
    Multiply = 30,
    ColorBurn = 40,
    LinearBurn = 50,
    DarkerColor = 60,
    Lighten = 70,
    Screen = 80,
    ColorDodge = 90,
    LinearDodge = 100,
    LighterColor = 110,
    Overlay = 120,
    SoftLight = 130,
    HardLight = 140,
    VividLight = 150,
    LinearLight = 160,
    PinLight = 170,
    HardMix = 180,
    Difference = 190,
    Exclusion = 200,
    Hue = 210,
    Saturation = 220,
    Color = 230,
    Luminosity = 240
};
constexpr int Step = Dissolve - Normal;
constexpr int Count = Luminosity / Step + 1;
} // namespace VellBlend

namespace VellLayerType {
// What a layer holds; anything else is stored as Raster.
enum Type : int {
    Raster = 0,   // pixels in a picture host
    Text = 1      // a text document rendered to pixels
};
} // namespace VellLayerType

namespace VellChannelBits {
// Colour channels as bits of a document's editing and displaying masks and of
// the post-render pass's displayingChannel uniform. All shows the composite
// as it is; the post-render pass reads All as "overlay the mask".
enum Bits : int {
    Red = 1,
    Green = 2,
    Blue = 4,
    All = Red | Green | Blue
};
} // namespace VellChannelBits

namespace VellEventType {
// The events helper threads post to objects on the GUI thread (the first
// numbers above QEvent::User that Qt leaves to applications).
enum Type : int {
    SwapFinished = 1010,        // a memo's swap file was written or read
    ApplyAcquired = 1011,       // a tool's apply thread got the apply lock
    ApplyNotAcquired = 1012,    // ... or found it taken
    TimerTick = 1013            // a timer thread's tick
};
} // namespace VellEventType

namespace VellSelectionKind {
// What a selection holds. Rectangle and Ellipse are only set through setType
// and the history; Whole is every pixel selected when displayFull is set and
// no selection otherwise; Empty is the inverse of select-all. Any value above
// Empty counts as a selection.
enum Kind : int {
    Rectangle = 0,
    Ellipse = 1,
    Mask = 2,
    Whole = 3,
    Empty = 4
};
} // namespace VellSelectionKind

namespace VellCombineMode {
// How a new shape meets the selection already there, per coverage byte:
// Replace takes the new value (and clears the rest), Add the saturated sum,
// Subtract the saturated difference, Intersect the smaller of the two.
enum Mode : int {
    Replace = 0,
    Add = 1,
    Subtract = 2,
    Intersect = 3
};
} // namespace VellCombineMode

namespace VellPathType {
// The shape of a selection path (an outline a selection tool builds).
enum Type : int {
    Rectangle = 0,   // points 0 and 2 are opposite corners
    Ellipse = 1,     // points 0 and 1 are opposite corners of its bounding box
    Polygon = 2      // all points in order
};
} // namespace VellPathType

namespace VellActionGroup {
// Command groups of the action manager that the selection switches: Edit
// holds Copy, Cut, Delete and Copy to file; SelectionEdit holds Inverse,
// Feather, Deselect and Move Selection.
enum Group : int {
    Edit = 2,
    SelectionEdit = 5
};
} // namespace VellActionGroup

namespace VellMemoType {
// The kind of an undo memo, which also picks how the history steps over it:
// PictureFull by restoring a snapshot, Param by replaying a filter from the
// snapshot below it, every other kind by exchanging its state with the
// document's (such a memo is its own inverse). Reserved is stepped like the
// exchanging kinds but no memo of the library has it.
enum Type : int {
    PictureFull = 0,
    Param = 1,
    SparsePicture = 2,
    Selection = 3,
    Reserved = 4,
    LayerList = 5,
    CanvasAndLayers = 6,
    LayerModify = 7,
    LayerMask = 8,
    LayerMaskCreateOrRemove = 9,
    LayerMaskFull = 10
};
} // namespace VellMemoType

// One #define the shaders get: `name` is the GLSL macro.
struct VellGlslCode
{
    const char *name;
    int value;
};

inline constexpr VellGlslCode kVellGlslCodes[] = {
    {"VELL_BLEND_NORMAL", VellBlend::Normal},
    {"VELL_BLEND_DISSOLVE", VellBlend::Dissolve},
    {"VELL_BLEND_DARKEN", VellBlend::Darken},
    {"VELL_BLEND_MULTIPLY", VellBlend::Multiply},
    {"VELL_BLEND_COLOR_BURN", VellBlend::ColorBurn},
    {"VELL_BLEND_LINEAR_BURN", VellBlend::LinearBurn},
    {"VELL_BLEND_DARKER_COLOR", VellBlend::DarkerColor},
    {"VELL_BLEND_LIGHTEN", VellBlend::Lighten},
    {"VELL_BLEND_SCREEN", VellBlend::Screen},
    {"VELL_BLEND_COLOR_DODGE", VellBlend::ColorDodge},
    {"VELL_BLEND_LINEAR_DODGE", VellBlend::LinearDodge},
    {"VELL_BLEND_LIGHTER_COLOR", VellBlend::LighterColor},
    {"VELL_BLEND_OVERLAY", VellBlend::Overlay},
    {"VELL_BLEND_SOFT_LIGHT", VellBlend::SoftLight},
    {"VELL_BLEND_HARD_LIGHT", VellBlend::HardLight},
    {"VELL_BLEND_VIVID_LIGHT", VellBlend::VividLight},
    {"VELL_BLEND_LINEAR_LIGHT", VellBlend::LinearLight},
    {"VELL_BLEND_PIN_LIGHT", VellBlend::PinLight},
    {"VELL_BLEND_HARD_MIX", VellBlend::HardMix},
    {"VELL_BLEND_DIFFERENCE", VellBlend::Difference},
    {"VELL_BLEND_EXCLUSION", VellBlend::Exclusion},
    {"VELL_BLEND_HUE", VellBlend::Hue},
    {"VELL_BLEND_SATURATION", VellBlend::Saturation},
    {"VELL_BLEND_COLOR", VellBlend::Color},
    {"VELL_BLEND_LUMINOSITY", VellBlend::Luminosity},
    {"VELL_CHANNEL_RED", VellChannelBits::Red},
    {"VELL_CHANNEL_GREEN", VellChannelBits::Green},
    {"VELL_CHANNEL_BLUE", VellChannelBits::Blue},
    {"VELL_CHANNEL_ALL", VellChannelBits::All},
};

#endif // VELLCODES_H
