#include "foundation/vellendecodetool.h"

#include <QFile>

#include <cstring>

namespace {

// The tables of FIPS 46-3. Entries are the standard's 1-based bit numbers.

const unsigned char kIP[64] = {
    58, 50, 42, 34, 26, 18, 10, 2,  60, 52, 44, 36, 28, 20, 12, 4,
    62, 54, 46, 38, 30, 22, 14, 6,  64, 56, 48, 40, 32, 24, 16, 8,
    57, 49, 41, 33, 25, 17, 9,  1,  59, 51, 43, 35, 27, 19, 11, 3,
    61, 53, 45, 37, 29, 21, 13, 5,  63, 55, 47, 39, 31, 23, 15, 7};

const unsigned char kIP1[64] = {
    40, 8, 48, 16, 56, 24, 64, 32,  39, 7, 47, 15, 55, 23, 63, 31,
    38, 6, 46, 14, 54, 22, 62, 30,  37, 5, 45, 13, 53, 21, 61, 29,
    36, 4, 44, 12, 52, 20, 60, 28,  35, 3, 43, 11, 51, 19, 59, 27,
    34, 2, 42, 10, 50, 18, 58, 26,  33, 1, 41, 9,  49, 17, 57, 25};

const unsigned char kE[48] = {
    32, 1,  2,  3,  4,  5,   4,  5,  6,  7,  8,  9,
    8,  9,  10, 11, 12, 13,  12, 13, 14, 15, 16, 17,
    16, 17, 18, 19, 20, 21,  20, 21, 22, 23, 24, 25,
    24, 25, 26, 27, 28, 29,  28, 29, 30, 31, 32, 1};

const unsigned char kP[32] = {
    16, 7,  20, 21, 29, 12, 28, 17,  1,  15, 23, 26, 5,  18, 31, 10,
    2,  8,  24, 14, 32, 27, 3,  9,   19, 13, 30, 6,  22, 11, 4,  25};

const unsigned char kPC1[56] = {
    57, 49, 41, 33, 25, 17, 9,   1,  58, 50, 42, 34, 26, 18,
    10, 2,  59, 51, 43, 35, 27,  19, 11, 3,  60, 52, 44, 36,
    63, 55, 47, 39, 31, 23, 15,  7,  62, 54, 46, 38, 30, 22,
    14, 6,  61, 53, 45, 37, 29,  21, 13, 5,  28, 20, 12, 4};

const unsigned char kPC2[48] = {
    14, 17, 11, 24, 1,  5,   3,  28, 15, 6,  21, 10,
    23, 19, 12, 4,  26, 8,   16, 7,  27, 20, 13, 2,
    41, 52, 31, 37, 47, 55,  30, 40, 51, 45, 33, 48,
    44, 49, 39, 56, 34, 53,  46, 42, 50, 36, 29, 32};

const unsigned char kShifts[16] = {1, 1, 2, 2, 2, 2, 2, 2, 1, 2, 2, 2, 2, 2, 2, 1};

// [box][row][column]
const unsigned char kSBox[8][4][16] = {
    {{14, 4, 13, 1, 2, 15, 11, 8, 3, 10, 6, 12, 5, 9, 0, 7},
     {0, 15, 7, 4, 14, 2, 13, 1, 10, 6, 12, 11, 9, 5, 3, 8},
     {4, 1, 14, 8, 13, 6, 2, 11, 15, 12, 9, 7, 3, 10, 5, 0},
     {15, 12, 8, 2, 4, 9, 1, 7, 5, 11, 3, 14, 10, 0, 6, 13}},
    {{15, 1, 8, 14, 6, 11, 3, 4, 9, 7, 2, 13, 12, 0, 5, 10},
     {3, 13, 4, 7, 15, 2, 8, 14, 12, 0, 1, 10, 6, 9, 11, 5},
     {0, 14, 7, 11, 10, 4, 13, 1, 5, 8, 12, 6, 9, 3, 2, 15},
     {13, 8, 10, 1, 3, 15, 4, 2, 11, 6, 7, 12, 0, 5, 14, 9}},
    {{10, 0, 9, 14, 6, 3, 15, 5, 1, 13, 12, 7, 11, 4, 2, 8},
     {13, 7, 0, 9, 3, 4, 6, 10, 2, 8, 5, 14, 12, 11, 15, 1},
     {13, 6, 4, 9, 8, 15, 3, 0, 11, 1, 2, 12, 5, 10, 14, 7},
     {1, 10, 13, 0, 6, 9, 8, 7, 4, 15, 14, 3, 11, 5, 2, 12}},
    {{7, 13, 14, 3, 0, 6, 9, 10, 1, 2, 8, 5, 11, 12, 4, 15},
     {13, 8, 11, 5, 6, 15, 0, 3, 4, 7, 2, 12, 1, 10, 14, 9},
     {10, 6, 9, 0, 12, 11, 7, 13, 15, 1, 3, 14, 5, 2, 8, 4},
     {3, 15, 0, 6, 10, 1, 13, 8, 9, 4, 5, 11, 12, 7, 2, 14}},
    {{2, 12, 4, 1, 7, 10, 11, 6, 8, 5, 3, 15, 13, 0, 14, 9},
     {14, 11, 2, 12, 4, 7, 13, 1, 5, 0, 15, 10, 3, 9, 8, 6},
     {4, 2, 1, 11, 10, 13, 7, 8, 15, 9, 12, 5, 6, 3, 0, 14},
     {11, 8, 12, 7, 1, 14, 2, 13, 6, 15, 0, 9, 10, 4, 5, 3}},
    {{12, 1, 10, 15, 9, 2, 6, 8, 0, 13, 3, 4, 14, 7, 5, 11},
     {10, 15, 4, 2, 7, 12, 9, 5, 6, 1, 13, 14, 0, 11, 3, 8},
     {9, 14, 15, 5, 2, 8, 12, 3, 7, 0, 4, 10, 1, 13, 11, 6},
     {4, 3, 2, 12, 9, 5, 15, 10, 11, 14, 1, 7, 6, 0, 8, 13}},
    {{4, 11, 2, 14, 15, 0, 8, 13, 3, 12, 9, 7, 5, 10, 6, 1},
     {13, 0, 11, 7, 4, 9, 1, 10, 14, 3, 5, 12, 2, 15, 8, 6},
     {1, 4, 11, 13, 12, 3, 7, 14, 10, 15, 6, 8, 0, 5, 9, 2},
     {6, 11, 13, 8, 1, 4, 10, 7, 9, 5, 0, 15, 14, 2, 3, 12}},
    {{13, 2, 8, 4, 6, 15, 11, 1, 10, 9, 3, 14, 5, 0, 12, 7},
     {1, 15, 13, 8, 10, 3, 7, 4, 12, 5, 6, 11, 0, 14, 9, 2},
     {7, 11, 4, 1, 9, 12, 14, 2, 0, 6, 10, 13, 15, 3, 5, 8},
     {2, 1, 14, 7, 4, 10, 8, 13, 15, 12, 9, 0, 3, 5, 6, 11}}};

const int kBlock = 8;

// out[i] = in[table[i] - 1]; in and out must not overlap.
void permute(const char *in, const unsigned char *table, int count, char *out)
{
    for (int i = 0; i < count; ++i)
        out[i] = in[table[i] - 1];
}

// The 64-bit DES key: the first 8 Latin-1 bytes of the text, zero-filled.
void keyBits(const QString &key, char bits[64])
{
    unsigned char bytes[kBlock] = {};
    const QByteArray latin = key.toLatin1();
    std::memcpy(bytes, latin.constData(), size_t(qMin(latin.size(), kBlock)));
    VellEnDecodeTool::Char8ToBit64(bytes, bits);
}

// The sixteen rounds between the two permutations. Deciphering is the same
// network with the round keys taken in reverse order.
void crypt(const unsigned char in[8], const char subKeys[16][48], bool decipher,
           unsigned char out[8])
{
    char bits[64];
    VellEnDecodeTool::Char8ToBit64(in, bits);
    VellEnDecodeTool::DES_IP_Transform(bits);
    char *left = bits;
    char *right = bits + 32;
    for (int round = 0; round < 16; ++round) {
        char expanded[48];
        char f[32];
        VellEnDecodeTool::DES_E_Transform(right, expanded);
        VellEnDecodeTool::DES_XOR(expanded, subKeys[decipher ? 15 - round : round], 48);
        VellEnDecodeTool::DES_SBOX(expanded, f);
        VellEnDecodeTool::DES_P_Transform(f);
        VellEnDecodeTool::DES_XOR(left, f, 32);
        VellEnDecodeTool::DES_Swap(left, right);
    }
    // The last round does not exchange the halves: undo its swap.
    VellEnDecodeTool::DES_Swap(left, right);
    VellEnDecodeTool::DES_IP_1_Transform(bits);
    VellEnDecodeTool::Bit64ToChar8(bits, out);
}

// One character per byte, NUL and bytes above 127 included.
QString latin1Text(const QByteArray &bytes)
{
    // fromLatin1 reads a size of -1 as "up to the first NUL"; clamping shows
    // g++ that this never happens (it otherwise warns of a strlen over Qt's
    // shared empty array).
    return QString::fromLatin1(bytes.constData(), qMax(0, bytes.size()));
}

const unsigned char *bytesOf(const QByteArray &data, int offset)
{
    return reinterpret_cast<const unsigned char *>(data.constData()) + offset;
}

} // namespace

VellEnDecodeTool::VellEnDecodeTool(QObject *parent)
    : QObject(parent)
{
}

bool VellEnDecodeTool::VellGetMM(QString &key)
{
    return readKeyFile(QStringLiteral(":/Resources/mm.txt"), key);
}

bool VellEnDecodeTool::readKeyFile(const QString &path, QString &key)
{
    key.clear();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    key = latin1Text(file.readAll());
    return true;
}

bool VellEnDecodeTool::DES_Decrypt(const QByteArray &data, const QString &key, QString &text)
{
    char bits[64];
    char subKeys[16][48];
    keyBits(key, bits);
    DES_MakeSubKeys(bits, subKeys);

    const int blocks = data.size() / kBlock;
    QByteArray plain(blocks * kBlock, Qt::Uninitialized);
    unsigned char *out = reinterpret_cast<unsigned char *>(plain.data());
    for (int i = 0; i < blocks; ++i)
        DES_DecryptBlock(bytesOf(data, i * kBlock), subKeys, out + i * kBlock);

    if (blocks > 0) {
        const unsigned char *last = out + (blocks - 1) * kBlock;
        const int n = last[kBlock - 1];
        int keep = kBlock;
        if (n == kBlock) {
            keep = 0;
        } else if (n >= 1 && n < kBlock) {
            bool zeros = true;
            for (int i = kBlock - n; i < kBlock - 1; ++i)
                zeros = zeros && last[i] == 0;
            if (zeros)
                keep = kBlock - n;
        }
        plain.chop(kBlock - keep);
    }
    text = latin1Text(plain);
    return true;
}

bool VellEnDecodeTool::DES_Encrypt(const QByteArray &data, const QString &key, QString &text)
{
    char bits[64];
    char subKeys[16][48];
    keyBits(key, bits);
    DES_MakeSubKeys(bits, subKeys);

    const int whole = data.size() / kBlock;
    const int rest = data.size() - whole * kBlock;
    QByteArray cipher((whole + 1) * kBlock, Qt::Uninitialized);
    unsigned char *out = reinterpret_cast<unsigned char *>(cipher.data());
    for (int i = 0; i < whole; ++i)
        DES_EncryptBlock(bytesOf(data, i * kBlock), subKeys, out + i * kBlock);

    unsigned char pad[kBlock] = {};
    std::memcpy(pad, bytesOf(data, whole * kBlock), size_t(rest));
    pad[kBlock - 1] = static_cast<unsigned char>(kBlock - rest);
    DES_EncryptBlock(pad, subKeys, out + whole * kBlock);

    text = latin1Text(cipher);
    return true;
}

QString VellEnDecodeTool::loadShaderSource(const QString &resourcePath)
{
    QFile file(resourcePath);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    const QByteArray enciphered = file.readAll();
    QString key;
    VellGetMM(key);   // without it the zero key yields garbage the compiler rejects
    QString source;
    DES_Decrypt(enciphered, key, source);
    return source;
}

void VellEnDecodeTool::ByteToBit(unsigned char byte, char bits[8])
{
    for (int i = 0; i < 8; ++i)
        bits[i] = char((byte >> (7 - i)) & 1);
}

void VellEnDecodeTool::BitToByte(const char bits[8], unsigned char &byte)
{
    unsigned int value = 0;
    for (int i = 0; i < 8; ++i)
        value = (value << 1) | (bits[i] & 1);
    byte = static_cast<unsigned char>(value);
}

void VellEnDecodeTool::Char8ToBit64(const unsigned char bytes[8], char bits[64])
{
    for (int i = 0; i < 8; ++i)
        ByteToBit(bytes[i], bits + i * 8);
}

void VellEnDecodeTool::Bit64ToChar8(const char bits[64], unsigned char bytes[8])
{
    for (int i = 0; i < 8; ++i)
        BitToByte(bits + i * 8, bytes[i]);
}

void VellEnDecodeTool::DES_MakeSubKeys(const char key[64], char subKeys[16][48])
{
    char cd[56];
    DES_PC1_Transform(key, cd);
    for (int i = 0; i < 16; ++i) {
        DES_ROL(cd, kShifts[i]);
        DES_PC2_Transform(cd, subKeys[i]);
    }
}

void VellEnDecodeTool::DES_PC1_Transform(const char key[64], char out[56])
{
    permute(key, kPC1, 56, out);
}

void VellEnDecodeTool::DES_PC2_Transform(const char key[56], char out[48])
{
    permute(key, kPC2, 48, out);
}

void VellEnDecodeTool::DES_ROL(char key[56], int times)
{
    times = (times % 28 + 28) % 28;   // a negative count rotates right
    for (char *half = key; half < key + 56; half += 28) {
        char copy[28];
        std::memcpy(copy, half, sizeof copy);
        for (int i = 0; i < 28; ++i)
            half[i] = copy[(i + times) % 28];
    }
}

void VellEnDecodeTool::DES_IP_Transform(char data[64])
{
    char copy[64];
    std::memcpy(copy, data, sizeof copy);
    permute(copy, kIP, 64, data);
}

void VellEnDecodeTool::DES_IP_1_Transform(char data[64])
{
    char copy[64];
    std::memcpy(copy, data, sizeof copy);
    permute(copy, kIP1, 64, data);
}

void VellEnDecodeTool::DES_E_Transform(const char in[32], char out[48])
{
    permute(in, kE, 48, out);
}

void VellEnDecodeTool::DES_P_Transform(char data[32])
{
    char copy[32];
    std::memcpy(copy, data, sizeof copy);
    permute(copy, kP, 32, data);
}

void VellEnDecodeTool::DES_SBOX(const char in[48], char out[32])
{
    for (int box = 0; box < 8; ++box) {
        const char *six = in + box * 6;
        // The outer bits pick the row, the inner four the column.
        const int row = (six[0] << 1) | six[5];
        const int column = (six[1] << 3) | (six[2] << 2) | (six[3] << 1) | six[4];
        const int value = kSBox[box][row][column];
        for (int i = 0; i < 4; ++i)
            out[box * 4 + i] = char((value >> (3 - i)) & 1);
    }
}

void VellEnDecodeTool::DES_XOR(char *a, const char *b, int count)
{
    for (int i = 0; i < count; ++i)
        a[i] = char(a[i] ^ b[i]);
}

void VellEnDecodeTool::DES_Swap(char left[32], char right[32])
{
    char copy[32];
    std::memcpy(copy, left, sizeof copy);
    std::memcpy(left, right, sizeof copy);
    std::memcpy(right, copy, sizeof copy);
}

void VellEnDecodeTool::DES_EncryptBlock(const unsigned char in[8], const char subKeys[16][48],
                                        unsigned char out[8])
{
    crypt(in, subKeys, false, out);
}

void VellEnDecodeTool::DES_DecryptBlock(const unsigned char in[8], const char subKeys[16][48],
                                        unsigned char out[8])
{
    crypt(in, subKeys, true, out);
}
