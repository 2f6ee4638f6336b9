#include "foundation/vellglobalsettings.h"
#include "foundation/vellmessagebox.h"
#include "presets/vellbatchactionfilter.h"
#include "presets/vellbatchactionlogo.h"
#include "presets/vellbatchactionrecord.h"
#include "presets/vellbatchactionresize.h"
#include "presets/vellbatchactionrotation.h"
#include "presets/vellbatchactiontext.h"
#include "support/vellt2files.h"

#include <QBuffer>
#include <QSignalSpy>
#include <QtEndian>
#include <QtTest>

namespace {

using vellt2::f64;
using vellt2::i32;
using vellt2::str;

QByteArray saved(VellBatchActionRecord &record)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    record.save(out);
    return bytes;
}

bool loadBytes(VellBatchActionRecord &record, const QByteArray &bytes)
{
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_4_8);
    return record.load(in);
}

// Every field of an action, for comparing what was written with what was read.
QString describe(const VellBatchAction *a)
{
    QString d = QStringLiteral("%1|%2").arg(a->getType()).arg(a->getName());
    switch (a->getType()) {
    case VellBatchAction::Filter: {
        auto *f = static_cast<const VellBatchActionFilter *>(a);
        return d + f->getToolId() + QString::fromLatin1(f->getParams()->toHex());
    }
    case VellBatchAction::Resize: {
        auto *r = static_cast<const VellBatchActionResize *>(a);
        int p = 0, q = 0;
        r->getParam(p, q);
        return d + QStringLiteral("|%1|%2|%3").arg(r->getResizeMode()).arg(p).arg(q);
    }
    case VellBatchAction::Rotation:
        return d + QString::number(static_cast<const VellBatchActionRotation *>(a)->getRotation());
    default: break;
    }
    auto *l = static_cast<const VellBatchActionLogoBase *>(a);
    d += QStringLiteral("|%1,%2|%3%4|%5|%6|%7").arg(l->getPosition().x()).arg(l->getPosition().y())
             .arg(l->isAccordingToLeft()).arg(l->isAccordingToTop()).arg(double(l->getFactor()))
             .arg(l->getHorizontalAlignment()).arg(l->getVerticalAlignment());
    if (a->getType() == VellBatchAction::Logo) {
        const QImage image = static_cast<const VellBatchActionLogo *>(a)->getImage();
        return d + QStringLiteral("|%1x%2|%3").arg(image.width()).arg(image.height()).arg(image.isNull() ? 0 : image.pixel(1, 0));
    }
    auto *t = static_cast<const VellBatchActionText *>(a);
    return d + t->getFont().toString() + t->getText() + t->getColor().name(QColor::HexArgb);
}

// A logo step with no image, whose bytes are all spelled out by hand.
constexpr int kBareLogo = 103;

VellBatchAction *makeAction(int type)
{
    if (type == kBareLogo) {
        auto *l = new VellBatchActionLogo;
        l->setName(QStringLiteral("Logo"));
        l->setPosition(QPoint(-5, 7));
        l->setAccordingToLeft(false);
        l->setFactor(0.3f);
        return l;
    }
    switch (type) {
    case VellBatchAction::Filter: {
        auto *f = new VellBatchActionFilter;
        f->setName(QStringLiteral("Brightness/Contrast"));
        f->setToolId(QStringLiteral("bc"));
        f->setParams(QByteArray("\x00\x01\xff", 3));
        return f;
    }
    case VellBatchAction::Resize: {
        auto *r = new VellBatchActionResize;
        r->setName(QStringLiteral("Resize"));
        r->setResizeMode(2);
        r->setParam(640, -480);
        return r;
    }
    case VellBatchAction::Rotation: {
        auto *r = new VellBatchActionRotation;
        r->setName(QStringLiteral("Rotate"));
        r->setRotation(-90);
        return r;
    }
    case VellBatchAction::Logo: {
        auto *l = new VellBatchActionLogo;
        QImage image(3, 2, QImage::Format_ARGB32);
        image.fill(qRgba(10, 20, 30, 128));
        image.setPixel(1, 0, qRgba(1, 2, 3, 4));
        l->setImage(image);
        l->setPosition(QPoint(-5, 7));
        l->setAccordingToLeft(false);
        l->setFactor(0.3f);
        return l;
    }
    default: {
        auto *t = new VellBatchActionText;
        t->setName(QStringLiteral("Stamp"));
        t->setText(QStringLiteral("© 2026"));
        t->setFont(QFont(QStringLiteral("DejaVu Sans"), 14));
        t->setColor(QColor(1, 2, 3));
        t->setAccordingToTop(false);
        t->setHorizontalAlignment(Qt::AlignHCenter);
        return t;
    }
    }
}

} // namespace

class TestVellBatchActionRecord : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_boxes.clear(); }

    void initTestCase()
    {
        QCOMPARE(VellGlobalSettings::getInstance()->currentVersion, 20111231);
        VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
            m_boxes.append(m);
            return QMessageBox::Ok;
        });
    }

    void goldenBytes_data()
    {
        QTest::addColumn<QList<int>>("types");
        QTest::addColumn<QByteArray>("expected");
        const QByteArray head = i32(20111231);
        QTest::newRow("empty: version and count") << QList<int>() << head + i32(0);
        QTest::newRow("filter, rotation")
            << QList<int>{VellBatchAction::Filter, VellBatchAction::Rotation}
            << head + i32(2)
                   + i32(0) + str(QStringLiteral("Brightness/Contrast")) + i32(0) + str(QStringLiteral("bc"))
                   + i32(3) + QByteArray("\x00\x01\xff", 3)
                   + i32(2) + str(QStringLiteral("Rotate")) + i32(2) + i32(-90);
        QTest::newRow("logo without image: float as 8 bytes, alignments last")
            << QList<int>{kBareLogo}
            << head + i32(1) + i32(3) + str(QStringLiteral("Logo")) + i32(3) + i32(-5) + i32(7)
                   + QByteArray("\x00\x01", 2) + f64(double(0.3f)) + i32(0) + i32(Qt::AlignRight) + i32(Qt::AlignTop);
    }

    void goldenBytes()
    {
        QFETCH(QList<int>, types);
        QFETCH(QByteArray, expected);
        VellBatchActionRecord record;
        for (int type : types)
            record.addAction(makeAction(type));
        QCOMPARE(saved(record).toHex(), expected.toHex());
    }

    void roundTrip_data()
    {
        QTest::addColumn<int>("type");
        QTest::newRow("filter") << int(VellBatchAction::Filter);
        QTest::newRow("resize") << int(VellBatchAction::Resize);
        QTest::newRow("rotation") << int(VellBatchAction::Rotation);
        QTest::newRow("logo") << int(VellBatchAction::Logo);
        QTest::newRow("text") << int(VellBatchAction::Text);
    }

    // Each type between two others, so a body read too short or too long
    // shows in the entry after it.
    void roundTrip()
    {
        QFETCH(int, type);
        VellBatchActionRecord record;
        const QList<int> types{VellBatchAction::Rotation, type, VellBatchAction::Filter};
        for (int t : types)
            record.addAction(makeAction(t));
        const QByteArray bytes = saved(record);

        VellBatchActionRecord again;
        QVERIFY(loadBytes(again, bytes));
        QCOMPARE(again.loadProblem(), 0);
        QCOMPARE(again.getActionList()->size(), types.size());
        for (int i = 0; i < types.size(); ++i)
            QCOMPARE(describe(again.getActionList()->at(i)), describe(record.getActionList()->at(i)));
        QCOMPARE(saved(again), bytes);
    }

    // A file cut anywhere keeps exactly the entries that end before the cut and
    // names the first one that does not.
    void cutStreams()
    {
        VellBatchActionRecord record;
        QVector<int> ends{8};
        for (int type = VellBatchAction::Filter; type <= VellBatchAction::Text; ++type) {
            record.addAction(makeAction(type));
            QByteArray entry;
            QDataStream out(&entry, QIODevice::WriteOnly);
            out.setVersion(QDataStream::Qt_4_8);
            VellBatchActionRecord::writeAction(out, record.getActionList()->last());
            ends.append(ends.last() + entry.size());
        }
        const QByteArray bytes = saved(record);
        QCOMPARE(bytes.size(), ends.last());
        for (int cut = 8; cut < bytes.size(); ++cut) {
            VellBatchActionRecord partial;
            QVERIFY(loadBytes(partial, bytes.left(cut)));
            const int whole = int(std::upper_bound(ends.begin(), ends.end(), cut) - ends.begin()) - 1;
            QVERIFY2(partial.getActionList()->size() == whole, qPrintable(QString::number(cut)));
            QVERIFY2(partial.loadProblem() == whole + 1, qPrintable(QString::number(cut)));
        }
    }

    void versions_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("loaded");
        QTest::addColumn<int>("problem");
        QTest::addColumn<QString>("message");
        QTest::newRow("newer file refused")
            << i32(20111232) + i32(0) << false << 0
            << QStringLiteral("Version mismatched, current version is: 20111231, the version of the vba file is: 20111232");
        QTest::newRow("unknown type skipped, the rest read")
            << i32(20111231) + i32(2) + i32(7) + i32(2) + str(QStringLiteral("R")) + i32(2) + i32(180) << true << 1
            << QString();
        QTest::newRow("body of another type")
            << i32(20111231) + i32(1) + i32(2) + str(QStringLiteral("R")) + i32(1) + i32(180) << true << 1 << QString();
        QTest::newRow("absurd count") << i32(20111231) + i32(INT_MAX) + i32(2) + str(QString()) + i32(2) + i32(90)
                                      << true << 2 << QString();
        QTest::newRow("negative count") << i32(20111231) + i32(-3) << true << 1 << QString();
    }

    void versions()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, loaded);
        QFETCH(QString, message);
        VellBatchActionRecord record;
        record.addAction(makeAction(VellBatchAction::Filter));
        QCOMPARE(loadBytes(record, bytes), loaded);
        QCOMPARE(VellGlobalSettings::getInstance()->loadingVersion, qFromBigEndian<qint32>(bytes.constData()));
        QTEST(record.loadProblem(), "problem");
        QStringList shown;
        for (const VellMessageBox::Message &box : qAsConst(m_boxes))
            shown << box.title + ": " + box.text;
        QCOMPARE(shown, message.isEmpty() ? QStringList() : QStringList{"Error: " + message});
        if (!loaded)
            QVERIFY(record.getActionList()->isEmpty());
    }

    void alignmentByVersion_data()
    {
        QTest::addColumn<int>("version");
        QTest::addColumn<bool>("left");
        QTest::addColumn<bool>("top");
        QTest::addColumn<int>("horizontal");
        QTest::addColumn<int>("vertical");
        // Stored alignments are centred, which no pair of flags gives.
        QTest::newRow("20101116 right, top: derived") << 20101116 << false << true << 2 << 32;
        QTest::newRow("20101116 left, bottom: derived") << 20101116 << true << false << 1 << 64;
        QTest::newRow("older: derived") << 20090101 << false << false << 2 << 64;
        QTest::newRow("20101117: stored") << 20101117 << false << true << 4 << 128;
    }

    void alignmentByVersion()
    {
        QFETCH(int, version);
        QFETCH(bool, left);
        QFETCH(bool, top);
        QFETCH(int, horizontal);
        QFETCH(int, vertical);
        VellGlobalSettings::getInstance()->currentVersion = version;   // the writer of that time
        VellBatchActionRecord old;
        for (int type : {VellBatchAction::Logo, VellBatchAction::Text}) {
            auto *stamp = static_cast<VellBatchActionLogoBase *>(makeAction(type));
            stamp->setAccordingToLeft(left);
            stamp->setAccordingToTop(top);
            stamp->setHorizontalAlignment(Qt::AlignHCenter);
            stamp->setVerticalAlignment(Qt::AlignVCenter);
            old.addAction(stamp);
        }
        const QByteArray bytes = saved(old);
        VellGlobalSettings::getInstance()->currentVersion = 20111231;
        VellBatchActionRecord record;
        QVERIFY(loadBytes(record, bytes));
        QCOMPARE(record.loadProblem(), 0);
        QCOMPARE(record.getActionList()->size(), 2);
        for (VellBatchAction *action : *record.getActionList()) {
            auto *stamp = static_cast<VellBatchActionLogoBase *>(action);
            QCOMPARE(stamp->isAccordingToLeft(), left);
            QCOMPARE(stamp->isAccordingToTop(), top);
            QCOMPARE(stamp->getHorizontalAlignment(), horizontal);
            QCOMPARE(stamp->getVerticalAlignment(), vertical);
        }
    }

    void moveAction_data()
    {
        QTest::addColumn<int>("moved");
        QTest::addColumn<int>("offset");
        QTest::addColumn<QString>("order");
        QTest::newRow("B up one") << 1 << -1 << "BAC";
        QTest::newRow("A down one: unchanged") << 0 << 1 << "ABC";
        QTest::newRow("A down two") << 0 << 2 << "BAC";
        QTest::newRow("C up two") << 2 << -2 << "CAB";
        QTest::newRow("A up one: outside") << 0 << -1 << "ABC";
        QTest::newRow("A down three: outside") << 0 << 3 << "ABC";
        QTest::newRow("absent action") << -1 << 1 << "ABC";
    }

    void moveAction()
    {
        QFETCH(int, moved);
        QFETCH(int, offset);
        QFETCH(QString, order);
        VellBatchActionRecord record;
        for (const char *name : {"A", "B", "C"}) {
            auto *rotation = new VellBatchActionRotation;
            rotation->setName(QLatin1String(name));
            record.addAction(rotation);
        }
        VellBatchActionRotation stranger;
        QSignalSpy changed(&record, &VellBatchActionRecord::actionListChanged);
        record.moveAction(moved < 0 ? &stranger : record.getActionList()->at(moved), offset);
        QString names;
        for (VellBatchAction *action : *record.getActionList())
            names += action->getName();
        QCOMPARE(names, order);
        QCOMPARE(changed.count(), 1);
    }

private:
    QList<VellMessageBox::Message> m_boxes;
};

QTEST_GUILESS_MAIN(TestVellBatchActionRecord)
#include "tst_vellbatchactionrecord.moc"
