#include "color/vellcolorprofileconverter.h"
#include "picture/vellpicturehost.h"

#include <QDir>
#include <QImage>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Channel value `index` of a host in either depth.
int channel(const VellPictureHost *host, int index)
{
    const uchar *data = host->getData();
    return host->getPixelWidth() == 8 ? reinterpret_cast<const quint16 *>(data)[index] : data[index];
}

void setChannel(VellPictureHost *host, int index, int value)
{
    if (host->getPixelWidth() == 8)
        reinterpret_cast<quint16 *>(host->getData())[index] = quint16(value);
    else
        host->getData()[index] = uchar(value);
}

// A file of '.' with the texts at their offsets.
QByteArray fileBytes(int size, int offset, const QByteArray &text, int offset2 = 0, const QByteArray &text2 = {})
{
    QByteArray bytes(size, '.');
    bytes.replace(offset, text.size(), text);
    return bytes.replace(offset2, text2.size(), text2);
}

} // namespace

class TestVellColorProfileConverter : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void parseProfile_data();
    void parseProfile();
    void extractCameraProfile_data();
    void extractCameraProfile();
    void convertMatchesTificc_data();
    void convertMatchesTificc();
    void returnValue_data();
    void returnValue();
};

// The converter reads "./data/iccprofiles/": give this test's working folder
// the profiles the build wrote.
void TestVellColorProfileConverter::initTestCase()
{
    const QDir built(QStringLiteral(VELL_BINARY_DIR "/apps/vell/data/iccprofiles"));
    const QStringList files = built.entryList({QStringLiteral("*.icc")});
    QCOMPARE(files.size(), 6);
    QVERIFY(QDir().mkpath(QStringLiteral("data/iccprofiles")));
    for (const QString &file : files) {
        QFile::remove(QStringLiteral("data/iccprofiles/") + file);
        QVERIFY(QFile::copy(built.filePath(file), QStringLiteral("data/iccprofiles/") + file));
    }
}

void TestVellColorProfileConverter::parseProfile_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("expected");

    // Every search text, upper-cased to show case does not matter.
    const char *const rows[][2] = {
        {"ProPhoto", "ProPhoto"}, {"Adobe Standard", "Adobe RGB"}, {"Adobe RGB", "Adobe RGB"},
        {"ARGB", "Adobe RGB"}, {"Apple RGB", "Apple RGB"}, {"Apple Standard", "Apple RGB"},
        {"AppleRGB", "Apple RGB"}, {"WideGamut", "WideGamut"}, {"Wide Gamut", "WideGamut"},
        {"CIE RGB", "CIERGB"}, {"CIERGB", "CIERGB"}, {"Melissa RGB", "MelissaRGB"},
        {"MelissaRGB", "Adobe RGB"}};   // it holds "aRGB", which is searched earlier
    for (const auto &row : rows)
        QTest::addRow("%s", row[0]) << QStringLiteral("ICC Profile: ") + QString::fromLatin1(row[0]).toUpper()
                                    << QString::fromLatin1(row[1]);

    const QString gap33(33, QLatin1Char('.'));
    QTest::newRow("profile starts 40 before") << "profile" + gap33 + "Apple RGB" << "Apple RGB";
    QTest::newRow("profile starts 41 before") << "profile." + gap33 + "Apple RGB" << "";
    QTest::newRow("at position 0") << "ProPhoto profile" << "";
    QTest::newRow("only the first occurrence") << "x Adobe RGB and profile: Adobe RGB" << "";
    QTest::newRow("ProPhoto searched first") << "profile: Adobe RGB, profile: ProPhoto" << "ProPhoto";
    QTest::newRow("a later row still counts") << "ProPhoto; profile: CIE RGB" << "CIERGB";
}

void TestVellColorProfileConverter::parseProfile()
{
    QFETCH(QString, text);
    QFETCH(QString, expected);
    QCOMPARE(VellColorProfileConverter::parseProfile(text), expected);
}

void TestVellColorProfileConverter::extractCameraProfile_data()
{
    QTest::addColumn<QByteArray>("bytes");   // null: no such file
    QTest::addColumn<QString>("expected");

    const int big = 200000, tail = big - 20480;
    const QByteArray melissa("profile: Melissa RGB");
    QTest::newRow("in the head") << fileBytes(4096, 100, "ICC profile: Apple RGB") << "Apple RGB";
    QTest::newRow("zero bytes read as spaces") << fileBytes(4096, 100, QByteArray("profile\0Wide\0Gamut", 18)) << "WideGamut";
    QTest::newRow("ends the head") << fileBytes(big, 51200 - melissa.size(), melissa) << "MelissaRGB";
    QTest::newRow("straddles the head's end") << fileBytes(big, 51190, melissa) << "SRGB";
    QTest::newRow("between head and tail") << fileBytes(big, 100000, melissa) << "SRGB";
    QTest::newRow("starts the tail") << fileBytes(big, tail, melissa) << "MelissaRGB";
    QTest::newRow("head wins over tail") << fileBytes(big, 100, "profile: CIE RGB", big - 100, "profile: ProPhoto") << "CIERGB";
    QTest::newRow("tail when the head lacks the profile word") << fileBytes(big, 100, " ProPhoto", big - 100, "profile: AppleRGB") << "Apple RGB";
    QTest::newRow("empty file") << QByteArray("") << "SRGB";
    QTest::newRow("cannot be opened") << QByteArray() << "";
}

void TestVellColorProfileConverter::extractCameraProfile()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, expected);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("camera.raw"));
    QFile file(path);
    if (!bytes.isNull())
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size());
    file.close();
    QCOMPARE(VellColorProfileConverter::extractCameraProfile(path), expected);
}

void TestVellColorProfileConverter::convertMatchesTificc_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("deep");
    for (const char *name : {"ProPhoto", "Adobe RGB", "Apple RGB", "WideGamut", "CIERGB", "MelissaRGB"}) {
        QTest::addRow("%s, 8-bit", name) << name << false;
        QTest::addRow("%s, 16-bit", name) << name << true;
    }
}

// Little CMS's own command-line tool applies the same profile to the same
// colours in a TIFF; only the alpha channel is the host's alone. A 16-bit host
// read as bytes would convert each word's halves as separate colours.
void TestVellColorProfileConverter::convertMatchesTificc()
{
    QFETCH(QString, name);
    QFETCH(bool, deep);
    const QString tificc = QStandardPaths::findExecutable(QStringLiteral("tificc"));
    if (tificc.isEmpty())
        QSKIP("tificc not found (Debian package liblcms2-utils)");

    const int w = 61, h = 37, bits = deep ? 16 : 8;
    QImage colours(w, h, deep ? QImage::Format_RGBX64 : QImage::Format_RGB888);
    VellPictureHost *host = new VellPictureHost(w, h, deep ? 8 : 4);
    quint32 seed = 11;
    auto next = [&seed, bits]() { seed = seed * 1664525u + 1013904223u; return int(seed >> (32 - bits)); };
    for (int i = 0; i < w * h; ++i) {
        const int r = next(), g = next(), b = next(), bgra[4] = {b, g, r, next()};
        colours.setPixelColor(i % w, i / w, deep ? QColor::fromRgba64(quint16(r), quint16(g), quint16(b)) : QColor(r, g, b));
        for (int c = 0; c < 4; ++c)
            setChannel(host, i * 4 + c, bgra[c]);
    }
    const VellPictureHost original(host);

    QTemporaryDir dir;
    const QString in = dir.filePath(QStringLiteral("in.tif")), out = dir.filePath(QStringLiteral("out.tif"));
    if (!colours.save(in))
        QSKIP("Qt cannot write TIFF (Debian package qt5-image-formats-plugins)");
    QProcess tool;
    tool.start(tificc, {"-i" + VellColorProfileConverter::profileFile(name), QStringLiteral("-o*sRGB"),
                        QStringLiteral("-t0"), QStringLiteral("-w%1").arg(bits), in, out});
    QVERIFY(tool.waitForFinished());
    QVERIFY2(tool.exitCode() == 0, tool.readAllStandardError().constData());
    const QImage expected(out);
    QCOMPARE(expected.size(), colours.size());

    VellPictureHost *const before = host;
    QVERIFY(!VellColorProfileConverter::convertToSRGB(&host, name));
    QVERIFY(host != before);
    for (int i = 0; i < w * h; ++i) {
        const QRgba64 want = expected.pixelColor(i % w, i / w).rgba64();
        const int bgra[4] = {want.blue(), want.green(), want.red(), channel(&original, i * 4 + 3)};
        for (int c = 0; c < 4; ++c) {
            const int wanted = c < 3 && !deep ? bgra[c] / 257 : bgra[c];
            QVERIFY2(qAbs(channel(host, i * 4 + c) - wanted) <= (c < 3 ? 1 : 0),
                     qPrintable(QStringLiteral("pixel %1,%2 channel %3").arg(i % w).arg(i / w).arg(c)));
        }
    }
    delete host;
}

// Where there is nothing to do the result is true; otherwise it is false, also
// after a conversion (see convertMatchesTificc), and here, where no profile
// file can be found, the host stays.
void TestVellColorProfileConverter::returnValue_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("result");
    QTest::newRow("empty name") << "" << true;
    QTest::newRow("SRGB") << "SRGB" << true;
    QTest::newRow("names are case-sensitive") << "sRGB" << false;
    QTest::newRow("profile file missing") << "ProPhoto" << false;
}

void TestVellColorProfileConverter::returnValue()
{
    QFETCH(QString, name);
    QFETCH(bool, result);
    const QString home = QDir::currentPath();
    QTemporaryDir elsewhere;
    QVERIFY(QDir::setCurrent(elsewhere.path()));
    VellPictureHost *host = new VellPictureHost(4, 3, 4);
    VellPictureHost *const before = host;
    const bool got = VellColorProfileConverter::convertToSRGB(&host, name);
    QDir::setCurrent(home);
    QCOMPARE(got, result);
    QCOMPARE(host, before);
    delete host;
}

QTEST_GUILESS_MAIN(TestVellColorProfileConverter)
#include "tst_vellcolorprofileconverter.moc"
