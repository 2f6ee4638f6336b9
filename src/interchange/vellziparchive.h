#ifndef VELLZIPARCHIVE_H
#define VELLZIPARCHIVE_H

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtGlobal>

// A zip container, the one place that talks to libzip: it writes entries in
// the order they are added, each stored or deflated, with a fixed time stamp
// so that the same entries give the same bytes; and it reads entries from a
// file or from bytes in memory, refusing what it cannot read safely
// (encryption, compression methods other than stored and deflated, entries
// larger than the caller's cap) before allocating anything for them.
//
// Writing: create() starts an archive, addEntry() queues an entry (the bytes
// are kept until commit), commit() writes a temporary file beside the
// target and renames it over the target, so a failed write leaves an
// existing file as it was. An archive that is not committed writes nothing.
//
// Reading: openFile() or openData(), then entries() and read(). openData()
// keeps a (shared) copy of the bytes for as long as the archive is open.
//
// Owns the libzip handle; not copyable. One thread at a time.
class VellZipArchive
{
public:
    enum Method { Stored, Deflated };

    struct Entry
    {
        QString name;
        qint64 size = 0;             // uncompressed, as the central directory states it
        qint64 compressedSize = 0;
        int method = -1;             // the zip method number (0 stored, 8 deflated)
        bool encrypted = false;
    };

    VellZipArchive();
    ~VellZipArchive();
    Q_DISABLE_COPY(VellZipArchive)

    bool create(const QString &path);
    // Queues `data` under `name` (UTF-8); false when no archive is being
    // written or libzip refuses the entry.
    bool addEntry(const QString &name, const QByteArray &data, Method method);
    // Writes the archive: false when it could not be written, the target then
    // unchanged. The archive is closed either way.
    bool commit();

    bool openFile(const QString &path);
    bool openData(const QByteArray &bytes);
    // In central-directory order. Empty when nothing is open.
    const QVector<Entry> &entries() const { return entryList; }
    int indexOf(const QString &name) const;   // -1 when absent
    // The whole entry at `index` into *out: false (and *out untouched) for
    // an encrypted entry, a method other than stored or deflated, a stated
    // size over maxBytes, or data that does not decompress to the stated size
    // with a matching checksum. The buffer grows as bytes arrive, so a
    // header that lies about the size costs no more than the data holds.
    bool read(int index, qint64 maxBytes, QByteArray *out);

    // Closes without writing anything.
    void close();
    // What went wrong last, for messages.
    QString errorString() const { return error; }

private:
    bool openSource(void *source);   // a zip_source_t, consumed on success and failure
    bool fail(const QString &message);

    void *archive = nullptr;          // zip_t, owned
    bool writing = false;
    QVector<QByteArray> pending;      // bytes libzip reads at commit, kept until then
    QByteArray memoryCopy;            // what openData() reads from, kept while open
    QVector<Entry> entryList;
    QString error;
};

#endif // VELLZIPARCHIVE_H
