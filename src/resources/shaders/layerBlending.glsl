#version 110
// Composites one layer over the backdrop under it in one of the 25 blend
// modes and writes the result (blending is off, the output replaces the
// target texel). Colours are straight (unpremultiplied) on both inputs and
// the output. With Cs, as the layer texel, Cb, ab the backdrop texel, M the
// mask and o the opacity:
//   as' = as o M
//   Cs' = (1 - ab) Cs + ab B(Cb, Cs)      the blend term weighted by ab
//   ao  = as' + ab (1 - as')
//   Co  = (as' Cs' + ab (1 - as') Cb) / ao, 0 where ao is 0
// so a half-transparent layer over a transparent backdrop keeps its own
// colour, and mode 0 is plain "over".
//
// The blend terms B, the Dissolve noise and the reasons for the edge
// comparisons are written down in canvas/vellblendreference.cpp, the CPU
// compositor; the two must stay identical. In short: every comparison that
// picks a formula is made on 8-bit levels (Hard Mix, Darker and Lighter
// Color, Dissolve) or at half a level from the k / 255 grid of the inputs
// (Color Dodge and Burn), so CPU and GPU take the same branch although their
// float rounding differs.
//
// Mode codes are the VELL_BLEND_* names, defined after the #version line
// when the shader is built; any other code composites as Normal.
//
// Float arithmetic only: GLSL 1.10 has no integer operations, so the noise
// is built from products, sums and an exact mod() on whole numbers below
// 2^24.

uniform sampler2D srcTex;        // unit 0, the layer, gl_TexCoord[0]
uniform sampler2D dstTex;        // unit 1, the backdrop, gl_TexCoord[1]
uniform sampler2D layerMaskTex;  // unit 2, luminance, gl_TexCoord[2]
uniform int hasLayerMask;        // 1: read the mask; else mask = 1
// The canvas may build a program per mode by defining VELL_MODE after the
// #version line; the mode is then a constant and the other modes' code
// compiles away.
#ifdef VELL_MODE
const int mode = VELL_MODE;
#else
uniform int mode;
#endif
uniform float opacity;
// Document pixel of target texel (0, 0) and document pixels per texel, for
// Dissolve, whose noise must not move between tiles and reduced views.
uniform vec2 docOrigin;
uniform float docScale;

const float HALF_LEVEL = 0.5 / 255.0;
const float NOISE_SIZE = 64.0;
const float NOISE_COUNT = 4096.0;

float level(float v)
{
    return floor(v * 255.0 + 0.5);
}

// a mod b in [0, b) for whole numbers |a| < 2^24, b > 0. The quotient from
// the division may be off by one; b * q and the difference are exact, so
// one correction each way makes the result exact.
float wholeMod(float a, float b)
{
    float r = a - b * floor(a / b);
    if (r < 0.0)
        r += b;
    if (r >= b)
        r -= b;
    return r;
}

float feistelF(float r, float k1, float k2, float k3)
{
    return wholeMod(wholeMod(r * r * k1 + r * k2 + k3, 251.0), NOISE_SIZE);
}

// n in 0..4095 for a document pixel: four Feistel rounds over the 64 x 64
// tile, a permutation of the tile's thresholds.
float dissolveNoise(vec2 doc)
{
    float l = wholeMod(doc.x, NOISE_SIZE);
    float r = wholeMod(doc.y, NOISE_SIZE);
    float t = r;
    r = wholeMod(l + feistelF(r, 37.0, 11.0, 5.0), NOISE_SIZE);
    l = t;
    t = r;
    r = wholeMod(l + feistelF(r, 53.0, 29.0, 17.0), NOISE_SIZE);
    l = t;
    t = r;
    r = wholeMod(l + feistelF(r, 19.0, 43.0, 31.0), NOISE_SIZE);
    l = t;
    t = r;
    r = wholeMod(l + feistelF(r, 47.0, 7.0, 23.0), NOISE_SIZE);
    l = t;
    return l * NOISE_SIZE + r;
}

float screen(float a, float b)
{
    return a + b - a * b;
}

float colorDodge(float a, float b)
{
    if (a < HALF_LEVEL)
        return 0.0;
    if (b > 1.0 - HALF_LEVEL)
        return 1.0;
    return min(1.0, a / (1.0 - b));
}

float colorBurn(float a, float b)
{
    if (a > 1.0 - HALF_LEVEL)
        return 1.0;
    if (b < HALF_LEVEL)
        return 0.0;
    return 1.0 - min(1.0, (1.0 - a) / b);
}

float hardLight(float a, float b)
{
    return b <= 0.5 ? a * (2.0 * b) : screen(a, 2.0 * b - 1.0);
}

float softLight(float a, float b)
{
    if (b <= 0.5)
        return a - (1.0 - 2.0 * b) * a * (1.0 - a);
    float d = a <= 0.25 ? ((16.0 * a - 12.0) * a + 4.0) * a : sqrt(a);
    return a + (2.0 * b - 1.0) * (d - a);
}

float vividLight(float a, float b)
{
    return b <= 0.5 ? colorBurn(a, 2.0 * b) : colorDodge(a, 2.0 * b - 1.0);
}

float pinLight(float a, float b)
{
    return b <= 0.5 ? min(a, 2.0 * b) : max(a, 2.0 * b - 1.0);
}

float hardMix(float a, float b)
{
    return level(a) + level(b) >= 255.0 ? 1.0 : 0.0;
}

float lum(vec3 c)
{
    return 0.3 * c.r + 0.59 * c.g + 0.11 * c.b;
}

// Lum x 25500 of the 8-bit levels: a whole number, exact in float.
float lumLevels(vec3 c)
{
    return 30.0 * level(c.r) + 59.0 * level(c.g) + 11.0 * level(c.b);
}

float minOf(vec3 c)
{
    return min(min(c.r, c.g), c.b);
}

float maxOf(vec3 c)
{
    return max(max(c.r, c.g), c.b);
}

vec3 clipColor(vec3 c)
{
    float l = lum(c);
    float n = minOf(c);
    float x = maxOf(c);
    if (n < 0.0 && l - n > 1.0e-6) {
        float k = l - n;
        c = vec3(l + (c.r - l) * l / k, l + (c.g - l) * l / k, l + (c.b - l) * l / k);
    }
    if (x > 1.0 && x - l > 1.0e-6) {
        float k = x - l;
        float s = 1.0 - l;
        c = vec3(l + (c.r - l) * s / k, l + (c.g - l) * s / k, l + (c.b - l) * s / k);
    }
    return c;
}

vec3 setLum(vec3 c, float l)
{
    return clipColor(c + vec3(l - lum(c)));
}

float sat(vec3 c)
{
    return maxOf(c) - minOf(c);
}

vec3 setSat(vec3 c, float s)
{
    float mn = minOf(c);
    float mx = maxOf(c);
    if (!(mx > mn))
        return vec3(0.0);
    float k = mx - mn;
    return vec3((c.r - mn) * s / k, (c.g - mn) * s / k, (c.b - mn) * s / k);
}

vec3 blendTerm(vec3 cb, vec3 cs)
{
    if (mode == VELL_BLEND_DARKEN)
        return min(cb, cs);
    if (mode == VELL_BLEND_MULTIPLY)
        return cb * cs;
    if (mode == VELL_BLEND_COLOR_BURN)
        return vec3(colorBurn(cb.r, cs.r), colorBurn(cb.g, cs.g), colorBurn(cb.b, cs.b));
    if (mode == VELL_BLEND_LINEAR_BURN)
        return max(vec3(0.0), cb + cs - vec3(1.0));
    if (mode == VELL_BLEND_DARKER_COLOR)
        return lumLevels(cs) < lumLevels(cb) ? cs : cb;
    if (mode == VELL_BLEND_LIGHTEN)
        return max(cb, cs);
    if (mode == VELL_BLEND_SCREEN)
        return vec3(screen(cb.r, cs.r), screen(cb.g, cs.g), screen(cb.b, cs.b));
    if (mode == VELL_BLEND_COLOR_DODGE)
        return vec3(colorDodge(cb.r, cs.r), colorDodge(cb.g, cs.g), colorDodge(cb.b, cs.b));
    if (mode == VELL_BLEND_LINEAR_DODGE)
        return min(vec3(1.0), cb + cs);
    if (mode == VELL_BLEND_LIGHTER_COLOR)
        return lumLevels(cs) > lumLevels(cb) ? cs : cb;
    if (mode == VELL_BLEND_OVERLAY)
        return vec3(hardLight(cs.r, cb.r), hardLight(cs.g, cb.g), hardLight(cs.b, cb.b));
    if (mode == VELL_BLEND_SOFT_LIGHT)
        return vec3(softLight(cb.r, cs.r), softLight(cb.g, cs.g), softLight(cb.b, cs.b));
    if (mode == VELL_BLEND_HARD_LIGHT)
        return vec3(hardLight(cb.r, cs.r), hardLight(cb.g, cs.g), hardLight(cb.b, cs.b));
    if (mode == VELL_BLEND_VIVID_LIGHT)
        return vec3(vividLight(cb.r, cs.r), vividLight(cb.g, cs.g), vividLight(cb.b, cs.b));
    if (mode == VELL_BLEND_LINEAR_LIGHT)
        return clamp(cb + 2.0 * cs - vec3(1.0), 0.0, 1.0);
    if (mode == VELL_BLEND_PIN_LIGHT)
        return vec3(pinLight(cb.r, cs.r), pinLight(cb.g, cs.g), pinLight(cb.b, cs.b));
    if (mode == VELL_BLEND_HARD_MIX)
        return vec3(hardMix(cb.r, cs.r), hardMix(cb.g, cs.g), hardMix(cb.b, cs.b));
    if (mode == VELL_BLEND_DIFFERENCE)
        return abs(cb - cs);
    if (mode == VELL_BLEND_EXCLUSION)
        return cb + cs - 2.0 * cb * cs;
    if (mode == VELL_BLEND_HUE)
        return setLum(setSat(cs, sat(cb)), lum(cb));
    if (mode == VELL_BLEND_SATURATION)
        return setLum(setSat(cb, sat(cs)), lum(cb));
    if (mode == VELL_BLEND_COLOR)
        return setLum(cs, lum(cb));
    if (mode == VELL_BLEND_LUMINOSITY)
        return setLum(cb, lum(cs));
    return cs;   // Normal, Dissolve and unknown codes
}

void main()
{
    vec4 src = texture2D(srcTex, gl_TexCoord[0].st);
    vec4 dst = texture2D(dstTex, gl_TexCoord[1].st);
    float m = 1.0;
    if (hasLayerMask == 1)
        m = clamp(texture2D(layerMaskTex, gl_TexCoord[2].st).r, 0.0, 1.0);
    // NaN fails both comparisons and counts as 0, as on the CPU.
    float o = opacity > 0.0 ? (opacity < 1.0 ? opacity : 1.0) : 0.0;
    float sa = src.a * o * m;
    if (mode == VELL_BLEND_DISSOLVE) {
        vec2 doc = floor(docOrigin + floor(gl_FragCoord.xy) * docScale);
        float n = dissolveNoise(doc);
        sa = 2.0 * level(sa) * NOISE_COUNT > (2.0 * n + 1.0) * 255.0 ? 1.0 : 0.0;
    }
    vec3 cs = src.rgb;
    vec3 cb = dst.rgb;
    float ab = dst.a;
    vec3 bt = clamp(blendTerm(cb, cs), 0.0, 1.0);
    float ao = sa + ab * (1.0 - sa);
    if (!(ao > 0.0)) {
        gl_FragColor = vec4(0.0);
        return;
    }
    float wb = ab * (1.0 - sa);
    vec3 sp = (1.0 - ab) * cs + ab * bt;
    gl_FragColor = vec4(clamp((sa * sp + wb * cb) / ao, 0.0, 1.0), clamp(ao, 0.0, 1.0));
}
