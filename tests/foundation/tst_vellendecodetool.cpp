#include "foundation/vellendecodetool.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

// Expected ciphertexts come from OpenSSL's DES (`openssl enc -des-ecb -nopad`)
// and were cross-checked with the Python cryptography package; the block
// vectors are the published NBS/FIPS test vectors.
class TestVellEnDecodeTool : public QObject
{
    Q_OBJECT

private slots:
    void blockVectors_data();
    void blockVectors();
    void textVectors_data();
    void textVectors();
    void padding_data();
    void padding();
    void lastBlock_data();
    void lastBlock();
    void compiledInKey();
    void compiledInShaders();
    void tool_data();
    void tool();
};

namespace {

using Tool = VellEnDecodeTool;

QByteArray block(const QByteArray &key, const QByteArray &in, bool decipher = false)
{
    char bits[64];
    char subKeys[16][48];
    Tool::Char8ToBit64(reinterpret_cast<const unsigned char *>(key.constData()), bits);
    Tool::DES_MakeSubKeys(bits, subKeys);
    const auto *from = reinterpret_cast<const unsigned char *>(in.constData());
    QByteArray out(8, '\0');
    auto *to = reinterpret_cast<unsigned char *>(out.data());
    decipher ? Tool::DES_DecryptBlock(from, subKeys, to) : Tool::DES_EncryptBlock(from, subKeys, to);
    return out;
}

QByteArray encrypt(const QByteArray &data, const QString &key)
{
    QString text;
    Tool::DES_Encrypt(data, key, text);
    return text.toLatin1();
}

QByteArray decrypt(const QByteArray &data, const QString &key)
{
    QString text;
    Tool::DES_Decrypt(data, key, text);
    return text.toLatin1();
}

// Random bytes that always contain a NUL and a 0xFF where there is room.
QByteArray randomBytes(int size, quint32 seed)
{
    QRandomGenerator rng(seed);
    QByteArray bytes(size, '\0');
    for (char &b : bytes)
        b = char(rng.bounded(256));
    if (size > 0)
        bytes[0] = '\0';
    if (size > 1)
        bytes[size - 1] = '\xff';
    return bytes;
}

const QString kKeyFile = QStringLiteral(VELL_SOURCE_DIR "/src/resources/mm.txt");
const QString kToolPath = QStringLiteral(VELL_BINARY_DIR "/buildtools/vell-encipher");

} // namespace

// With chain > 1 every block is keyed by the previous input; ten thousand
// such blocks reach nearly every S-box entry, so one wrong entry shows.
void TestVellEnDecodeTool::blockVectors_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<int>("chain");
    QTest::addColumn<QByteArray>("cipher");
    auto row = [](const char *name, const char *k, const char *p, const char *c, int chain = 1) {
        QTest::newRow(name) << QByteArray::fromHex(k) << QByteArray::fromHex(p) << chain
                            << QByteArray::fromHex(c);
    };
    row("textbook", "133457799BBCDFF1", "0123456789ABCDEF", "85E813540F0AB405");
    row("parity bits ignored", "123556789ABDDEF0", "0123456789ABCDEF", "85E813540F0AB405");
    row("plaintext first bit", "0101010101010101", "8000000000000000", "95F8A5E5DD31D900");
    row("plaintext last bit", "0101010101010101", "0000000000000001", "166B40B44ABA4BD6");
    row("key first bit", "8001010101010101", "0000000000000000", "95A8D72813DAA94D");
    row("Now is t", "0123456789ABCDEF", "4E6F772069732074", "3FA40E8A984D4815");
    row("permutation", "1046913489980131", "0000000000000000", "88D55E54F54C97B4");
    row("substitution", "7CA110454A1A6E57", "01A1D6D039776742", "690F5B0D9A26939B");
    row("all zeros", "0000000000000000", "0000000000000000", "8CA64DE9C1B123A7");
    row("10000 chained", "133457799BBCDFF1", "0123456789ABCDEF", "A2A6C7D6AD765161", 10000);
}

void TestVellEnDecodeTool::blockVectors()
{
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, plain);
    QFETCH(int, chain);
    QFETCH(QByteArray, cipher);
    QByteArray in = plain;
    QByteArray out;
    for (int i = 0; i < chain; ++i) {
        if (i > 0) {
            key = in;
            in = out;
        }
        out = block(key, in);
    }
    QCOMPARE(out.toHex(), cipher.toHex());
    QCOMPARE(block(key, out, true).toHex(), in.toHex());
}

void TestVellEnDecodeTool::textVectors_data()
{
    QTest::addColumn<QString>("key");
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<QByteArray>("cipher");
    auto row = [](const char *name, const QString &k, const QByteArray &p, const char *c) {
        QTest::newRow(name) << k << p << QByteArray::fromHex(c);
    };
    row("5 bytes", "VellKey!", "Hello", "55B1579B84BEE403");
    row("one block, then a padding block", "VellKey!", "ABCDEFGH",
        "8B2CF416765B2357DEE9C8434C0FC95E");
    row("short key zero-filled", "abc", "Hello", "9B058ADC4E9051D4");
    row("only 8 key bytes used", "abcdefghIGNORED", "Hello", "02753B8B5B7AF073");
    row("empty key, empty text", QString(), QByteArray(), "CC083F1E6D9E85F6");
    row("Latin-1 key", QString::fromLatin1("\xe9\xe8\xff"), "Hello", "4D25BE0B05A8DBCA");
}

void TestVellEnDecodeTool::textVectors()
{
    QFETCH(QString, key);
    QFETCH(QByteArray, plain);
    QFETCH(QByteArray, cipher);
    QCOMPARE(encrypt(plain, key).toHex(), cipher.toHex());
    QCOMPARE(decrypt(cipher, key).toHex(), plain.toHex());
}

void TestVellEnDecodeTool::padding_data()
{
    QTest::addColumn<QByteArray>("plain");
    for (int size : {0, 1, 5, 7, 8, 9, 16, 17, 1000})
        QTest::addRow("%d random bytes", size) << randomBytes(size, quint32(size) + 1);
    // Plaintext that itself looks like a padding block must still come back.
    QTest::newRow("ends like padding") << QByteArray("abcdefgh\0\0\0\0\0\0\0\x08", 16);
}

void TestVellEnDecodeTool::padding()
{
    QFETCH(QByteArray, plain);
    const QByteArray cipher = encrypt(plain, QStringLiteral("k3y"));
    QCOMPARE(cipher.size(), (plain.size() / 8 + 1) * 8);
    QCOMPARE(decrypt(cipher, QStringLiteral("k3y")).toHex(), plain.toHex());
}

// The last deciphered block loses its padding only when the padding is well
// formed; blocks before it are kept whatever they end in.
void TestVellEnDecodeTool::lastBlock_data()
{
    QTest::addColumn<QByteArray>("last");
    QTest::addColumn<int>("kept");
    QTest::addColumn<QByteArray>("trailing");
    auto row = [](const char *name, const char *hex, int kept, const QByteArray &trailing = {}) {
        QTest::newRow(name) << QByteArray::fromHex(hex) << kept << trailing;
    };
    row("2, byte 6 not zero: whole", "0102030405060702", 8);
    row("3 after zeros: 5 kept", "4142434445000003", 5);
    row("3, byte 5 not zero: whole", "4142434445010003", 8);
    row("1: 7 kept", "4142434445464701", 7);
    row("7 after zeros: 1 kept", "4100000000000007", 1);
    row("8: nothing kept", "4142434445464708", 0);
    row("0: whole", "4142434445464700", 8);
    row("9: whole", "4142434445464709", 8);
    row("partial block ignored", "4142434445000003", 5, "xyz");
}

void TestVellEnDecodeTool::lastBlock()
{
    QFETCH(QByteArray, last);
    QFETCH(int, kept);
    QFETCH(QByteArray, trailing);
    const QByteArray key("8bytekey");
    const QByteArray first = QByteArray::fromHex("0000000000000008");
    const QByteArray cipher = block(key, first) + block(key, last) + trailing;
    QCOMPARE(decrypt(cipher, QString::fromLatin1(key)).toHex(), (first + last.left(kept)).toHex());
}

void TestVellEnDecodeTool::compiledInKey()
{
    QFile file(kKeyFile);
    QVERIFY(file.open(QIODevice::ReadOnly));
    QString key = QStringLiteral("stale");
    QVERIFY(Tool::VellGetMM(key));
    QCOMPARE(key, QString::fromLatin1(file.readAll()));

    QVERIFY(!Tool::readKeyFile(QStringLiteral(":/Resources/no-such-key"), key));
    QVERIFY(key.isEmpty());
}

// Every shader source must come back from its enciphered resource unchanged.
void TestVellEnDecodeTool::compiledInShaders()
{
    QVERIFY(Tool::loadShaderSource(QStringLiteral(":/Resources/no-such-shader.glsl_")).isEmpty());
    const QDir dir(QStringLiteral(VELL_SOURCE_DIR "/src/resources/shaders"));
    const QStringList names = dir.entryList({QStringLiteral("*.glsl")}, QDir::Files);
    if (names.isEmpty())
        QSKIP("no shader sources yet");
    for (const QString &name : names) {
        QFile file(dir.filePath(name));
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(name));
        const QString source = QString::fromLatin1(file.readAll());
        QVERIFY2(Tool::loadShaderSource(":/Resources/" + name + '_') == source, qPrintable(name));
    }
}

void TestVellEnDecodeTool::tool_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("status");
    const QString missing = QStringLiteral("/nonexistent/file");
    QTest::newRow("enciphers") << QStringList{kKeyFile, "IN", "OUT"} << 0;
    QTest::newRow("no arguments") << QStringList() << 2;
    QTest::newRow("missing key file") << QStringList{missing, "IN", "OUT"} << 1;
    QTest::newRow("missing input") << QStringList{kKeyFile, missing, "OUT"} << 1;
}

void TestVellEnDecodeTool::tool()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, status);
    QTemporaryDir tmp;
    QVERIFY(tmp.isValid());
    const QByteArray plain = randomBytes(37, 99);
    QFile in(tmp.filePath("in"));
    QVERIFY(in.open(QIODevice::WriteOnly) && in.write(plain) == plain.size());
    in.close();
    for (QString &argument : arguments) {
        if (argument == "IN")
            argument = in.fileName();
        else if (argument == "OUT")
            argument = tmp.filePath("out");
    }

    QCOMPARE(QProcess::execute(kToolPath, arguments), status);
    QFile out(tmp.filePath("out"));
    if (status != 0) {
        QVERIFY(!out.exists());   // nothing the build could mistake for a resource
        return;
    }
    QVERIFY(out.open(QIODevice::ReadOnly));
    QString key;
    QVERIFY(Tool::readKeyFile(kKeyFile, key));
    QCOMPARE(decrypt(out.readAll(), key).toHex(), plain.toHex());
}

QTEST_GUILESS_MAIN(TestVellEnDecodeTool)
#include "tst_vellendecodetool.moc"
