#ifndef VELLT2FILES_H
#define VELLT2FILES_H

// Small helpers shared by tests that read and write files, spell stream
// encodings byte by byte, or run the built command-line host.

#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <cstring>

namespace vellt2 {

// The whole file, or empty when it does not open.
inline QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// Whether the file now holds exactly `bytes`.
inline bool writeFile(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size();
}

// Encodings of a Qt 4.8 QDataStream, spelled out rather than written through
// one: big-endian int32, a QString as its byte length and UTF-16BE, a float
// as the 8-byte double of those streams.
inline QByteArray i32(qint32 v)
{
    QByteArray b;
    for (int shift = 24; shift >= 0; shift -= 8)
        b.append(char((quint32(v) >> shift) & 0xFF));
    return b;
}

inline QByteArray str(const QString &s)
{
    QByteArray b = i32(s.size() * 2);
    for (QChar c : s)
        b += char(c.unicode() >> 8), b += char(c.unicode() & 0xff);
    return b;
}

inline QByteArray f64(double v)
{
    quint64 bits;
    std::memcpy(&bits, &v, 8);
    return i32(qint32(bits >> 32)) + i32(qint32(bits & 0xFFFFFFFFu));
}

// Runs the built vell; its exit code (-1 when it did not end normally), with
// standard output and standard error where asked, or both in *out when
// `merged`.
inline int runVell(const QStringList &args, QString *out = nullptr, QString *err = nullptr,
                   bool merged = false)
{
    QProcess process;
    if (merged)
        process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(QStringLiteral(VELL_BINARY_DIR "/apps/vell/vell"), args);
    if (!process.waitForFinished(300000))
        return -1;
    if (out)
        *out = QString::fromLocal8Bit(process.readAllStandardOutput());
    if (err)
        *err = QString::fromLocal8Bit(process.readAllStandardError());
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

} // namespace vellt2

#endif // VELLT2FILES_H
