#ifndef VELLCOLORPROFILECONVERTER_H
#define VELLCOLORPROFILECONVERTER_H

#include <QByteArray>
#include <QString>

class VellPictureHost;

// Brings pictures taken in a wide-gamut RGB colour space into sRGB when they
// are opened: guesses a camera file's colour space from the names written in
// its metadata, and converts a picture host with Little CMS.
//
// Colour spaces go by canonical name: "SRGB", "ProPhoto", "Adobe RGB",
// "Apple RGB", "WideGamut", "CIERGB", "MelissaRGB". sRGB is Little CMS's
// built-in profile; the others are read from "./data/iccprofiles/"
// (ProPhoto.icc, Adobe98.icc, AppleRGB.icc, WideGamut.icc, CIERGB.icc,
// MelissaRGB.icc), relative to the working folder: a host runs from the
// folder that holds data/.
//
// Stateless; all operations are static. Little CMS's errors go to the log.
class VellColorProfileConverter
{
public:
    VellColorProfileConverter() = default;
    ~VellColorProfileConverter() = default;

    // The canonical name of the first colour space of the search table (in
    // its order) whose name appears in text with "profile" within the 40
    // characters before it; both ignore case. Only the first occurrence of
    // each name counts, and not at the very start of text. Empty when none.
    static QString parseProfile(const QString &text);

    // The colour space a file's metadata names: the first 51200 bytes are
    // searched, then, when they name none, the last 20480 (zero bytes read as
    // spaces, bytes as Latin-1). "SRGB" when neither does; empty when the file
    // cannot be opened.
    static QString extractCameraProfile(const QString &path);

    // Converts *host from the named colour space to sRGB, perceptual intent,
    // keeping alpha. The converted pixels go into a new host that replaces
    // *host (the old one is deleted), so no one else may hold the old pointer.
    //
    // The result says only whether there was nothing to do: true for an empty
    // name or "SRGB" (host untouched); false otherwise, both when the picture
    // was converted and when it was left alone (null host, unknown name,
    // missing or unreadable profile, no transform, no memory). Callers see
    // that a conversion happened because *host changed.
    //
    // 8-bit hosts convert as 8-bit B, G, R, A; 16-bit hosts as 16-bit words in
    // the same order. Runs on the calling thread, its rows split over OpenMP.
    static bool convertToSRGB(VellPictureHost **host, const QString &name);

    // What an ICC profile embedded in a picture file (its bytes) says of
    // itself, as Little CMS reads it.
    struct EmbeddedProfile
    {
        bool readable = false;   // Little CMS could parse it
        bool rgb = false;        // it describes RGB pixels, so it can convert a host
        bool srgb = false;       // converting with it to sRGB changes no 8-bit level by more than 1
        QString description;     // its description tag ("Adobe RGB (1998)"); may be empty
    };
    static EmbeddedProfile inspectProfile(const QByteArray &iccProfile);

    // Converts *host to sRGB from the colour space that the ICC profile
    // `iccProfile` (a picture file's own) describes, perceptual intent like
    // convertToSRGB, keeping alpha and replacing *host the same way. True
    // when it converted; false, with *host untouched, when the bytes are not
    // a readable RGB profile, no transform can be made or memory runs out.
    static bool convertProfileToSRGB(VellPictureHost **host, const QByteArray &iccProfile);

    // The profile file of a canonical name ("./data/iccprofiles/..."); empty
    // for "SRGB" and for names not in the table.
    static QString profileFile(const QString &name);
};

#endif // VELLCOLORPROFILECONVERTER_H
