#ifndef VELLHISTORYTESTDOC_H
#define VELLHISTORYTESTDOC_H

// What the history tests share: a real document made current (raster layers
// of patterned pixels, a selection of its size), a description of its whole
// state read without the history's code, a memo that only logs its undo
// calls, and a filter tool double that records what it was asked to do.

#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "history/ivellreplaytool.h"
#include "history/vellhistory.h"
#include "history/vellhistorymemo.h"
#include "picture/vellpicturehost.h"
#include "selection/vellselection.h"

#include <QCryptographicHash>
#include <QDataStream>
#include <QStringList>

#include <cstring>

namespace VellHistoryTest {

// Bytes that differ from pixel to pixel and from seed to seed.
inline QByteArray pattern(qint64 size, int seed)
{
    QByteArray bytes(int(size), '\0');
    quint32 x = 2463534242u + quint32(seed) * 7919u;
    for (int i = 0; i < bytes.size(); ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
        bytes[i] = char(x & 0xFF);
    }
    return bytes;
}

inline VellPictureHost *patternHost(int width, int height, int seed, int pixelWidth = 4)
{
    auto *host = new VellPictureHost(width, height, pixelWidth);
    host->read(reinterpret_cast<const uchar *>(
        pattern(qint64(width) * height * pixelWidth, seed).constData()));
    return host;
}

inline VellLayer *patternLayer(const QString &name, int width, int height, int seed)
{
    auto *layer = new VellLayer(name);
    layer->setVellPictureHost(patternHost(width, height, seed));
    return layer;
}

inline QByteArray bytesOf(const VellPictureHost *host)
{
    return host ? QByteArray(reinterpret_cast<const char *>(host->getData()), int(host->getByteCount()))
                : QByteArray();
}

inline QString digest(const void *data, qint64 size)
{
    if (!data)
        return QStringLiteral("none");
    return QString::fromLatin1(
        QCryptographicHash::hash(QByteArray::fromRawData(static_cast<const char *>(data), int(size)),
                                 QCryptographicHash::Md5)
            .toHex()
            .left(12));
}

// A current document of `layers` raster layers of width x height, the
// selection of its size; deleted (and so unregistered) with the fixture.
struct Document
{
    VellContext *context = nullptr;

    Document(int layers, int width, int height)
    {
        context = new VellContext;
        context->setSelection(new VellSelection(nullptr, width, height));
        VellContextManager *manager = VellContextManager::getInstance();
        manager->addContext(context);
        manager->setCurrentContext(manager->indexOfContext(context));
        for (int i = 0; i < layers; ++i)
            context->getLayerManager()->addLayer(
                patternLayer(QStringLiteral("L%1").arg(i), width, height, i + 1), false);
    }
    ~Document() { delete context; }
    Document(const Document &) = delete;
    Document &operator=(const Document &) = delete;

    VellLayerManager *layers() const { return context->getLayerManager(); }
    VellHistory *history() const { return context->getHistory(); }
    VellSelection *selection() const { return context->getSelection(); }
    VellLayer *raster(int stackIndex) const
    {
        return qobject_cast<VellLayer *>(layers()->getLayer(stackIndex));
    }
};

// The document as the user sees it: size, selection, every layer of the
// stack bottom first with its properties, pixels and mask. Lines, so that a failing comparison shows where they differ.
inline QStringList describe(VellContext *context)
{
    QStringList lines;
    const VellSelection *selection = context->getSelection();
    lines << QStringLiteral("size %1 x %2").arg(selection->getWidth()).arg(selection->getHeight());
    lines << QStringLiteral("selection kind %1 has %2 bytes %3")
                 .arg(selection->getType())
                 .arg(selection->hasSelection())
                 .arg(digest(selection->getMask(), selection->getByteCount()));
    VellLayerManager *manager = context->getLayerManager();
    for (VellLayerBase *layer : manager->getLayers()) {
        QString line = QStringLiteral("layer %1 '%2' at %3,%4 blend %5 visible %6 opacity %7")
                           .arg(layer->getPermanentIndex())
                           .arg(layer->getLayerName())
                           .arg(layer->getPosition().x())
                           .arg(layer->getPosition().y())
                           .arg(layer->getBlendMode())
                           .arg(layer->visible)
                           .arg(double(layer->getAlpha()));
        if (auto *raster = qobject_cast<VellLayer *>(layer)) {
            const VellPictureHost *host = raster->getPictureHost();
            line += QStringLiteral(" %1 x %2 pixels %3")
                        .arg(host->getWidth())
                        .arg(host->getHeight())
                        .arg(digest(host->getData(), host->getByteCount()));
            const VellLayerMask *mask = raster->getLayerMask();
            line += mask ? QStringLiteral(" mask %1").arg(digest(mask->getData(), mask->getByteCount()))
                         : QStringLiteral(" no mask");
        }
        lines << line;
    }
    // Not the active layer: undoing a memo makes its layer active.
    return lines;
}

// Logs "<id>" to `log` on every undo(); everything else as its kind asks.
class LoggingMemo : public VellHistoryMemo
{
public:
    LoggingMemo(VellContext *context, QChar id, int memoType, int layer, QString *log)
        : VellHistoryMemo(context, QString(id)), log(log)
    {
        type = memoType;
        layerIndex = layer;
    }
    bool undo() override
    {
        *log += getName();
        return true;
    }
    qint64 memoryTaken() const override { return 0; }
    bool swapToDisk() override { return false; }
    bool swapFromDisk() override { return false; }
    bool hasFullLayer(int index) const override
    {
        return getType() == 0 && index == layerIndex;
    }

private:
    QString *log = nullptr;
};

// The ids of the memos in the list, oldest first.
inline QString ids(const VellHistory *history)
{
    QString s;
    for (int i = 0; i < history->getMemoCount(); ++i)
        s += history->getMemo(i)->getName();
    return s;
}

// Pushes logging memos named a, b, c... given by type letter (F full picture,
// P filter replay, any other an exchanging kind), each optionally followed by
// its layer's digit (else layer 0).
inline void pushLogged(Document &d, const QString &memos, QString *log)
{
    char id = 'a';
    for (int i = 0; i < memos.size(); ++i) {
        const QChar t = memos[i];
        const int layer = i + 1 < memos.size() && memos[i + 1].isDigit() ? memos[++i].digitValue() : 0;
        const int type = t == 'F' ? VellMemoType::PictureFull
                         : t == 'P' ? VellMemoType::Param
                                    : VellMemoType::SparsePicture;
        d.history()->pushNewMemo(new LoggingMemo(d.context, QChar(id++), type, layer, log));
    }
}

// A filter double: adds its parameter (a quint8 it wrote) to every byte of
// the active layer, and records each restore and application.
class AddingTool : public IVellReplayTool
{
public:
    explicit AddingTool(VellContext *context) : context(context) {}

    QString getName() const override { return QStringLiteral("Add"); }
    void restoreParameters(QDataStream &in) override
    {
        quint8 value = 0;
        in >> value;
        amount = value;
        calls << QStringLiteral("restore %1").arg(value);
    }
    void applyToEntireLayer() override
    {
        auto *layer = qobject_cast<VellLayer *>(context->getLayerManager()->getActiveLayer());
        calls << QStringLiteral("apply to %1").arg(layer ? layer->getPermanentIndex() : -1);
        if (!layer)
            return;
        apply(layer->getPictureHost(), amount);
    }
    static void apply(VellPictureHost *host, int value)
    {
        uchar *data = host->getData();
        for (qint64 i = 0; i < host->getByteCount(); ++i)
            data[i] = uchar(data[i] + value);
    }
    // What the tool saves for a memo.
    static QByteArray parameters(int value)
    {
        QByteArray bytes;
        QDataStream out(&bytes, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_4_8);
        out << quint8(value);
        return bytes;
    }

    QStringList calls;

private:
    VellContext *context = nullptr;
    int amount = 0;
};

} // namespace VellHistoryTest

#endif // VELLHISTORYTESTDOC_H
