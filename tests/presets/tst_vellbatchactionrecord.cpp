#include "foundation/vellglobalsettings.h"
#include "foundation/vellmessagebox.h"
#include "presets/vellbatchactionfilter.h"
#include "presets/vellbatchactionlogo.h"
#include "presets/vellbatchactionrecord.h"
#include "presets/vellbatchactionresize.h"
#include "presets/vellbatchactionrotation.h"
#include "presets/vellbatchactiontext.h"

#include <QBuffer>
#include <QSignalSpy>
#include <QtEndian>
#include <QtTest>

#include <cstring>
#include <memory>

namespace {

// The file's encodings, spelled out byte by byte rather than through
// QDataStream: big-endian int32, QString as a byte length and UTF-16BE,
// QByteArray as a length and the bytes, bool as one byte, a float as the
// 8-byte double of Qt 4.8 streams.
QByteArray i32(qint32 v)
{
    QByteArray b(4, '\0');
    qToBigEndian(v, b.data());
    return b;
}

QByteArray str(const QString &s)
{
    QByteArray b = i32(s.size() * 2);
    for (QChar c : s)
        b += char(c.unicode() >> 8), b += char(c.unicode() & 0xff);
    return b;
}

QByteArray f64(double v)
{
    quint64 bits;
    std::memcpy(&bits, &v, 8);
    QByteArray b(8, '\0');
    qToBigEndian(bits, b.data());
    return b;
}

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
    void initTestCase();
    void init() { m_boxes.clear(); }
    void goldenBytes_data();
    void goldenBytes();
    void roundTrip_data();
    void roundTrip();
    void cutStreams();
    void versions_data();
    void versions();
    void alignmentByVersion_data();
    void alignmentByVersion();
    void moveAction_data();
    void moveAction();

private:
    QList<VellMessageBox::Message> m_boxes;
};

void TestVellBatchActionRecord::initTestCase()
{
    QCOMPARE(VellGlobalSettings::getInstance()->currentVersion, 20111231);
    VellMessageBox::setPresenter([this](const VellMessageBox::Message &m) {
        m_boxes.append(m);
        return QMessageBox::Ok;
    });
}

void TestVellBatchActionRecord::goldenBytes_data()
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

void TestVellBatchActionRecord::goldenBytes()
{
    QFETCH(QList<int>, types);
    QFETCH(QByteArray, expected);
    VellBatchActionRecord record;
    for (int type : types)
        record.addAction(makeAction(type));
    QCOMPARE(saved(record).toHex(), expected.toHex());
}

void TestVellBatchActionRecord::roundTrip_data()
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
void TestVellBatchActionRecord::roundTrip()
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
void TestVellBatchActionRecord::cutStreams()
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

void TestVellBatchActionRecord::versions_data()
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

void TestVellBatchActionRecord::versions()
{
    QFETCH(QByteArray, bytes);
    QFETCH(bool, loaded);
    QFETCH(int, problem);
    QFETCH(QString, message);
    VellBatchActionRecord record;
    record.addAction(makeAction(VellBatchAction::Filter));
    QCOMPARE(loadBytes(record, bytes), loaded);
    QCOMPARE(VellGlobalSettings::getInstance()->loadingVersion, qFromBigEndian<qint32>(bytes.constData()));
    QCOMPARE(record.loadProblem(), problem);
    if (message.isEmpty()) {
        QVERIFY(m_boxes.isEmpty());
        return;
    }
    QVERIFY(record.getActionList()->isEmpty());
    QCOMPARE(m_boxes.size(), 1);
    QCOMPARE(m_boxes.first().title, QStringLiteral("Error"));
    QCOMPARE(m_boxes.first().text, message);
}

void TestVellBatchActionRecord::alignmentByVersion_data()
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

void TestVellBatchActionRecord::alignmentByVersion()
{
    QFETCH(int, version);
    QFETCH(bool, left);
    QFETCH(bool, top);
    QFETCH(int, horizontal);
    QFETCH(int, vertical);
    VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    QByteArray bytes;
    {
        settings->currentVersion = version;   // the writer of that time
        VellBatchActionRecord old;
        settings->currentVersion = 20111231;
        for (int type : {VellBatchAction::Logo, VellBatchAction::Text}) {
            auto *stamp = static_cast<VellBatchActionLogoBase *>(makeAction(type));
            stamp->setAccordingToLeft(left);
            stamp->setAccordingToTop(top);
            stamp->setHorizontalAlignment(Qt::AlignHCenter);
            stamp->setVerticalAlignment(Qt::AlignVCenter);
            old.addAction(stamp);
        }
        settings->currentVersion = version;
        bytes = saved(old);
        settings->currentVersion = 20111231;
    }
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

void TestVellBatchActionRecord::moveAction_data()
{
    QTest::addColumn<int>("moved");
    QTest::addColumn<int>("offset");
    QTest::addColumn<QString>("order");
    QTest::newRow("B up one") << 1 << -1 << "BAC";
    QTest::newRow("A down one: unchanged") << 0 << 1 << "ABC";
    QTest::newRow("A down two") << 0 << 2 << "BAC";
    QTest::newRow("B down one: unchanged") << 1 << 1 << "ABC";
    QTest::newRow("C up two") << 2 << -2 << "CAB";
    QTest::newRow("A up one: outside") << 0 << -1 << "ABC";
    QTest::newRow("A down three: outside") << 0 << 3 << "ABC";
    QTest::newRow("absent action") << -1 << 1 << "ABC";
}

void TestVellBatchActionRecord::moveAction()
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

QTEST_GUILESS_MAIN(TestVellBatchActionRecord)
#include "tst_vellbatchactionrecord.moc"
