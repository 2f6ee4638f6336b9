#include "color/vellcolorprofileconverter.h"
#include "picture/vellpicturehost.h"

#include <QColorSpace>
#include <QDir>
#include <QImage>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

int channel(const VellPictureHost *host, int i)   // channel value i in either depth
{
    const uchar *data = host->getData();
    return host->getPixelWidth() == 8 ? reinterpret_cast<const quint16 *>(data)[i] : data[i];
}

// A file of '.' with the texts at their offsets.
QByteArray file(int size, int offset, const QByteArray &text, int offset2 = 0, const QByteArray &text2 = {})
{
    return QByteArray(size, '.').replace(offset, text.size(), text).replace(offset2, text2.size(), text2);
}

} // namespace

class TestVellColorProfileConverter : public QObject
{
    Q_OBJECT

private slots:
    void parseProfile_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        const char *const rows[][2] = {   // every search text; upper-cased below, as case does not matter
            { "ProPhoto", "ProPhoto" }, { "Adobe Standard", "Adobe RGB" }, { "Adobe RGB", "Adobe RGB" },
            { "ARGB", "Adobe RGB" }, { "Apple RGB", "Apple RGB" }, { "Apple Standard", "Apple RGB" },
            { "AppleRGB", "Apple RGB" }, { "WideGamut", "WideGamut" }, { "Wide Gamut", "WideGamut" },
            { "CIE RGB", "CIERGB" }, { "CIERGB", "CIERGB" }, { "Melissa RGB", "MelissaRGB" },
            { "MelissaRGB", "Adobe RGB" } };   // it holds "aRGB", which is searched earlier
        for (const auto &row : rows)
            QTest::addRow("%s", row[0]) << "ICC Profile: " + QString(row[0]).toUpper() << QString(row[1]);
        const QString gap33(33, '.');
        QTest::newRow("profile starts 40 before") << "profile" + gap33 + "Apple RGB" << "Apple RGB";
        QTest::newRow("profile starts 41 before") << "profile." + gap33 + "Apple RGB" << "";
        QTest::newRow("at position 0") << "ProPhoto profile" << "";
        QTest::newRow("only the first occurrence") << "x Adobe RGB and profile: Adobe RGB" << "";
        QTest::newRow("ProPhoto searched first") << "profile: Adobe RGB, profile: ProPhoto" << "ProPhoto";
        QTest::newRow("a later row still counts") << "ProPhoto; profile: CIE RGB" << "CIERGB";
    }
    void parseProfile()
    {
        QFETCH(QString, text);
        QTEST(VellColorProfileConverter::parseProfile(text), "expected");
    }

    void extractCameraProfile_data()
    {
        QTest::addColumn<QByteArray>("bytes");   // null: no such file
        QTest::addColumn<QString>("expected");
        const int big = 200000;
        const QByteArray melissa("profile: Melissa RGB");
        QTest::newRow("in the head") << file(999, 9, "ICC profile: Apple RGB") << "Apple RGB";
        QTest::newRow("NUL as space") << file(999, 9, QByteArray("profile\0Wide\0Gamut", 18)) << "WideGamut";
        QTest::newRow("ends the head") << file(big, 51200 - melissa.size(), melissa) << "MelissaRGB";
        QTest::newRow("straddles the head's end") << file(big, 51190, melissa) << "SRGB";
        QTest::newRow("starts the tail") << file(big, big - 20480, melissa) << "MelissaRGB";
        QTest::newRow("head beats tail")
            << file(big, 100, "profile: CIE RGB", big - 100, "profile: ProPhoto") << "CIERGB";
        QTest::newRow("tail when the head lacks the profile word")
            << file(big, 100, " ProPhoto", big - 100, "profile: AppleRGB") << "Apple RGB";
        QTest::newRow("empty file") << QByteArray("") << "SRGB";
        QTest::newRow("cannot be opened") << QByteArray() << "";
    }
    void extractCameraProfile()
    {
        QFETCH(QByteArray, bytes);
        QTemporaryDir dir;
        QFile file(dir.filePath("camera.raw"));
        if (!bytes.isNull()) {   // null: a file that cannot be opened
            QVERIFY(file.open(QIODevice::WriteOnly));
            QCOMPARE(file.write(bytes), qint64(bytes.size()));
        }
        file.close();
        QTEST(VellColorProfileConverter::extractCameraProfile(file.fileName()), "expected");
    }

    void convertMatchesTificc_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("deep");
        for (const char *name : { "ProPhoto", "Adobe RGB", "Apple RGB", "WideGamut", "CIERGB", "MelissaRGB" })
            for (const bool deep : { false, true })
                QTest::addRow("%s, %d-bit", name, deep ? 16 : 8) << name << deep;
    }
    // lcms's own tool converts the same colours in a TIFF; alpha is the host's alone. A 16-bit host read
    // as bytes would convert each word's halves as separate colours. The profile's bytes, given as an
    // embedded profile, convert exactly as its name does. Profiles are read from
    // "./data/iccprofiles/", so work where the build put them.
    void convertMatchesTificc()
    {
        QFETCH(QString, name);
        QFETCH(bool, deep);
        QVERIFY(QDir::setCurrent(QStringLiteral(VELL_BINARY_DIR "/apps/vell")));
        QCOMPARE(QDir("data/iccprofiles").entryList({ "*.icc" }).size(), 6);
        const QString tificc = QStandardPaths::findExecutable("tificc");
        if (tificc.isEmpty())
            QSKIP("tificc not found (Debian package liblcms2-utils)");
        const int w = 61, h = 37;
        QImage colours(w, h, deep ? QImage::Format_RGBX64 : QImage::Format_RGB888);
        std::unique_ptr<VellPictureHost> host(new VellPictureHost(w, h, deep ? 8 : 4));
        QRandomGenerator(11).fillRange(reinterpret_cast<quint32 *>(host->getData()), w * h * (deep ? 2 : 1));
        const auto at = [&](int i, int c) { return quint16(channel(host.get(), i * 4 + c) * (deep ? 1 : 257)); };
        for (int i = 0; i < w * h; ++i)
            colours.setPixelColor(i % w, i / w, QColor::fromRgba64(at(i, 2), at(i, 1), at(i, 0)));
        const VellPictureHost original(host.get());
        std::unique_ptr<VellPictureHost> embedded(new VellPictureHost(host.get()));
        QTemporaryDir dir;
        const QString in = dir.filePath("in.tif"), out = dir.filePath("out.tif");
        if (!colours.save(in))
            QSKIP("Qt cannot write TIFF (Debian package qt5-image-formats-plugins)");
        const QString profile = VellColorProfileConverter::profileFile(name);
        QCOMPARE(QProcess::execute(tificc, { "-i" + profile, "-o*sRGB", "-t0", deep ? "-w16" : "-w8", in, out }), 0);
        const QImage expected(out);
        VellPictureHost *raw = host.release();
        QVERIFY(!VellColorProfileConverter::convertToSRGB(&raw, name));
        host.reset(raw);
        for (int i = 0; i < w * h; ++i) {
            const QRgba64 want = expected.pixelColor(i % w, i / w).rgba64();
            const int k = deep ? 1 : 257, bgra[4] = { want.blue() / k, want.green() / k, want.red() / k,
                                                      channel(&original, i * 4 + 3) };
            for (int c = 0; c < 4; ++c)   // colours within 1, alpha exact
                QVERIFY2(qAbs(channel(host.get(), i * 4 + c) - bgra[c]) <= (c < 3 ? 1 : 0),
                         qPrintable(QString("pixel %1,%2 channel %3").arg(i % w).arg(i / w).arg(c)));
        }
        QFile file(profile);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        raw = embedded.release();
        QVERIFY(VellColorProfileConverter::convertProfileToSRGB(&raw, file.readAll()));
        embedded.reset(raw);
        for (int i = 0; i < w * h * 4; ++i)
            QVERIFY2(channel(host.get(), i) == channel(embedded.get(), i), qPrintable(QString("channel value %1").arg(i)));
    }

    // What a profile says of itself; bytes that are no profile are unreadable and convert nothing.
    void inspectProfile_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("readable");
        QTest::addColumn<bool>("srgb");
        QTest::addColumn<QString>("description");
        QFile adobe(QStringLiteral(VELL_BINARY_DIR "/apps/vell/data/iccprofiles/Adobe98.icc"));
        QVERIFY(adobe.open(QIODevice::ReadOnly));
        const QByteArray adobeBytes = adobe.readAll();
        QTest::newRow("Adobe RGB") << adobeBytes << true << false << "Adobe RGB (1998)";
        QTest::newRow("Qt's sRGB") << QColorSpace(QColorSpace::SRgb).iccProfile() << true << true << "sRGB";
        QTest::newRow("sRGB primaries, gamma 1.8")
            << QColorSpace(QColorSpace::Primaries::SRgb, 1.8f).iccProfile() << true << false << "";
        QTest::newRow("Adobe RGB cut short") << adobeBytes.left(200) << false << false << "";
        QTest::newRow("text") << QByteArray("ICC profile: Adobe RGB (1998)") << false << false << "";
        QTest::newRow("nothing") << QByteArray() << false << false << "";
    }
    void inspectProfile()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, readable);
        QFETCH(bool, srgb);
        QFETCH(QString, description);
        const VellColorProfileConverter::EmbeddedProfile profile = VellColorProfileConverter::inspectProfile(bytes);
        QCOMPARE(profile.readable, readable);
        QCOMPARE(profile.rgb, readable);   // every readable row is an RGB profile
        QCOMPARE(profile.srgb, srgb);
        QVERIFY2(profile.description.contains(description), qPrintable(profile.description));
        VellPictureHost *const before = new VellPictureHost(4, 3, 4);   // deleted by a conversion
        VellPictureHost *host = before;
        const bool converted = VellColorProfileConverter::convertProfileToSRGB(&host, bytes);
        const bool replaced = host != before;
        delete host;
        QCOMPARE(converted, readable);
        QCOMPARE(replaced, readable);
    }

    // True where there is nothing to do, else false; without a profile file the host stays.
    void returnValue_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("result");
        QTest::newRow("empty name") << "" << true;
        QTest::newRow("SRGB") << "SRGB" << true;
        QTest::newRow("names are case-sensitive") << "sRGB" << false;
        QTest::newRow("profile file missing") << "ProPhoto" << false;
    }
    void returnValue()
    {
        QFETCH(QString, name);
        QTemporaryDir elsewhere;
        QVERIFY(QDir::setCurrent(elsewhere.path()));
        QScopedPointer<VellPictureHost> before(new VellPictureHost(4, 3, 4));
        VellPictureHost *host = before.data();
        QTEST(VellColorProfileConverter::convertToSRGB(&host, name), "result");
        QCOMPARE(host, before.data());
    }
};

QTEST_GUILESS_MAIN(TestVellColorProfileConverter)
#include "tst_vellcolorprofileconverter.moc"
