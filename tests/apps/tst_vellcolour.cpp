// vell's colour step end to end: pictures that embed an ICC profile (made
// here with Qt from the profiles the build writes) are converted to sRGB
// within 2 levels of Little CMS's own tificc on the same decoded pixels, and
// a profile wins over a colour space that the metadata text names.
#include "support/vellt2files.h"

#include <QColorSpace>
#include <QFile>
#include <QImage>
#include <QImageWriter>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtTest>

namespace {

const QString kProfiles = QStringLiteral(VELL_BINARY_DIR "/apps/vell/data/iccprofiles/");
const QString kSample = QStringLiteral(VELL_SOURCE_DIR "/data/samples/sample.png");

// The first pixel where a and b differ by more than `tolerance` in a colour
// channel (8-bit levels), as "x,y: #aarrggbb vs #aarrggbb"; empty when none.
QString firstDifference(const QImage &a, const QImage &b, int tolerance)
{
    if (a.size() != b.size())
        return QStringLiteral("sizes %1x%2 and %3x%4").arg(a.width()).arg(a.height()).arg(b.width()).arg(b.height());
    const QImage p = a.convertToFormat(QImage::Format_ARGB32), q = b.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < p.height(); ++y)
        for (int x = 0; x < p.width(); ++x) {
            const QRgb u = p.pixel(x, y), v = q.pixel(x, y);
            if (qAbs(qRed(u) - qRed(v)) > tolerance || qAbs(qGreen(u) - qGreen(v)) > tolerance
                || qAbs(qBlue(u) - qBlue(v)) > tolerance)
                return QStringLiteral("%1,%2: #%3 vs #%4").arg(x).arg(y).arg(u, 8, 16, QLatin1Char('0'))
                    .arg(v, 8, 16, QLatin1Char('0'));
        }
    return QString();
}

// The mean of |a - b| over the red channel, in 8-bit levels.
double meanRedShift(const QImage &a, const QImage &b)
{
    const QImage p = a.convertToFormat(QImage::Format_ARGB32), q = b.convertToFormat(QImage::Format_ARGB32);
    double sum = 0.0;
    for (int y = 0; y < p.height(); ++y)
        for (int x = 0; x < p.width(); ++x)
            sum += qAbs(qRed(p.pixel(x, y)) - qRed(q.pixel(x, y)));
    return sum / (double(p.width()) * p.height());
}

} // namespace

class TestVellColour : public QObject
{
    Q_OBJECT
    QTemporaryDir dir;
    QImage sample;   // opaque, 8-bit

private slots:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        sample = QImage(kSample).convertToFormat(QImage::Format_RGB32);
        QVERIFY(!sample.isNull());
        if (QStandardPaths::findExecutable(QStringLiteral("tificc")).isEmpty())
            QSKIP("tificc (Debian's liblcms2-utils) is not installed");
    }

    // Each row embeds `profile` in a `format` file of the sample's pixels.
    // The reference is tificc's conversion of the pixels vell decodes from
    // that file (read back with --no-colour into a TIFF without a profile),
    // from the same profile to its built-in sRGB, perceptual intent.
    void embeddedProfile_data()
    {
        QTest::addColumn<QString>("format");
        QTest::addColumn<QString>("profile");
        QTest::addColumn<bool>("deep");
        QTest::newRow("Adobe RGB in PNG") << "png" << "Adobe98.icc" << false;
        QTest::newRow("Adobe RGB in JPEG") << "jpg" << "Adobe98.icc" << false;
        QTest::newRow("Adobe RGB in TIFF") << "tif" << "Adobe98.icc" << false;
        QTest::newRow("ProPhoto in 16-bit PNG") << "png" << "ProPhoto.icc" << true;
        QTest::newRow("Wide Gamut in 16-bit TIFF") << "tif" << "WideGamut.icc" << true;
    }
    void embeddedProfile()
    {
        QFETCH(QString, format);
        QFETCH(QString, profile);
        QFETCH(bool, deep);
        QFile file(kProfiles + profile);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        const QColorSpace space = QColorSpace::fromIccProfile(file.readAll());
        QVERIFY(space.isValid());
        const QString name = QString(QTest::currentDataTag()).replace(' ', '-');
        const QString source = dir.filePath(name + '.' + format);
        QImage image = deep ? sample.convertToFormat(QImage::Format_RGBX64) : sample;
        image.setColorSpace(space);
        QVERIFY(image.save(source));

        const QString converted = dir.filePath(name + "-srgb.png");
        QString errors;
        QCOMPARE(vellt2::runVell({"icc", source, converted}, nullptr, &errors), 0);
        QVERIFY2(errors.contains(QRegularExpression("colour space: embedded profile '[^']+' \\(converted to sRGB\\)")),
                 qPrintable(errors));
        QVERIFY2(errors.contains(deep ? "16 bits per channel" : "8 bits per channel"), qPrintable(errors));

        const QString decoded = dir.filePath(name + "-decoded.tif");
        const QString reference = dir.filePath(name + "-tificc.tif");
        QCOMPARE(vellt2::runVell({"icc", source, decoded, "--no-colour"}, nullptr, &errors), 0);
        QVERIFY2(!errors.contains("colour space"), qPrintable(errors));
        QCOMPARE(QProcess::execute("tificc", {"-i" + kProfiles + profile, "-t0", decoded, reference}), 0);
        const QImage ours(converted), theirs(reference);
        QVERIFY(!ours.isNull());
        QVERIFY(!theirs.isNull());
        QCOMPARE(ours.depth(), deep ? 64 : 32);
        const QString difference = firstDifference(ours, theirs, 2);
        QVERIFY2(difference.isEmpty(), qPrintable(difference));
        // And the conversion did something: these spaces are far from sRGB.
        QVERIFY(meanRedShift(ours, QImage(decoded)) > 2.0);
    }

    // A comment naming ProPhoto converts a picture only when the picture
    // embeds no profile of its own; an embedded sRGB profile leaves the
    // pixels exactly as they are.
    void metadataAgainstProfile_data()
    {
        QTest::addColumn<bool>("embedSrgb");
        QTest::addColumn<QString>("said");
        QTest::newRow("comment only") << false << "colour space: named in metadata: ProPhoto (converted to sRGB)";
        QTest::newRow("comment and an sRGB profile") << true << "(sRGB: left as it is)";
    }
    void metadataAgainstProfile()
    {
        QFETCH(bool, embedSrgb);
        QFETCH(QString, said);
        QImage image = sample;
        image.setText("Comment", "ICC profile: ProPhoto RGB");
        if (embedSrgb)
            image.setColorSpace(QColorSpace(QColorSpace::SRgb));
        const QString source = dir.filePath(embedSrgb ? "commented-srgb.png" : "commented.png");
        QVERIFY(image.save(source));
        const QString converted = dir.filePath(embedSrgb ? "commented-srgb-out.png" : "commented-out.png");
        QString errors;
        QCOMPARE(vellt2::runVell({"icc", source, converted}, nullptr, &errors), 0);
        QVERIFY2(errors.contains(said), qPrintable(errors));
        const QImage result(converted);
        if (embedSrgb) {
            const QString difference = firstDifference(result, sample, 0);
            QVERIFY2(difference.isEmpty(), qPrintable(difference));
        } else {
            QVERIFY(meanRedShift(result, sample) > 5.0);
        }
    }
};

QTEST_GUILESS_MAIN(TestVellColour)
#include "tst_vellcolour.moc"
