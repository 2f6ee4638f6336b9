#include "foundation/vellglobalsettings.h"
#include "picture/vellpicturehost.h"
#include "picture/vellpicturereader.h"

#include <QApplication>
#include <QDialog>
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

    void unreadableFiles()
    {
        VellPictureReader::setDocumentProbe([] { return VellPictureReader::Document(); });
        QVERIFY(!VellPictureReader().ReadPictureToHost(QString()));
        QVERIFY(!VellPictureReader().ReadPictureToHost(VELL_TEST_DATA_DIR "/commands.xml"));
    }
};

QTEST_MAIN(TestVellPictureReader)
#include "tst_vellpicturereader.moc"
