#include "foundation/vellglobalsettings.h"
#include "foundation/vellmemory.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpicturereader.h"

#include <QApplication>
#include <QDialog>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <memory>

class TestVellPictureReader : public QObject
{
    Q_OBJECT
    std::optional<VellPictureReader::Document> document;

private slots:
    // Each row: an image, and its pixels as colours known beforehand (host
    // bytes B, G, R, A), or no colours when nothing may be read. The limit is
    // 64 x 64; the dialog proposes the largest size within it in proportion.
    void readImageToHost_data()
    {
        QTest::addColumn<QImage>("image");
        QTest::addColumn<int>("mode");   // -1 no document, 0 dialog shown (and cancelled), 1 batch, 2 quiet
        QTest::addColumn<QVector<QRgb>>("pixels");
        QTest::addColumn<QSize>("size");
        QImage palette(3, 1, QImage::Format_Indexed8);
        palette.setColorTable({qRgb(10, 20, 30), qRgba(200, 100, 50, 128), qRgb(0, 0, 255)});
        palette.setPixel(0, 0, 2), palette.setPixel(1, 0, 0), palette.setPixel(2, 0, 1);
        QTest::newRow("palette") << palette << 0 << QVector<QRgb>{qRgb(0, 0, 255), qRgb(10, 20, 30), qRgba(200, 100, 50, 128)} << QSize(3, 1);
        QImage grey(2, 1, QImage::Format_Grayscale8);   // rows padded to 4 bytes
        grey.scanLine(0)[0] = 77, grey.scanLine(0)[1] = 255;
        QTest::newRow("grey") << grey << 0 << QVector<QRgb>{qRgb(77, 77, 77), qRgb(255, 255, 255)} << QSize(2, 1);
        const uchar rgbBytes[12] = {1, 2, 3, 250, 128, 0, 9, 8, 7};   // a 9-byte row padded to 12
        QTest::newRow("24-bit") << QImage(rgbBytes, 3, 1, 12, QImage::Format_RGB888).copy() << 0 << QVector<QRgb>{qRgb(1, 2, 3), qRgb(250, 128, 0), qRgb(9, 8, 7)} << QSize(3, 1);
        QImage argb(1, 1, QImage::Format_ARGB32);
        argb.setPixel(0, 0, qRgba(11, 22, 33, 0));   // transparent colour kept, not premultiplied away
        QTest::newRow("alpha") << argb << 0 << QVector<QRgb>{qRgba(11, 22, 33, 0)} << QSize(1, 1);
        QTest::newRow("no current document") << argb << -1 << QVector<QRgb>() << QSize();
        QImage blue(200, 100, QImage::Format_RGB32);
        blue.fill(Qt::blue);
        QTest::newRow("exactly the limit") << blue.copy(0, 0, 64, 64) << 0 << QVector<QRgb>{qRgb(0, 0, 255)} << QSize(64, 64);
        QTest::newRow("oversize, batch") << blue << 1 << QVector<QRgb>{qRgb(0, 0, 255)} << QSize(64, 32);
        QTest::newRow("oversize tall, quiet") << blue.copy(0, 0, 30, 120) << 2 << QVector<QRgb>{qRgb(0, 0, 255)} << QSize(16, 64);
        QTest::newRow("oversize, dialog cancelled") << blue << 0 << QVector<QRgb>() << QSize();
    }

    void readImageToHost()
    {
        QFETCH(QImage, image);
        QFETCH(int, mode);
        QFETCH(QVector<QRgb>, pixels);
        QFETCH(QSize, size);
        VellGlobalSettings::getInstance()->setImageLimitSize(QSize(64, 64));
        document = mode < 0 ? std::nullopt : std::optional<VellPictureReader::Document>({mode == 1, mode == 2});
        VellPictureReader::setDocumentProbe([this] { return document; });
        bool shown = false;
        QTimer::singleShot(0, [&] {   // runs inside exec() when the dialog is shown
            if (auto *dialog = qobject_cast<QDialog *>(QApplication::activeModalWidget()))
                shown = true, dialog->reject();
        });
        std::unique_ptr<VellPictureHost> host(VellPictureReader().ReadImageToHost(image));
        QCoreApplication::processEvents();   // the timer, when no dialog ran
        QCOMPARE(shown, mode == 0 && pixels.isEmpty());
        QCOMPARE(bool(host), !pixels.isEmpty());
        if (!host)
            return;
        QCOMPARE(QSize(host->getWidth(), host->getHeight()), size);
        for (int i = 0; i < pixels.size(); ++i)   // reads bytes B, G, R, A into a QRgb
            QCOMPARE(QRgb(host->getPixel8bit(i, 0)), pixels[i]);
    }

    // Files whose headers claim more pixels than the decode ceiling are
    // refused from the header alone: nothing reaches the budget, and the
    // reason names the claimed size. The same decoders still read honest files.
    void declaredSizes_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("reason");   // empty: read
        const QString bombs = QStringLiteral(VELL_SOURCE_DIR "/tests/fuzz/regressions/picturereader/");
        QTest::newRow("JPEG of 623 bytes, 65500 x 65500") << bombs + "jpeg-65500x65500.jpg"
                                                          << "65500 x 65500 pixels is too large";
        QTest::newRow("BMP of 70 bytes, 7201 x 32767") << bombs + "bmp-7201x32767.bmp"
                                                       << "7201 x 32767 pixels is too large";
        QTest::newRow("GIF of 35 bytes, 65535 x 65535") << bombs + "gif-65535x65535.gif"
                                                        << "65535 x 65535 pixels is too large";
        QTest::newRow("GIF of 40 bytes, 1 x 1 frame on a 65528 x 2561 screen")
            << bombs + "gif-screen-65528x2561.gif" << "65528 x 2561 pixels is too large";
        QTest::newRow("not an image") << QStringLiteral(VELL_TEST_DATA_DIR "/commands.xml")
                                      << "Unsupported image format";
        QTest::newRow("no file name") << QString("") << "no file name";
        QTest::newRow("honest PNG over the limits") << QString("png") << QString();
        QTest::newRow("honest BMP within the limits") << QString("bmp") << QString();
    }
    void declaredSizes()
    {
        QFETCH(QString, path);
        QFETCH(QString, reason);
        VellGlobalSettings::getInstance()->setImageLimitSize(QSize(64, 64));
        VellPictureReader::setDocumentProbe([] { return VellPictureReader::Document{true, false}; });
        QTemporaryDir dir;
        QImage honest(100, 50, QImage::Format_RGB32);
        honest.fill(qRgb(10, 200, 30));
        if (path == "png" || path == "bmp") {
            const QString format = path;
            path = dir.filePath("honest." + format);
            QVERIFY(honest.copy(0, 0, format == "png" ? 100 : 40, format == "png" ? 50 : 20).save(path));
        }
        QString error;
        const QImage image = VellPictureReader::readImageFile(path, &error);
        QCOMPARE(image.isNull(), !reason.isEmpty());
        QVERIFY2(error.contains(reason), qPrintable(error));
        const qint64 used = VellMemory::getInstance()->getUsed();
        std::unique_ptr<VellPictureHost> host(VellPictureReader().ReadPictureToHost(path));
        QCOMPARE(bool(host), reason.isEmpty());
        if (host) {   // over the limits the batch document shrinks it to 64 x 32
            QCOMPARE(QSize(host->getWidth(), host->getHeight()),
                     path.endsWith("png") ? QSize(64, 32) : QSize(40, 20));
            QCOMPARE(QRgb(host->getPixel8bit(3, 3)), qRgb(10, 200, 30));
            host.reset();
        }
        QCOMPARE(VellMemory::getInstance()->getUsed(), used);
    }

    // The ceiling is the budget or what the limits let through, whichever is
    // larger, and always below 2^31 bytes.
    void decodeCeiling()
    {
        VellGlobalSettings *settings = VellGlobalSettings::getInstance();
        const qint64 budget = VellMemory::getInstance()->getLimit();
        const int pixelLimit = settings->getImageLimitPixel();
        const QSize sideLimit = settings->getImageLimitSize();
        settings->setImageLimitSize(QSize(64, 64));
        QCOMPARE(VellPictureReader::decodeCeiling(), budget);   // the limits allow less
        settings->setImageLimitSize(QSize(20000, 20000));
        settings->setImageLimitPixel(400);   // 400 MiP: the sides bind at 4e8 pixels
        QCOMPARE(VellPictureReader::decodeCeiling(), qint64(1600000000));
        settings->setImageLimitSize(QSize(30000, 30000));
        settings->setImageLimitPixel(1000);   // 9e8 pixels of 4 bytes pass 2^31
        QCOMPARE(VellPictureReader::decodeCeiling(), qint64(INT_MAX));
        settings->setImageLimitPixel(pixelLimit);
        settings->setImageLimitSize(sideLimit);
    }
};

QTEST_MAIN(TestVellPictureReader)
#include "tst_vellpicturereader.moc"
