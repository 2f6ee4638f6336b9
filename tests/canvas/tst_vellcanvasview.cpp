#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellglobalsettings.h"
#include "picture/vellpicturehost.h"

#include <QtTest>

#include <cmath>

namespace {

// Zoom percentages by index, as the user sees them (two decimals).
const double kPercent[31] = { 6.25, 8.33, 10, 12.5, 16.67, 20, 25, 30, 33.33, 40, 45, 50, 60, 66.67, 80, 90,
                              100, 120, 150, 180, 200, 250, 300, 400, 500, 600, 700, 800, 1200, 1600, 3200 };
double rounded(double v, double scale) { return std::floor(v) + (scale > 1.0 ? 1.0 / scale : 0.0); }
qint64 fakeNow = 0;   // microseconds

template <typename... T, typename... Names> void columns(Names... names) { (QTest::addColumn<T>(names), ...); }

} // namespace

class TestVellCanvasView : public QObject
{
    Q_OBJECT
    QWidget host;
    VellCanvas *canvas = nullptr;
    VellContext *document = nullptr;
    QTouchDevice *touchDevice = nullptr;
    VellCanvas::ViewHooks hooks;   // init() leaves only the fake clock

    void setView(QSize doc, int index, QPointF origin = QPointF())   // origin: the document's top-left
    {
        QTRY_VERIFY(!canvas->isBusy());
        canvas->reSizeCanvas(doc.width(), doc.height(), true);
        canvas->setOrigin(QPointF(0.0, 0.0), true);
        canvas->zoom(0, 0, index - canvas->getZoomIndex(), false);
        QCOMPARE(canvas->getZoomIndex(), index);
        canvas->setOrigin(origin, true);
    }
    void wheel(int delta, Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QWheelEvent e(QPointF(100, 80), canvas->mapToGlobal(QPoint(100, 80)), QPoint(), QPoint(0, delta),
                      Qt::NoButton, modifiers, Qt::NoScrollPhase, false);
        QApplication::sendEvent(canvas, &e);
    }
    void mouse(QEvent::Type type, QPoint at, qint64 now = fakeNow)   // the right button, at a fake time
    {
        fakeNow = now;
        QMouseEvent e(type, at, type == QEvent::MouseMove ? Qt::NoButton : Qt::RightButton,
                      type == QEvent::MouseButtonRelease ? Qt::NoButton : Qt::RightButton, Qt::NoModifier);
        QApplication::sendEvent(canvas, &e);
    }
    void invoke(const char *slot) { QVERIFY(QMetaObject::invokeMethod(canvas, slot, Qt::DirectConnection)); }
    bool centred(QSize doc)   // the document's centre at the window's, up to the origin's rounding
    {
        const QPointF off = canvas->canvasCoordtoUI(QPointF(doc.width(), doc.height()) / 2.0)
                          - QPointF(canvas->getWindowWidth(), canvas->getWindowHeight()) / 2.0;
        return qMax(qAbs(off.x()), qAbs(off.y())) <= 1.0 + 1.0 / canvas->getScale();
    }

private slots:
    void initTestCase()
    {
        canvas = VellCanvas::getInstance(64, 48, &host);   // a child: resizing it is synchronous
        QVERIFY(static_cast<QGLWidget *>(canvas)->isValid());
        host.resize(400, 300);
        canvas->setGeometry(0, 0, 320, 240);
        host.show();
        QVERIFY(QTest::qWaitForWindowExposed(&host));
        QTRY_COMPARE(canvas->getWindowWidth(), 320);
        touchDevice = QTest::createTouchDevice();
        document = new VellContext;
        VellContextManager *manager = VellContextManager::getInstance();
        manager->addContext(document);
        manager->setCurrentContext(manager->indexOfContext(document));
        canvas->makeCurrent();
        auto *pixels = new VellPictureHost(64, 48, 4);
        pixels->read(reinterpret_cast<const uchar *>(QByteArray(64 * 48 * 4, '\x80').constData()));
        auto *layer = new VellLayer("base");
        layer->setVellPictureHost(pixels);
        document->getLayerManager()->addLayer(layer, false);
    }
    void init()
    {
        hooks = VellCanvas::ViewHooks();
        hooks.clockMicroseconds = [] { return fakeNow; };
        VellCanvas::setViewHooks(hooks);
        canvas->setMargin(0);
        VellGlobalSettings::getInstance()->moveAnimation = false;
    }
    void cleanup()
    {
        canvas->makeCurrent();
        QCOMPARE(glGetError(), GLenum(GL_NO_ERROR));
    }
    void cleanupTestCase()
    {
        canvas->makeCurrent();
        delete document;
    }

    void zoom_data()
    {
        columns<QSize, int, int, QPoint>("doc", "start", "step", "cursor");
        const QSize big(4000, 3000);
        QTest::newRow("out at 6.25 % stays") << big << 0 << -1 << QPoint(160, 120);
        QTest::newRow("far past 3200 %") << big << 16 << 20 << QPoint(300, 11);
        QTest::newRow("out from 800 %") << big << 27 << -4 << QPoint(5, 230);
        for (int i = 0; i < 30; ++i)
            QTest::newRow(qPrintable(QString("in from %1 %").arg(kPercent[i]))) << big << i << 1 << QPoint(5 + 5 * i, 100 - 3 * i);
        for (QSize small : { QSize(64, 48), QSize(101, 77), QSize(300, 20) })
            for (int start = 0; start < 28; start += 3)
                if (small.width() * kPercent[start + 2] <= 32000 && small.height() * kPercent[start + 2] <= 24000)
                    QTest::newRow(qPrintable(QString("%1x%2 from %3 %").arg(small.width()).arg(small.height()).arg(kPercent[start])))
                        << small << start << 2 << QPoint(3, 7);
    }
    void zoom()
    {
        QFETCH(QSize, doc);
        QFETCH(int, start);
        QFETCH(int, step);
        QFETCH(QPoint, cursor);
        setView(doc, start, doc.width() > 1000 ? QPointF(-1500.0, -1200.0) : QPointF());
        const QPointF before = canvas->uiToCanvasCoord(cursor.x(), cursor.y(), false);
        canvas->zoom(cursor.x(), cursor.y(), step, false);
        const int want = qBound(0, start + step, 30);
        QCOMPARE(canvas->getZoomIndex(), want);
        QCOMPARE(std::round(canvas->getCanvasScaleText() * 100.0) / 100.0, kPercent[want]);
        // The document spans a whole number of window pixels.
        const double span = doc.width() / canvas->getScale();
        const QByteArray spanText = "span " + QByteArray::number(span, 'g', 12);
        QVERIFY2(qAbs(span - std::round(span)) < 1e-3 + span * 1e-6, spanText.constData());
        QVERIFY2(qAbs(span - doc.width() * kPercent[want] / 100) < 1.2, spanText.constData());
        // A document that fits is centred; otherwise the point under the cursor stays, up to flooring the
        // origin to whole document pixels and the whole-pixel scale, at most s / W larger than the zoom's.
        const bool fits = doc.width() * kPercent[want] <= 32000 && doc.height() * kPercent[want] <= 24000;
        const QPointF moved = canvas->uiToCanvasCoord(cursor.x(), cursor.y(), false) - before;
        const double s = canvas->getScale(), slack = 1.0 + qMax(cursor.x(), cursor.y()) * s * s / doc.width();
        if (fits) {
            QVERIFY(centred(doc));
        } else {
            QVERIFY(qAbs(moved.x()) <= slack);
            QVERIFY(qAbs(moved.y()) <= slack);
        }
    }

    void wheel_data()
    {
        columns<int, int, bool, int>("delta", "modifiers", "tool", "want");   // want: index change from 100 %
        QTest::newRow("240: two steps") << 240 << 0 << false << 2;
        QTest::newRow("60: one step") << 60 << 0 << false << 1;
        QTest::newRow("-30: one step out") << -30 << 0 << false << -1;
        QTest::newRow("with a tool: it re-applies") << -360 << 0 << true << -3;
        QTest::newRow("control held: no zoom") << 120 << int(Qt::ControlModifier) << false << 0;
    }
    void wheel()
    {
        QFETCH(int, delta);
        QFETCH(int, modifiers);
        QFETCH(bool, tool);
        QFETCH(int, want);
        int reapplied = 0;
        hooks.hasCurrentTool = [=] { return tool; };
        hooks.reapplyTool = [&] { ++reapplied; return tool; };
        VellCanvas::setViewHooks(hooks);
        setView(QSize(4000, 3000), 16);
        QSignalSpy wheeled(canvas, &VellCanvas::mouseWheel);
        wheel(delta, Qt::KeyboardModifiers(modifiers));
        QCOMPARE(canvas->getZoomIndex(), 16 + want);
        QCOMPARE(QList<QVariantList>(wheeled), tool ? QList<QVariantList>() : QList<QVariantList>{ { delta } });
        wheel(delta, Qt::KeyboardModifiers(modifiers));   // while the last step is being shown: dropped
        QCOMPARE(canvas->getZoomIndex(), 16 + want);
        QCOMPARE(reapplied, modifiers ? 0 : 1);
    }

    void actualPixels()   // toggles between 100 % and the zoom before
    {
        for (int start : { 9, 27 }) {
            setView(QSize(4000, 3000), start);
            const float startScale = canvas->getScale();
            canvas->resetToActualPixels(false);
            QCOMPARE(canvas->getScale(), 1.0f);
            canvas->resetToActualPixels(false);
            QCOMPARE(qMakePair(canvas->getZoomIndex(), canvas->getScale()), qMakePair(start, startScale));
        }
        canvas->resetToActualPixels(false);
        canvas->zoom(160, 120, 1, false);   // a zoom between: 100 % again
        canvas->resetToActualPixels(false);
        QCOMPARE(canvas->getZoomIndex(), 16);
    }

    void panAndInertia_data()
    {
        // drag: window pixels to the right in 2 ms; tick: microseconds
        columns<bool, int, int, int, int>("animation", "damping", "index", "drag", "tick");
        QTest::newRow("no damping: constant speed") << true << 0 << 16 << 20 << 1000;
        QTest::newRow("damping 3 at 50 %: six") << true << 3 << 11 << 60 << 50;
        QTest::newRow("damping 1 at 150 %: truncated to none") << true << 1 << 18 << 60 << 100;
        QTest::newRow("glides off the document: stopped") << true << 0 << 16 << -200 << 5000;
        QTest::newRow("released where pressed: no glide") << true << 0 << 16 << 0 << 1000;
        QTest::newRow("animation off: no glide") << false << 0 << 16 << 60 << 1000;
    }
    void panAndInertia()
    {
        QFETCH(bool, animation);
        QFETCH(int, damping);
        QFETCH(int, index);
        QFETCH(int, drag);
        QFETCH(int, tick);
        VellGlobalSettings::getInstance()->moveAnimation = animation;
        VellGlobalSettings::getInstance()->damping = damping;
        setView(QSize(1000, 1000), index, QPointF(-300.0, -300.0));
        const double s = canvas->getScale();
        const QPointF start = canvas->getOrigin();
        QSignalSpy dragged(canvas, &VellCanvas::canvasDragged), moved(canvas, &VellCanvas::mouseMove);
        mouse(QEvent::MouseButtonPress, QPoint(200, 100), 0);
        if (drag)
            mouse(QEvent::MouseMove, QPoint(200 + drag, 100), 2000);
        QCOMPARE(canvas->getOrigin(), QPointF(rounded(start.x() + drag * s, s), start.y()));
        QCOMPARE(qMakePair(dragged.size(), moved.size()), qMakePair(drag ? 1 : 0, 0));   // not reported to tools
        mouse(QEvent::MouseButtonRelease, QPoint(200 + drag, 100), 2000);
        QCOMPARE(canvas->isInertiaRunning(), animation && drag);
        // Uniform deceleration of 150 * trunc(damping * scale) per millisecond; stopped once slowed to
        // nothing or with under 1000 document pixels left in view, at the last origin that showed it.
        const double decel = 150.0 * std::trunc(damping * s), t = tick / 1000.0, y = start.y();
        double speed = std::abs(drag * s) / 2.0, x = canvas->getOrigin().x();
        const auto span = [](double lo, double hi) { return qBound(0.0, hi, 1000.0) - qBound(0.0, lo, 1000.0); };
        for (int i = 0; i < 50 && canvas->isInertiaRunning(); ++i) {
            const double next = speed - decel * t;
            const double want = rounded(x + (drag > 0 ? 1 : -1) * (speed + next) * 0.5 * t, s);
            const bool stop = next < 0.0 || span(-want, 320 * s - want + 1) * span(-y, 240 * s - y + 1) < 1000.0;
            fakeNow += tick;
            invoke("onMoveTimeout");
            QCOMPARE(canvas->isInertiaRunning(), !stop);
            QCOMPARE(canvas->getOrigin(), QPointF(stop ? x : want, y));
            x = want;
            speed = next;
        }
        QCOMPARE(canvas->isInertiaRunning(), animation && drag > 0 && decel == 0.0);   // nothing slows it
        mouse(QEvent::MouseButtonPress, QPoint(5, 5));   // a press stops the glide
        QVERIFY(!canvas->isInertiaRunning());
        mouse(QEvent::MouseButtonRelease, QPoint(5, 5));
    }

    void resizeWindow_data()
    {
        columns<int, QSize, int>("grow", "doc", "margin");
        QTest::newRow("3 pixels: view kept") << 3 << QSize(1000, 700) << 0;
        QTest::newRow("centred without resizing") << 0 << QSize(1000, 500) << 0;
        QTest::newRow("centred, small document: never beyond 100 %") << 0 << QSize(64, 48) << 0;
        QTest::newRow("50 pixels: 100 %, then fitted") << 50 << QSize(1000, 700) << 0;
        QTest::newRow("50 pixels with a margin") << 50 << QSize(1000, 500) << 40;
        QTest::newRow("50 pixels, small document: not magnified") << 50 << QSize(64, 48) << 0;
        QTest::newRow("too big for 6.25 %") << 50 << QSize(40000, 500) << 0;
    }
    void resizeWindow()
    {
        QFETCH(int, grow);
        QFETCH(QSize, doc);
        QFETCH(int, margin);
        setView(doc, grow ? 20 : 30, QPointF(-123.0, -45.0));
        const QPointF origin = canvas->getOrigin();
        canvas->setMargin(margin);
        canvas->resize(320 + grow, 240);
        QTRY_COMPARE(canvas->getWindowWidth(), 320 + grow);
        if (grow == 0)
            canvas->moveToCenter(false);
        // Unless kept, the most magnified zoom, at most 100 %, that shows the whole document, centred.
        const bool kept = grow > 0 && grow < 6;
        const double fit = std::max({ doc.width() / (320.0 + grow - 2 * margin),
                                      doc.height() / (240.0 - 2 * margin), 1.0 });
        int fitted = 0;
        while (fitted < 16 && 100.0 / kPercent[fitted + 1] >= fit - 1e-9)
            ++fitted;
        QCOMPARE(canvas->getZoomIndex(), kept ? 20 : fitted);
        if (kept) {
            QCOMPARE(canvas->getOrigin(), origin);
        } else {
            QVERIFY(centred(doc));
            QVERIFY(!canvas->isActualPixelsToggled());
        }
        canvas->resize(320, 240);
        QTRY_COMPARE(canvas->getWindowWidth(), 320);
    }

    void touch()
    {
        setView(QSize(4000, 3000), 16);
        QCursor::setPos(canvas->mapToGlobal(QPoint(160, 120)));   // pinches zoom about the pointer
        QTRY_COMPARE(canvas->mapFromGlobal(QCursor::pos()), QPoint(160, 120));
        QTest::touchEvent(canvas, touchDevice).press(0, QPoint(100, 100), canvas).press(1, QPoint(200, 100), canvas);
        const QPointF origin = canvas->getOrigin();
        wheel(30);   // two fingers on a pad: scrolls by twice the delta
        QCOMPARE(canvas->getOrigin(), QPointF(origin.x(), rounded(origin.y() + 60.0, 1.0)));
        // Spread to 1.21 times the start distance: level trunc(sqrt(0.21) * 10) = 4.
        QTest::touchEvent(canvas, touchDevice).move(0, QPoint(100, 100), canvas).move(1, QPoint(221, 100), canvas);
        QCOMPARE(canvas->getZoomIndex(), 20);
        // Pinch to 0.7 of it: level -trunc(sqrt(0.3) * 10) = -5, nine steps out.
        QTest::touchEvent(canvas, touchDevice).move(0, QPoint(100, 100), canvas).move(1, QPoint(170, 100), canvas);
        QCOMPARE(canvas->getZoomIndex(), 11);
        wheel(120);   // after a pinch zoom the wheel does nothing for this touch
        QCOMPARE(canvas->getZoomIndex(), 11);
        QTest::touchEvent(canvas, touchDevice).release(0, QPoint(100, 100), canvas).release(1, QPoint(170, 100), canvas);
        QTRY_VERIFY(!canvas->isBusy());
        wheel(120);   // the tail of the gesture
        QCOMPARE(canvas->getZoomIndex(), 11);
        QTest::qWait(550);
        wheel(120);
        QCOMPARE(canvas->getZoomIndex(), 12);
    }

    void canvasTimer_data()
    {
        columns<int, bool, bool, QString>("interval", "selection", "toolBase", "want");   // want: ticks that asked
        QTest::newRow("10 ms") << 10 << true << false << "4 8";
        QTest::newRow("15 ms, a tool base") << 15 << true << true << "3 6";
        QTest::newRow("31 ms: every tick") << 31 << true << false << "1 2 3 4 5 6 7 8";
        QTest::newRow("no selection: every tick after 30 ms") << 10 << false << true << "4 5 6 7 8";
    }
    void canvasTimer()   // the outline every 30 ms; Control held hides a tool base's preview
    {
        QFETCH(int, interval);
        QFETCH(bool, selection);
        QFETCH(bool, toolBase);
        bool present = true;
        QStringList asked;
        int tick = 0;
        hooks.renderSelectionOutline = [&] { asked << QString::number(tick); return present; };
        hooks.currentToolIsToolBase = [=] { return toolBase; };
        VellCanvas::setViewHooks(hooks);
        canvas->startCanvasTimer(interval);
        canvas->stopCanvasTimer();   // ticked by hand
        for (int i = 0; i < 5 && asked.isEmpty(); ++i)   // start right after an outline
            invoke("onCanvasTimeout");
        asked.clear();
        present = selection;
        QSignalSpy ticks(canvas, &VellCanvas::timeOut), switched(canvas, &VellCanvas::previewSwitched);
        for (tick = 1; tick <= 8; ++tick) {
            if (tick == 3 || tick == 6)   // Control held for ticks 3 to 5
                QTest::keyEvent(tick == 3 ? QTest::Press : QTest::Release, &host, Qt::Key_Control,
                                tick == 3 ? Qt::ControlModifier : Qt::KeyboardModifiers());
            invoke("onCanvasTimeout");
            QCOMPARE(canvas->isShowPreviewWhenApply(), !toolBase || tick < 3 || tick > 5);
        }
        QCOMPARE(ticks.size(), 8);
        QCOMPARE(switched.size(), toolBase ? 2 : 0);
        QTEST(asked.join(' '), "want");
    }

    void drop_data()
    {
        columns<QString, QByteArray, bool, QString>("format", "bytes", "accepted", "want");   // want "-": none
        QByteArray item;
        QDataStream out(&item, QIODevice::WriteOnly);
        out << QString("layers/sky.png");
        QTest::newRow("item data") << "application/x-dnditemdata" << item << true << "layers/sky.png";
        QTest::newRow("url") << "text/uri-list" << QByteArray("file:///tmp/a%20b.jpg\r\n") << true << "/tmp/a b.jpg";
        QTest::newRow("item data claiming 2 GiB") << "application/x-dnditemdata" << QByteArray("\x7f\xff\xff\x00", 4) << true << "-";
        QTest::newRow("plain text") << "text/plain" << QByteArray("hello") << false << "-";
    }
    void drop()
    {
        QFETCH(QString, format);
        QFETCH(QByteArray, bytes);
        QMimeData data;
        data.setData(format, bytes);
        QDragEnterEvent enter(QPoint(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(canvas, &enter);
        QTEST(enter.isAccepted(), "accepted");
        QSignalSpy dropped(canvas, &VellCanvas::dropNewFile);
        QDropEvent dropEvent(QPointF(10, 10), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(canvas, &dropEvent);
        QTEST(dropped.isEmpty() ? QString("-") : dropped.value(0).value(0).toString(), "want");
    }
};

QTEST_MAIN(TestVellCanvasView)
#include "tst_vellcanvasview.moc"
