#ifndef VELLENDECODETOOL_H
#define VELLENDECODETOOL_H

#include <QByteArray>
#include <QObject>
#include <QString>

// The cipher that protects the compiled-in shader sources: DES (FIPS 46-3)
// in electronic code book mode, with the key given as text and a padding
// block that records how many bytes were added.
//
// Everything is static and works on the caller's buffers only, so any thread
// may call it at any time. The block-level steps use arrays of one bit per
// byte (values 0 and 1, most significant bit of each byte first, as the
// standard numbers them): `char *` always means such a bit array and
// `unsigned char *` always means packed bytes, so the compiler rejects a mix-up.
//
// Texts are 8-bit: a QString result holds one character per byte (Latin-1),
// so NUL and bytes above 127 survive and toLatin1() gives the bytes back.
//
// Depends on QtCore only, because the build tool that enciphers the shaders
// is linked before the library exists.
class VellEnDecodeTool : public QObject
{
    Q_OBJECT
public:
    explicit VellEnDecodeTool(QObject *parent = nullptr);

    // key <- the whole text of ":/Resources/mm.txt"; returns whether it
    // opened. On failure key is left empty, which deciphers with the all-zero
    // key (and so yields garbage for anything enciphered with the real one).
    static bool VellGetMM(QString &key);

    // key <- the whole content of the file at path, one character per byte,
    // so its first 8 bytes are exactly the DES key. Returns whether it opened;
    // on failure key is left empty.
    static bool readKeyFile(const QString &path, QString &key);

    // Deciphers whole 8-byte blocks of data (a trailing partial block is
    // ignored) and strips the padding of the last one. A last block whose
    // padding is not well formed is kept whole. Returns true.
    static bool DES_Decrypt(const QByteArray &data, const QString &key, QString &text);

    // Enciphers data followed by its padding block, so the result is
    // (data.size() / 8 + 1) * 8 bytes long. Returns true.
    static bool DES_Encrypt(const QByteArray &data, const QString &key, QString &text);

    // Reads a compiled-in shader (".glsl_") whole and deciphers it with the
    // compiled-in key. Empty when the resource does not open.
    static QString loadShaderSource(const QString &resourcePath);

    // Bit arrays: bits[0] is the most significant bit.
    static void ByteToBit(unsigned char byte, char bits[8]);
    static void BitToByte(const char bits[8], unsigned char &byte);
    static void Char8ToBit64(const unsigned char bytes[8], char bits[64]);
    static void Bit64ToChar8(const char bits[64], unsigned char bytes[8]);

    // The 16 round keys of 48 bits from a 64-bit key (parity bits ignored).
    static void DES_MakeSubKeys(const char key[64], char subKeys[16][48]);
    static void DES_PC1_Transform(const char key[64], char out[56]);
    static void DES_PC2_Transform(const char key[56], char out[48]);
    // Rotates each 28-bit half of key left by `times` places.
    static void DES_ROL(char key[56], int times);

    static void DES_IP_Transform(char data[64]);     // in place
    static void DES_IP_1_Transform(char data[64]);   // in place
    static void DES_E_Transform(const char in[32], char out[48]);
    static void DES_P_Transform(char data[32]);      // in place
    static void DES_SBOX(const char in[48], char out[32]);
    // a[i] ^= b[i] for i < count.
    static void DES_XOR(char *a, const char *b, int count);
    static void DES_Swap(char left[32], char right[32]);

    // One 8-byte block with subkeys from DES_MakeSubKeys; in and out may be
    // the same buffer.
    static void DES_EncryptBlock(const unsigned char in[8], const char subKeys[16][48],
                                 unsigned char out[8]);
    static void DES_DecryptBlock(const unsigned char in[8], const char subKeys[16][48],
                                 unsigned char out[8]);
};

#endif // VELLENDECODETOOL_H
