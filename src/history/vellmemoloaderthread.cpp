#include "history/vellmemoloaderthread.h"

#include "foundation/velllog.h"
#include "history/vellswapfinisheevent.h"
#include "picture/vellpicturehost.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>

#include <climits>

namespace {

void prepare(QDataStream &stream)
{
    stream.setVersion(QDataStream::Qt_4_8);
}

} // namespace

VellMemoLoaderThread::VellMemoLoaderThread(QObject *receiver)
    : QThread(receiver), receiver(receiver)
{
}

VellMemoLoaderThread::~VellMemoLoaderThread()
{
    wait();
}

bool VellMemoLoaderThread::writePicture(QIODevice *device, const VellPictureHost *host)
{
    if (!host)
        return false;
    QDataStream out(device);
    prepare(out);
    out << host;
    return out.status() == QDataStream::Ok;
}

VellPictureHost *VellMemoLoaderThread::readPicture(QIODevice *device)
{
    QDataStream in(device);
    prepare(in);
    VellPictureHost *host = nullptr;
    in >> &host;   // checks the sizes against what the device can supply
    if (!host)
        return nullptr;
    if (in.status() != QDataStream::Ok || !device->atEnd()) {
        delete host;   // a file holds one host and nothing after it
        return nullptr;
    }
    return host;
}

bool VellMemoLoaderThread::writeByteArray(QIODevice *device, const QByteArray &bytes)
{
    QDataStream out(device);
    prepare(out);
    out << bytes;
    return out.status() == QDataStream::Ok;
}

bool VellMemoLoaderThread::readByteArray(QIODevice *device, QByteArray *bytes)
{
    if (!bytes)
        return false;
    QDataStream in(device);
    prepare(in);
    quint32 length = 0;
    in >> length;
    // 0xFFFFFFFF is a null array, with no bytes. A file holds the array and
    // nothing after it: a length that is not what is left is refused before
    // anything is allocated for it.
    const bool null = length == 0xFFFFFFFFu;
    if (in.status() != QDataStream::Ok || (!null && length > quint32(INT_MAX))
        || device->bytesAvailable() != (null ? 0 : qint64(length)))
        return false;
    QByteArray read;
    if (!null) {
        read.resize(int(length));   // what the device holds, checked above
        if (device->read(read.data(), length) != qint64(length))
            return false;
    }
    *bytes = read;
    return true;
}

void VellMemoLoaderThread::run()
{
    QMutexLocker lock(&mutex);
    success = false;
    QFile file(fileName);
    if (!loadMode) {
        if (file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            const bool written = dataKind == PictureData
                                     ? writePicture(&file, picture ? *picture : nullptr)
                                     : byteArray && writeByteArray(&file, *byteArray);
            // A full disk may only show when the buffer goes out.
            success = written && file.flush();
            file.close();
            success = success && file.error() == QFileDevice::NoError;
        }
        if (!success)
            VellLog::Instance()->Log("Swap file %s could not be written\n",
                                     qPrintable(fileName));
    } else {
        if (file.open(QIODevice::ReadOnly)) {
            if (dataKind == PictureData) {
                VellPictureHost *host = readPicture(&file);
                if (host && picture) {
                    *picture = host;
                    success = true;
                } else {
                    delete host;
                }
            } else {
                success = byteArray && readByteArray(&file, byteArray);
            }
            file.close();
        }
        if (!success)
            VellLog::Instance()->Log("Swap file %s could not be read back\n",
                                     qPrintable(fileName));
    }
    QCoreApplication::postEvent(receiver, new VellSwapFinisheEvent);
}
