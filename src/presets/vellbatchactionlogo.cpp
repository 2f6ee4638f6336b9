#include "presets/vellbatchactionlogo.h"

#include "picture/vellpicturereader.h"

#include <QDataStream>
#include <QImageReader>

#include <memory>

namespace {

// QDataStream's own QImage reader decodes whatever size the embedded PNG
// declares. This one reads the same encoding (a non-null marker, then PNG
// bytes) but checks the declared size first.
bool readImage(QDataStream &in, QImage *image)
{
    qint32 notNull = 0;
    in >> notNull;
    if (in.status() != QDataStream::Ok)
        return false;
    if (!notNull) {
        *image = QImage();
        return true;
    }
    QImageReader reader(in.device(), "png");
    const QSize size = reader.size();
    qint64 bytes = 0;
    if (!size.isValid() || size.isEmpty()
        || __builtin_mul_overflow(qint64(size.width()), qint64(size.height()) * 4, &bytes)
        || bytes > VellPictureReader::decodeCeiling()) {
        in.setStatus(QDataStream::ReadCorruptData);
        return false;
    }
    *image = reader.read();
    if (image->isNull()) {
        in.setStatus(QDataStream::ReadCorruptData);
        return false;
    }
    return true;
}

} // namespace

QDataStream &operator<<(QDataStream &out, const VellBatchActionLogo &action)
{
    action.writeHead(out);
    action.writeCommon(out);
    out << action.getImage();
    action.writeAlignment(out);
    return out;
}

QDataStream &operator>>(QDataStream &in, VellBatchActionLogo **action)
{
    *action = nullptr;
    QString name;
    if (!VellBatchAction::readHead(in, VellBatchAction::Logo, &name))
        return in;
    auto read = std::make_unique<VellBatchActionLogo>();
    read->name = name;
    read->readCommon(in);
    if (in.status() != QDataStream::Ok || !readImage(in, &read->image))
        return in;
    read->readAlignment(in);
    if (in.status() != QDataStream::Ok)
        return in;
    *action = read.release();
    return in;
}
