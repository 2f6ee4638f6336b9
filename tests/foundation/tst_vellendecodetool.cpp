#include "foundation/vellcodes.h"
#include "foundation/vellendecodetool.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

// Ciphertexts come from OpenSSL (`openssl enc -des-ecb -nopad`), cross-checked with
// Python's cryptography package; the block vectors are the published NBS/FIPS ones.
using Tool = VellEnDecodeTool;

// Enciphers in place, which the block functions allow.
static QByteArray block(const QByteArray &key, QByteArray data, bool decipher = false)
{
    char bits[64], subKeys[16][48];
    Tool::Char8ToBit64(reinterpret_cast<const unsigned char *>(key.constData()), bits);
    Tool::DES_MakeSubKeys(bits, subKeys);
    auto *p = reinterpret_cast<unsigned char *>(data.data());
    decipher ? Tool::DES_DecryptBlock(p, subKeys, p) : Tool::DES_EncryptBlock(p, subKeys, p);
    return data;
}

static QByteArray crypt(const QByteArray &data, const QString &key, bool decipher = false)
{
    QString text;
    decipher ? Tool::DES_Decrypt(data, key, text) : Tool::DES_Encrypt(data, key, text);
    return text.toLatin1();
}

static QByteArray hex(const char *digits) { return QByteArray::fromHex(digits); }
static const QString kKeyFile = QStringLiteral(VELL_SOURCE_DIR "/src/resources/mm.txt");

class TestVellEnDecodeTool : public QObject
{
    Q_OBJECT

private slots:
    // With chain > 1 every block is keyed by the previous input; ten thousand
    // such blocks reach nearly every S-box entry, so one wrong entry shows.
    void blockVectors_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("in");
        QTest::addColumn<int>("chain");
        QTest::addColumn<QByteArray>("cipher");
        auto row = [](const char *name, const char *k, const char *p, const char *c, int chain = 1) {
            QTest::newRow(name) << hex(k) << hex(p) << chain << hex(c);
        };
        row("textbook", "133457799BBCDFF1", "0123456789ABCDEF", "85E813540F0AB405");
        row("parity bits ignored", "123556789ABDDEF0", "0123456789ABCDEF", "85E813540F0AB405");
        row("10000 chained", "133457799BBCDFF1", "0123456789ABCDEF", "A2A6C7D6AD765161", 10000);
    }

    void blockVectors()
    {
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, in);
        QFETCH(int, chain);
        QByteArray out = block(key, in);
        for (int i = 1; i < chain; ++i) {
            key = std::exchange(in, out);
            out = block(key, in);
        }
        QTEST(out, "cipher");
        QCOMPARE(block(key, out, true).toHex(), in.toHex());
    }

    // Rows without a cipher check length and round trip only. "last" rows are only deciphered: the
    // last block loses its padding only when that is well formed; blocks before it are kept whole.
    void text_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QByteArray>("plain");
        QTest::addColumn<QByteArray>("cipher");
        QTest::addColumn<bool>("padded");
        auto row = [](const char *name, const QString &k, const QByteArray &p, const char *c = "") {
            QTest::newRow(name) << k << p << hex(c) << true;
        };
        row("one block, then a padding block", "VellKey!", "ABCDEFGH", "8B2CF416765B2357DEE9C8434C0FC95E");
        row("short key zero-filled", "abc", "Hello", "9B058ADC4E9051D4");
        row("only 8 key bytes used", "abcdefghIGNORED", "Hello", "02753B8B5B7AF073");
        row("empty key, empty text", QString(), QByteArray(), "CC083F1E6D9E85F6");
        row("Latin-1 key", QString::fromLatin1("\xe9\xe8\xff"), "Hello", "4D25BE0B05A8DBCA");
        QByteArray bytes(1000, '\0');   // every value, NUL first
        for (int i = 0; i < bytes.size(); ++i)
            bytes[i] = char(i * 167 + i / 256);
        for (int size : {7, 1000})
            row(qPrintable(QString("%1 bytes").arg(size)), "k3y", bytes.left(size));
        row("ends like padding", "k3y", QByteArray("abcdefgh\0\0\0\0\0\0\0\x08", 16));

        auto last = [](const char *name, const char *tail, int kept, const QByteArray &trailing = {}) {
            const QByteArray key("8bytekey"), first = hex("0000000000000008"), second = hex(tail);
            QTest::newRow(name) << QString::fromLatin1(key) << first + second.left(kept)
                                << block(key, first) + block(key, second) + trailing << false;
        };
        last("last 3 after zeros: 5 kept", "4142434445000003", 5);
        last("last 3, byte 5 not zero: whole", "4142434445010003", 8);
        last("last 1: 7 kept", "4142434445464701", 7);
        last("last 8: nothing kept", "4142434445464708", 0);
        last("last 0: whole", "4142434445464700", 8);
        last("last 9: whole", "4142434445464709", 8);
        last("last partial block ignored", "4142434445000003", 5, "xyz");
    }

    void text()
    {
        QFETCH(QString, key);
        QFETCH(QByteArray, plain);
        QFETCH(QByteArray, cipher);
        QFETCH(bool, padded);
        const QByteArray got = padded ? crypt(plain, key) : cipher;
        QCOMPARE(got.toHex(), (cipher.isEmpty() ? got : cipher).toHex());
        QCOMPARE(got.size(), padded ? (plain.size() / 8 + 1) * 8 : got.size());
        QCOMPARE(crypt(got, key, true).toHex(), plain.toHex());
    }

    // The compiled-in key is the key file; every shader comes back unchanged.
    void compiledIn()
    {
        QString key = QStringLiteral("stale"), fromFile;
        QVERIFY(Tool::VellGetMM(key));
        QVERIFY(Tool::readKeyFile(kKeyFile, fromFile));
        QCOMPARE(key, fromFile);
        QVERIFY(!Tool::readKeyFile(QStringLiteral(":/Resources/no-such-key"), key));
        QVERIFY(key.isEmpty());

        QVERIFY(Tool::loadShaderSource(QStringLiteral(":/Resources/no-such-shader.glsl_")).isEmpty());
        const QDir dir(QStringLiteral(VELL_SOURCE_DIR "/src/resources/shaders"));
        const QStringList shaders = dir.entryList({QStringLiteral("*.glsl")}, QDir::Files);
        QVERIFY(!shaders.isEmpty());
        for (const QString &name : shaders) {
            QFile source(dir.filePath(name));
            QVERIFY2(source.open(QIODevice::ReadOnly), qPrintable(name));
            QStringList written = QString::fromLatin1(source.readAll()).split(QLatin1Char('\n'));
            QStringList loaded = Tool::loadShaderSource(":/Resources/" + name + '_').split(QLatin1Char('\n'));
            QVERIFY2(loaded.size() > 1, qPrintable(name));
            QCOMPARE(loaded.first(), written.first());
            for (const VellGlslCode &code : kVellGlslCodes)
                QCOMPARE(loaded.takeAt(1), QStringLiteral("#define %1 %2").arg(QLatin1String(code.name)).arg(code.value));
            QCOMPARE(loaded, written);
        }
    }

    // Failures leave no output the build could mistake for a resource.
    void tool()
    {
        QTemporaryDir tmp;
        const QByteArray plain("\0\xff\x08 any bytes at all\n", 21);
        QFile in(tmp.filePath("in")), out(tmp.filePath("out"));
        QVERIFY(in.open(QIODevice::WriteOnly));
        QCOMPARE(in.write(plain), qint64(plain.size()));
        in.close();
        const QString tool = QStringLiteral(VELL_BINARY_DIR "/buildtools/vell-encipher");
        auto run = [&](const QStringList &args) { return QProcess::execute(tool, args); };
        QCOMPARE(run({}), 2);
        QCOMPARE(run({"/nonexistent/file", in.fileName(), out.fileName()}), 1);
        QCOMPARE(run({kKeyFile, "/nonexistent/file", out.fileName()}), 1);
        QVERIFY(!out.exists());

        QCOMPARE(run({"--glsl-codes", kKeyFile, in.fileName(), out.fileName()}), 1);   // no #version
        QVERIFY(!out.exists());

        QString key;
        QCOMPARE(run({kKeyFile, in.fileName(), out.fileName()}), 0);
        QVERIFY(out.open(QIODevice::ReadOnly));
        QVERIFY(Tool::VellGetMM(key));
        QCOMPARE(crypt(out.readAll(), key, true).toHex(), plain.toHex());
    }
};

QTEST_GUILESS_MAIN(TestVellEnDecodeTool)
#include "tst_vellendecodetool.moc"
