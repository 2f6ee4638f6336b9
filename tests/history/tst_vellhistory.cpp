// The undo history over real documents: every kind of edit undone and redone
// against the states seen on the way forward, the stepping rules' bookkeeping
// and the trimming of full pictures against tables worked out by hand, filter
// replays through a tool double, and the recovery seams that clear it.

#include "history/vellhistorytestdoc.h"

#include "foundation/vellcodes.h"
#include "foundation/vellmemory.h"
#include "foundation/vellmessagebox.h"
#include "foundation/vellrecovery.h"
#include "history/vellmemocanvasandlayerschange.h"
#include "history/velllayermaskcreateorremovememo.h"
#include "history/velllayermaskfullmemo.h"
#include "history/velllayermaskinvertmemo.h"
#include "history/velllayermaskmemo.h"
#include "history/velllayermodifymemo.h"
#include "history/vellparammemo.h"
#include "history/vellpicturemodifymemo.h"
#include "history/vellselectionedithistory.h"
#include "history/vellselectionmemo.h"
#include "history/vellsparsemodifymemo.h"
#include "picture/vellblockedsparsechannel.h"
#include "picture/vellsparsepicture.h"
#include "presets/vellactionmanager.h"

#include <QAction>
#include <QtTest>

#include <functional>

using namespace VellHistoryTest;

namespace {

const int kWidth = 24, kHeight = 16;

using Edit = std::function<void(Document &)>;
using Edits = QVector<Edit>;

int perm(Document &d, int stackIndex) { return d.layers()->getLayer(stackIndex)->getPermanentIndex(); }

Edit addLayer(int seed)
{
    return [=](Document &d) {
        d.layers()->addLayer(patternLayer(QStringLiteral("new%1").arg(seed), kWidth, kHeight, seed), true);
    };
}
Edit deleteLayer(int i) { return [=](Document &d) { d.layers()->deleteLayer(d.layers()->getLayer(i), true); }; }
Edit moveLayer(int i, int by) { return [=](Document &d) { d.layers()->moveLayer(d.layers()->getLayer(i), by, true); }; }

Edit properties(int i, float opacity, int blend, bool visible, QPointF at)
{
    return [=](Document &d) {
        VellLayerBase *layer = d.layers()->getLayer(i);
        d.history()->pushNewMemo(new VellLayerModifyMemo(d.context, layer));
        layer->setAlpha(opacity);
        layer->setBlendMode(blend);
        layer->visible = visible;
        layer->setPosition(at);
        layer->setLayerName(layer->getLayerName() + QStringLiteral("*"));
    };
}

Edit twoLayerProperties()
{
    return [](Document &d) {
        const QVector<VellLayerBase *> both{d.layers()->getLayer(0), d.layers()->getLayer(1)};
        d.history()->pushNewMemo(new VellLayerModifyMemo(d.context, both));
        for (VellLayerBase *layer : both)
            layer->setAlpha(layer->getAlpha() / 2);
    };
}

Edit createMask(int i)
{
    return [=](Document &d) {
        d.history()->pushNewMemo(new VellLayerMaskCreateOrRemoveMemo(d.context, perm(d, i)));
        d.raster(i)->createLayerMask();
    };
}
Edit removeMask(int i)
{
    return [=](Document &d) {
        d.history()->pushNewMemo(new VellLayerMaskCreateOrRemoveMemo(d.context, perm(d, i)));
        d.raster(i)->removeLayerMask();   // the memo holds it now
    };
}
Edit paintMask(int i, QRect rect, int value)
{
    return [=](Document &d) {
        VellLayerMask *mask = d.raster(i)->getLayerMask();
        d.history()->pushNewMemo(
            new VellLayerMaskMemo(d.context, new VellBlockedSparseChannel(rect, mask), perm(d, i)));
        for (int y = rect.top(); y <= rect.bottom(); ++y)
            std::memset(mask->getData() + y * mask->getPaddedWidth() + rect.left(), value,
                        size_t(rect.width()));
    };
}
Edit invertMask(int i)
{
    return [=](Document &d) {
        d.history()->pushNewMemo(new VellLayerMaskInvertMemo(d.context, perm(d, i)));
        d.raster(i)->getLayerMask()->invert();
    };
}
Edit fillMask(int i, int value)
{
    return [=](Document &d) {
        VellLayerMask *mask = d.raster(i)->getLayerMask();
        d.history()->pushNewMemo(new VellLayerMaskFullMemo(d.context, perm(d, i)));
        std::memset(mask->getData(), value, size_t(mask->getByteCount()));
    };
}

Edit select(QRect rect, int combine)
{
    return [=](Document &d) {
        const int before = d.selection()->getHistoryIndex();
        d.selection()->combineMode = combine;
        const QByteArray ones(rect.width() * rect.height(), char(255));
        d.selection()->addMask(reinterpret_cast<const uchar *>(ones.constData()), rect.width(),
                               rect.height(), rect.x(), rect.y());
        d.history()->pushNewMemo(new VellSelectionMemo(d.context, before));
    };
}

// A stroke: the previous pixels of `rect` recorded, then the pixels changed.
Edit paint(int i, QRect rect, int value)
{
    return [=](Document &d) {
        VellPictureHost *host = d.raster(i)->getPictureHost();
        auto *before = new VellSparsePicture(int(host->getWidth()), int(host->getHeight()), 4);
        for (int y = rect.top(); y <= rect.bottom(); ++y)
            for (int x = rect.left(); x <= rect.right(); ++x) {
                CoordPixel8bit p;
                p.x = quint16(x);
                p.y = quint16(y);
                uchar *px = host->getData() + (size_t(y) * host->getWidth() + size_t(x)) * 4;
                std::memcpy(p.pixel, px, 4);
                before->getData8bit().append(p);
                std::memset(px, value, 4);
            }
        d.history()->pushNewMemo(new VellSparseModifyMemo(d.context, before, perm(d, i)));
    };
}

// What cropping or enlarging the canvas does to a document: a new size,
// every layer moved and given new pixels.
Edit resizeCanvas(int width, int height, int seed)
{
    return [=](Document &d) {
        d.history()->pushNewMemo(new VellMemoCanvasAndLayersChange(d.context));
        for (int i = 0; i < d.layers()->getLayerCount(); ++i) {
            VellLayer *layer = d.raster(i);
            layer->setPosition(layer->getPosition() + QPointF(3, -2));
            layer->setAlpha(0.25f);
            layer->setVellPictureHost(patternHost(width, height, seed + i));
        }
        d.selection()->resize(width, height, true);
        d.selection()->initMasks();
    };
}

} // namespace

Q_DECLARE_METATYPE(Edit)
Q_DECLARE_METATYPE(Edits)

class TestVellHistory : public QObject
{
    Q_OBJECT

    VellMessageBox::Presenter previousPresenter;
    QVector<VellMessageBox::Message> boxes;

private slots:
    void initTestCase()
    {
        previousPresenter = VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
            boxes.append(m);
            return QMessageBox::Ok;
        });
        VellActionManager::getInstance(QStringLiteral(VELL_TEST_DATA_DIR "/commands.xml"));
    }
    void cleanupTestCase() { VellMessageBox::setPresenter(previousPresenter); }
    void init() { boxes.clear(); }

    void undoAllRedoAll_data()
    {
        QTest::addColumn<int>("layers");
        QTest::addColumn<Edits>("edits");
        QTest::newRow("add, move and delete layers")
            << 2 << Edits{addLayer(7), moveLayer(2, -2), addLayer(8), deleteLayer(0),
                          moveLayer(0, 2), deleteLayer(2)};
        QTest::newRow("delete down to one layer and add back")
            << 3 << Edits{deleteLayer(2), deleteLayer(0), addLayer(9), deleteLayer(0)};
        QTest::newRow("layer properties, one and two at a time")
            << 2 << Edits{properties(0, 0.5f, VellBlend::Multiply, false, QPointF(4, 5)),
                          twoLayerProperties(),
                          properties(1, 0.75f, VellBlend::Screen, true, QPointF(-3, 2)),
                          properties(0, 1.0f, VellBlend::Normal, true, QPointF(0, 0))};
        QTest::newRow("mask created, painted, inverted, filled and removed")
            << 2 << Edits{createMask(1), paintMask(1, QRect(2, 3, 9, 4), 40), invertMask(1),
                          createMask(0), fillMask(1, 7), paintMask(0, QRect(0, 0, 24, 1), 0),
                          removeMask(1), invertMask(0)};
        QTest::newRow("selection replaced, added to, intersected")
            << 1 << Edits{select(QRect(2, 2, 8, 6), VellCombineMode::Replace),
                          select(QRect(12, 4, 6, 9), VellCombineMode::Add),
                          select(QRect(0, 0, 14, 8), VellCombineMode::Intersect),
                          select(QRect(5, 5, 3, 3), VellCombineMode::Subtract)};
        QTest::newRow("painting strokes on two layers")
            << 2 << Edits{paint(0, QRect(1, 1, 5, 5), 200), paint(1, QRect(3, 2, 7, 3), 9),
                          paint(0, QRect(4, 4, 6, 6), 77)};
        QTest::newRow("canvas resized between other edits")
            << 2 << Edits{properties(1, 0.5f, VellBlend::Darken, true, QPointF(1, 1)),
                          resizeCanvas(30, 11, 40), paint(0, QRect(0, 0, 30, 2), 1),
                          createMask(0), resizeCanvas(12, 20, 50), deleteLayer(1)};
        QTest::newRow("one of everything")
            << 2 << Edits{addLayer(5), paint(2, QRect(0, 0, 3, 3), 17), createMask(2),
                          paintMask(2, QRect(1, 1, 4, 4), 3), select(QRect(1, 2, 3, 4), VellCombineMode::Replace),
                          properties(2, 0.3f, VellBlend::Overlay, true, QPointF(2, 2)),
                          moveLayer(2, -1), invertMask(1), deleteLayer(0)};
    }
    void undoAllRedoAll()
    {
        QFETCH(int, layers);
        QFETCH(Edits, edits);
        Document d(layers, kWidth, kHeight);
        QVector<QStringList> states{describe(d.context)};
        for (const Edit &edit : edits) {
            edit(d);
            states.append(describe(d.context));
            QCOMPARE(d.history()->getMemoCount(), states.size() - 1);
        }
        QVERIFY(!d.history()->isRedoAble());

        while (d.history()->isUndoAble()) {
            const int before = d.history()->getCurrent();
            d.history()->stepBackward();
            QCOMPARE(d.history()->getCurrent(), before - 1);
            QCOMPARE(describe(d.context), states.at(d.history()->getCurrent()));
        }
        QCOMPARE(d.history()->getCurrent(), 0);
        while (d.history()->isRedoAble()) {
            const int before = d.history()->getCurrent();
            d.history()->stepForward();
            QCOMPARE(d.history()->getCurrent(), before + 1);
            QCOMPARE(describe(d.context), states.at(d.history()->getCurrent()));
        }
        QCOMPARE(d.history()->getCurrent(), edits.size());
        QVERIFY(!d.context->isUndoing());
    }

    // Stepping rules on memos that only log: types by letter (S exchanging,
    // F full picture, P filter replay), a start position and a target; N is
    // the document's pending memo, which a step saving the present picture
    // inserts. Expected values worked out by hand from the rules.
    void stepping_data()
    {
        QTest::addColumn<QString>("types");
        QTest::addColumn<QVector<int>>("start");   // current, backward, forward
        QTest::addColumn<int>("target");
        QTest::addColumn<QString>("undone");
        QTest::addColumn<QString>("list");
        QTest::addColumn<QVector<int>>("after");
        QTest::addColumn<QString>("pending");

        QTest::newRow("exchanges forward") << "SSS" << QVector<int>{0, -1, 0} << 2 << "abc" << "abc"
                                           << QVector<int>{3, 2, 3} << "N";
        QTest::newRow("exchanges back") << "SSS" << QVector<int>{3, 2, -1} << 0 << "cba" << "abc"
                                        << QVector<int>{0, -1, 0} << "N";
        QTest::newRow("back stops at the first full picture above")
            << "SFSS" << QVector<int>{4, 3, -1} << 0 << "ba" << "abcd" << QVector<int>{0, -1, 0} << "N";
        QTest::newRow("back onto a memo above a full picture skips it")
            << "SFS" << QVector<int>{3, 2, -1} << 2 << "c" << "abc" << QVector<int>{2, 0, 2} << "N";
        QTest::newRow("full picture at the end saves the present")
            << "SF" << QVector<int>{2, 1, -1} << 1 << "b" << "aN" << QVector<int>{1, 0, 1} << "";
        QTest::newRow("full picture below replays needs no save")
            << "FPP" << QVector<int>{2, 1, 2} << 0 << "a" << "bc" << QVector<int>{0, -1, 0} << "N";
        QTest::newRow("full picture below an exchange saves the present")
            << "FSP" << QVector<int>{2, 1, 2} << 0 << "a" << "bNc" << QVector<int>{0, -1, 0} << "";
        QTest::newRow("replay back from the full picture below")
            << "FPP" << QVector<int>{3, 2, -1} << 2 << "abc" << "abcN" << QVector<int>{3, 1, 3} << "";
        QTest::newRow("replay back with no full picture below changes nothing")
            << "SP" << QVector<int>{2, 1, -1} << 1 << "" << "ab" << QVector<int>{2, 1, -1} << "N";
        QTest::newRow("replay forward after a replay; the last becomes pending")
            << "FPP" << QVector<int>{2, 1, 2} << 2 << "c" << "ab" << QVector<int>{2, 1, 3} << "c";
        QTest::newRow("replay forward keeps the present picture first")
            << "FSP" << QVector<int>{2, 1, 2} << 2 << "c" << "abN" << QVector<int>{3, 2, 4} << "c";
        QTest::newRow("replay forward from a full picture")
            << "FPPS" << QVector<int>{0, -1, 0} << 2 << "abc" << "abcd" << QVector<int>{3, 1, 3} << "N";
    }
    void stepping()
    {
        QFETCH(QString, types);
        QFETCH(QVector<int>, start);
        QFETCH(int, target);
        QFETCH(QString, undone);
        QFETCH(QString, list);
        QFETCH(QVector<int>, after);
        QFETCH(QString, pending);

        Document d(1, 4, 4);
        QString log;
        pushLogged(d, types, &log);
        d.context->setLastMemo(new LoggingMemo(d.context, 'N', VellMemoType::PictureFull, 0, &log));
        d.history()->setCurrentBackwardForwardMemo(start[0], start[1], start[2]);

        d.history()->stepToMemo(target);
        QCOMPARE(log, undone);
        QCOMPARE(ids(d.history()), list);
        QCOMPARE(QVector<int>({d.history()->getCurrent(), d.history()->getBackwardIndex(),
                               d.history()->getForwardIndex()}),
                 after);
        QCOMPARE(d.context->getLastMemo() ? d.context->getLastMemo()->getName() : QString(), pending);
        if (pending.isEmpty() || d.history()->indexOfMemo(d.context->getLastMemo()) >= 0)
            d.context->setLastMemo(nullptr);
    }

    // Pushing X onto memos given as type letter and layer digit.
    void trimming_data()
    {
        QTest::addColumn<QString>("memos");
        QTest::addColumn<int>("current");
        QTest::addColumn<QString>("left");

        QTest::newRow("four full pictures: the oldest goes with what precedes the next")
            << "F0P0F0F0F0" << 5 << "cdeX";
        QTest::newRow("another layer's memos do not stop the cut")
            << "F0S1S0F0F0F0" << 6 << "cdefX";
        QTest::newRow("replays of the layer are cut with it")
            << "F0P0P0S0F0F0F0" << 7 << "defgX";
        QTest::newRow("no later memo of the layer: only the oldest goes")
            << "F0F1F1F1P0" << 5 << "bcdeX";
        QTest::newRow("three full pictures are kept") << "F0F0F0S0" << 4 << "abcdX";
        QTest::newRow("redo memos go before counting") << "F0F0F0F0" << 2 << "abX";
    }
    void trimming()
    {
        QFETCH(QString, memos);
        QFETCH(int, current);
        QFETCH(QString, left);
        Document d(2, 4, 4);
        QString log;
        pushLogged(d, memos, &log);
        d.history()->setCurrentBackwardForwardMemo(current, current - 1, current);
        d.history()->pushNewMemo(new LoggingMemo(d.context, 'X', VellMemoType::SparsePicture, 0, &log));
        QCOMPARE(ids(d.history()), left);
        QCOMPARE(d.history()->getCurrent(), left.size());
        QCOMPARE(d.history()->getBackwardIndex(), left.size() - 1);
        QCOMPARE(d.history()->getForwardIndex(), -1);
        QVERIFY(log.isEmpty());
    }

    void latestAndSequence_data()
    {
        QTest::addColumn<QString>("memos");
        QTest::addColumn<int>("current");
        QTest::addColumn<int>("layer");
        QTest::addColumn<QString>("latest");
        QTest::addColumn<int>("sequence");

        QTest::newRow("replays after a full picture") << "F0P0P0" << 3 << 0 << "c" << 2;
        QTest::newRow("redo memos do not count") << "F0P0P0" << 1 << 0 << "a" << 0;
        QTest::newRow("other layers' memos are passed over") << "F0S1P0S1" << 4 << 0 << "c" << 3;
        QTest::newRow("no full picture of the layer") << "S0P0" << 2 << 0 << "b" << -1;
        QTest::newRow("a layer without memos") << "F0P0" << 2 << 3 << "" << -1;
        QTest::newRow("nothing applied") << "F0" << 0 << 0 << "" << -1;
    }
    void latestAndSequence()
    {
        QFETCH(QString, memos);
        QFETCH(int, current);
        QFETCH(int, layer);
        QFETCH(QString, latest);
        QFETCH(int, sequence);
        Document d(2, 4, 4);
        QString log;
        pushLogged(d, memos, &log);
        d.history()->setCurrentBackwardForwardMemo(current, current - 1, current);
        VellHistoryMemo *memo = d.history()->getLatestMemo(layer);
        QCOMPARE(memo ? memo->getName() : QString(), latest);
        QCOMPARE(d.history()->getSequenceLength(layer), sequence);
    }

    // A filter applied three times after a full picture of the layer; the
    // replays go through the tool double and give back each state's pixels.
    void filterReplay()
    {
        Document d(1, 6, 5);
        AddingTool tool(d.context);
        VellLayer *layer = d.raster(0);
        const int index = layer->getPermanentIndex();
        QVector<QByteArray> states{bytesOf(layer->getPictureHost())};
        d.history()->pushNewMemo(new VellPictureModifyMemo(d.context, layer->getPictureHost(), index, false));
        for (int value : {3, 50, 101}) {
            const QByteArray params = AddingTool::parameters(value);
            d.history()->pushNewMemo(new VellParamMemo(d.context, &params, &tool, index,
                                                       d.selection()->getHistoryIndex()));
            AddingTool::apply(layer->getPictureHost(), value);
            states.append(bytesOf(layer->getPictureHost()));
        }
        QCOMPARE(d.history()->getMemo(1)->getName(), QStringLiteral("Apply Filter:Add"));
        QCOMPARE(d.history()->getSequenceLength(index), 3);

        // Back to the state after the first filter: the full picture, then one replay.
        d.history()->stepToMemo(1);
        QCOMPARE(tool.calls, QStringList({"restore 3", "apply to 0"}));
        QCOMPARE(bytesOf(layer->getPictureHost()), states.at(1));
        QCOMPARE(d.history()->getCurrent(), 2);

        // Forward again to the third: replays the second and third.
        tool.calls.clear();
        d.history()->stepToMemo(3);
        QCOMPARE(tool.calls, QStringList({"restore 50", "apply to 0", "restore 101", "apply to 0"}));
        QCOMPARE(bytesOf(layer->getPictureHost()), states.at(3));

        // Down to the full picture: the original pixels.
        tool.calls.clear();
        d.history()->stepToMemo(0);
        QVERIFY(tool.calls.isEmpty());
        QCOMPARE(bytesOf(layer->getPictureHost()), states.at(0));

        // Up to the present picture, saved by the first step back.
        d.history()->stepToMemo(d.history()->getMemoCount() - 1);
        QVERIFY(tool.calls.isEmpty());
        QCOMPARE(bytesOf(layer->getPictureHost()), states.at(3));
    }

    // A replay puts back the selection and channels the filter ran with.
    void filterReplayRestoresSelection()
    {
        Document d(1, 8, 8);
        AddingTool tool(d.context);
        const QByteArray ones(16, char(255));
        d.selection()->addMask(reinterpret_cast<const uchar *>(ones.constData()), 4, 4, 2, 2);
        const int selected = d.selection()->getHistoryIndex();
        const QByteArray mask(reinterpret_cast<const char *>(d.selection()->getMask()),
                              int(d.selection()->getByteCount()));
        d.context->editingChannel = VellChannelBits::Red;
        const QByteArray params = AddingTool::parameters(1);
        VellParamMemo memo(d.context, &params, &tool, 0, selected);
        d.selection()->clear();
        d.context->editingChannel = VellChannelBits::All;

        QVERIFY(memo.undo());
        QCOMPARE(d.selection()->getHistoryIndex(), selected);
        QCOMPARE(QByteArray(reinterpret_cast<const char *>(d.selection()->getMask()),
                            int(d.selection()->getByteCount())),
                 mask);
        QCOMPARE(d.context->editingChannel, int(VellChannelBits::Red));
    }

    void memoRefusesWhileUndoing()
    {
        Document d(1, 4, 4);
        properties(0, 0.5f, VellBlend::Multiply, true, QPointF())(d);
        const QStringList state = describe(d.context);
        d.context->setUndoing(true, nullptr);
        QVERIFY(!d.history()->getMemo(0)->undo());
        d.history()->stepBackward();
        QCOMPARE(describe(d.context), state);
        QCOMPARE(d.history()->getCurrent(), 1);
        QCOMPARE(boxes.size(), 1);
        QCOMPARE(boxes.first().kind, VellMessageBox::About);
        QCOMPARE(boxes.first().title, QStringLiteral("Error"));
        QCOMPARE(boxes.first().text, QStringLiteral("System is undoing, please wait!"));
        d.context->setUndoing(false, nullptr);
    }

    void memoOfAVanishedLayerChangesNothing()
    {
        Document d(2, 4, 4);
        paint(1, QRect(0, 0, 2, 2), 5)(d);
        const int gone = perm(d, 1);
        d.layers()->deleteLayer(d.layers()->getLayer(1), false);
        const QStringList state = describe(d.context);
        VellSparseModifyMemo *memo = qobject_cast<VellSparseModifyMemo *>(d.history()->getMemo(0));
        QVERIFY(memo);
        QCOMPARE(memo->getLayerIndex(), gone);
        QVERIFY(!memo->undo());
        QCOMPARE(describe(d.context), state);
        QVERIFY(!d.context->isUndoing());
    }

    void undoRedoCommands()
    {
        QAction *undoAction = VellActionManager::getInstance(QString())->getActionByName("Undo");
        QAction *redoAction = VellActionManager::getInstance(QString())->getActionByName("Redo");
        QVERIFY(undoAction);
        QVERIFY(redoAction);
        const auto enabled = [&] {
            return QStringLiteral("undo %1, redo %2").arg(undoAction->isEnabled()).arg(redoAction->isEnabled());
        };
        Document d(1, 4, 4);
        d.history()->clearHistory();
        d.history()->stepBackward();
        QCOMPARE(enabled(), "undo 0, redo 0");

        QSignalSpy changed(d.history(), &VellHistory::historyChanged);
        for (int i = 0; i < 3; ++i)
            properties(0, 0.1f * i, VellBlend::Normal, true, QPointF(i, 0))(d);
        QCOMPARE(changed.count(), 3);
        QCOMPARE(enabled(), "undo 1, redo 0");
        d.history()->stepBackward();
        d.history()->stepBackward();
        QCOMPARE(enabled(), "undo 1, redo 1");
        // A new edit drops the two redoable memos.
        properties(0, 0.9f, VellBlend::Normal, true, QPointF())(d);
        QCOMPARE(d.history()->getMemoCount(), 2);
        QCOMPARE(enabled(), "undo 1, redo 0");

        // While the selection is edited the commands follow its own list.
        d.context->enterSelectionEditingMode();
        VellSelectionEditHistory *edits = d.context->getSelectionEditHistory();
        QVERIFY(edits);
        QCOMPARE(enabled(), "undo 0, redo 0");
        edits->pushNewMemo(new VellLayerMaskInvertMemo(d.context, 0));
        QCOMPARE(enabled(), "undo 1, redo 0");
        const uchar painted = d.context->getChannelSelectionForEditing()->getData()[0];
        edits->undo();   // inverts the editing channel
        QCOMPARE(enabled(), "undo 0, redo 1");
        QCOMPARE(d.context->getChannelSelectionForEditing()->getData()[0], uchar(255 - painted));
        d.context->exitSelectionEditingMode();
        QCOMPARE(enabled(), "undo 1, redo 0");
    }

    // The budget's recovery, the system running short and an over-budget
    // signal reach the current document's history, and no other.
    void shortageClearsTheCurrentHistory_data()
    {
        QTest::addColumn<int>("failures");   // failing system allocations; -1: system short, -2: over budget
        QTest::addColumn<bool>("cleared");
        QTest::newRow("first try succeeds") << 0 << false;
        QTest::newRow("succeeds while waiting") << 5 << false;
        QTest::newRow("succeeds once the history is cleared") << 11 << true;
        QTest::newRow("succeeds once textures are dropped") << 12 << true;
        QTest::newRow("system short of memory") << -1 << true;
        QTest::newRow("over budget with several layers: the whole list") << -2 << true;
    }
    void shortageClearsTheCurrentHistory()
    {
        QFETCH(int, failures);
        QFETCH(bool, cleared);
        Document other(2, 4, 4);
        properties(0, 0.5f, VellBlend::Normal, true, QPointF())(other);
        Document d(2, 4, 4);
        properties(0, 0.5f, VellBlend::Normal, true, QPointF())(d);
        if (failures == -1) {
            VellMemory::setProbe([] { return VellSystemResources{true, 1u << 30, true, 1u << 20}; });
            VellMemory::clearMemory();
            VellMemory::setProbe({});
        } else if (failures == -2) {
            emit VellMemory::getInstance()->memoryNotEnough(1000);
        } else {
            VellMemory budget(1 << 20);
            int calls = 0;
            budget.setAllocator([&](size_t size) { return ++calls > failures ? std::malloc(size) : nullptr; });
            unsigned char *p = budget.alloc(64);
            QVERIFY(p);
            budget.release(p);
        }
        QCOMPARE(d.history()->getMemoCount(), cleared ? 0 : 1);
        QCOMPARE(other.history()->getMemoCount(), 1);
    }
};

QTEST_GUILESS_MAIN(TestVellHistory)
#include "tst_vellhistory.moc"
