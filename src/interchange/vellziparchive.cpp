#include "interchange/vellziparchive.h"

#include "foundation/velllog.h"

#include <QFile>
#include <QFileInfo>

#include <zip.h>

#include <climits>

namespace {

// Every entry gets this DOS time stamp (1980-01-01 00:00, the format's
// earliest), so two writes of the same document give the same bytes.
constexpr zip_uint16_t kDosTime = 0;
constexpr zip_uint16_t kDosDate = (0 << 9) | (1 << 5) | 1;
// Deflate level for the entries that are deflated (XML, small): the best.
constexpr zip_uint32_t kDeflateLevel = 9;
// Growth step while reading an entry, so a lying size costs at most this
// much beyond the bytes that really arrive.
constexpr qint64 kReadStep = 1 << 20;

zip_t *handle(void *archive)
{
    return static_cast<zip_t *>(archive);
}

QString libzipError(zip_t *archive)
{
    return QString::fromUtf8(zip_strerror(archive));
}

} // namespace

VellZipArchive::VellZipArchive() = default;

VellZipArchive::~VellZipArchive()
{
    close();
}

bool VellZipArchive::fail(const QString &message)
{
    error = message;
    VellLog::Instance()->Log("VellZipArchive: %s\n", qPrintable(message));
    return false;
}

void VellZipArchive::close()
{
    if (archive)
        zip_discard(handle(archive));   // writes nothing, also for a read-only archive
    archive = nullptr;
    writing = false;
    pending.clear();
    memoryCopy.clear();
    entryList.clear();
}

bool VellZipArchive::create(const QString &path)
{
    close();
    error.clear();
    int code = 0;
    // Nothing touches the file before zip_close, which writes a temporary
    // file beside it and renames that over it.
    zip_t *za = zip_open(QFile::encodeName(path).constData(), ZIP_CREATE | ZIP_TRUNCATE, &code);
    if (!za) {
        zip_error_t zerror;
        zip_error_init_with_code(&zerror, code);
        const QString reason = QString::fromUtf8(zip_error_strerror(&zerror));
        zip_error_fini(&zerror);
        return fail(QStringLiteral("%1: cannot create (%2)").arg(path, reason));
    }
    archive = za;
    writing = true;
    return true;
}

bool VellZipArchive::addEntry(const QString &name, const QByteArray &data, Method method)
{
    if (!archive || !writing)
        return fail(QStringLiteral("no archive is being written"));
    pending.append(data);   // libzip reads the bytes at commit: keep them alive until then
    const QByteArray &kept = pending.constLast();
    zip_t *za = handle(archive);
    zip_source_t *source = zip_source_buffer(za, kept.constData(), zip_uint64_t(kept.size()), 0);
    if (!source)
        return fail(QStringLiteral("%1: %2").arg(name, libzipError(za)));
    const zip_int64_t index =
        zip_file_add(za, name.toUtf8().constData(), source, ZIP_FL_ENC_UTF_8);
    if (index < 0) {
        zip_source_free(source);   // zip_file_add only takes it on success
        return fail(QStringLiteral("%1: %2").arg(name, libzipError(za)));
    }
    const zip_uint64_t i = zip_uint64_t(index);
    if (zip_set_file_compression(za, i, method == Stored ? ZIP_CM_STORE : ZIP_CM_DEFLATE,
                                 method == Stored ? 0 : kDeflateLevel) != 0
        || zip_file_set_dostime(za, i, kDosTime, kDosDate, 0) != 0)
        return fail(QStringLiteral("%1: %2").arg(name, libzipError(za)));
    return true;
}

bool VellZipArchive::commit()
{
    if (!archive || !writing)
        return fail(QStringLiteral("no archive is being written"));
    zip_t *za = handle(archive);
    if (zip_close(za) != 0) {
        const QString reason = libzipError(za);
        close();   // discards; the target was never replaced
        return fail(reason);   // libzip's words name the step and the system's reason
    }
    archive = nullptr;
    close();
    return true;
}

bool VellZipArchive::openFile(const QString &path)
{
    close();
    error.clear();
    // libzip takes an empty file for an empty archive; for reading it is none.
    if (QFileInfo(path).size() == 0)
        return fail(QStringLiteral("not a readable zip archive (empty or missing)"));
    zip_error_t zerror;
    zip_error_init(&zerror);
    zip_source_t *source = zip_source_file_create(QFile::encodeName(path).constData(), 0, -1,
                                                  &zerror);
    if (!source) {
        const QString reason = QString::fromUtf8(zip_error_strerror(&zerror));
        zip_error_fini(&zerror);
        return fail(QStringLiteral("cannot open (%1)").arg(reason));
    }
    zip_error_fini(&zerror);
    return openSource(source);
}

bool VellZipArchive::openData(const QByteArray &bytes)
{
    close();
    error.clear();
    if (bytes.isEmpty())
        return fail(QStringLiteral("not a readable zip archive (no bytes)"));
    memoryCopy = bytes;   // shared; libzip reads it in place while the archive is open
    zip_error_t zerror;
    zip_error_init(&zerror);
    zip_source_t *source = zip_source_buffer_create(memoryCopy.constData(),
                                                    zip_uint64_t(memoryCopy.size()), 0, &zerror);
    zip_error_fini(&zerror);
    if (!source) {
        memoryCopy.clear();
        return fail(QStringLiteral("cannot read the bytes"));
    }
    return openSource(source);
}

bool VellZipArchive::openSource(void *rawSource)
{
    zip_source_t *source = static_cast<zip_source_t *>(rawSource);
    zip_error_t zerror;
    zip_error_init(&zerror);
    zip_t *za = zip_open_from_source(source, ZIP_RDONLY | ZIP_CHECKCONS, &zerror);
    if (!za) {
        const QString reason = QString::fromUtf8(zip_error_strerror(&zerror));
        zip_error_fini(&zerror);
        zip_source_free(source);   // still ours when the open fails
        memoryCopy.clear();
        return fail(QStringLiteral("not a readable zip archive (%1)").arg(reason));
    }
    zip_error_fini(&zerror);
    archive = za;
    writing = false;

    const zip_int64_t count = zip_get_num_entries(za, 0);
    // libzip has read the central directory, so the count is backed by
    // records in the file; it is not a claim to allocate for.
    for (zip_int64_t i = 0; i < count; ++i) {
        zip_stat_t st;
        zip_stat_init(&st);
        if (zip_stat_index(za, zip_uint64_t(i), 0, &st) != 0) {
            const QString reason = libzipError(za);
            close();
            return fail(QStringLiteral("entry %1 unreadable (%2)").arg(i).arg(reason));
        }
        Entry entry;
        entry.name = (st.valid & ZIP_STAT_NAME) && st.name ? QString::fromUtf8(st.name) : QString();
        entry.size = (st.valid & ZIP_STAT_SIZE) && st.size <= zip_uint64_t(LLONG_MAX)
                         ? qint64(st.size) : -1;
        entry.compressedSize = (st.valid & ZIP_STAT_COMP_SIZE)
                                       && st.comp_size <= zip_uint64_t(LLONG_MAX)
                                   ? qint64(st.comp_size) : -1;
        entry.method = (st.valid & ZIP_STAT_COMP_METHOD) ? int(st.comp_method) : -1;
        entry.encrypted = !(st.valid & ZIP_STAT_ENCRYPTION_METHOD)
                          || st.encryption_method != ZIP_EM_NONE;
        entryList.append(entry);
    }
    return true;
}

int VellZipArchive::indexOf(const QString &name) const
{
    for (int i = 0; i < entryList.size(); ++i)
        if (entryList.at(i).name == name)
            return i;
    return -1;
}

bool VellZipArchive::read(int index, qint64 maxBytes, QByteArray *out)
{
    if (!archive || writing || !out || index < 0 || index >= entryList.size())
        return fail(QStringLiteral("no such entry"));
    const Entry &entry = entryList.at(index);
    if (entry.encrypted)
        return fail(QStringLiteral("%1 is encrypted").arg(entry.name));
    if (entry.method != ZIP_CM_STORE && entry.method != ZIP_CM_DEFLATE)
        return fail(QStringLiteral("%1 uses compression method %2").arg(entry.name).arg(entry.method));
    if (entry.size < 0 || entry.size > maxBytes || entry.size >= qint64(INT_MAX))
        return fail(QStringLiteral("%1 states %2 bytes, over the cap of %3")
                        .arg(entry.name).arg(entry.size).arg(maxBytes));

    zip_file_t *file = zip_fopen_index(handle(archive), zip_uint64_t(index), 0);
    if (!file)
        return fail(QStringLiteral("%1: %2").arg(entry.name, libzipError(handle(archive))));
    QByteArray bytes;
    qint64 got = 0;
    bool ok = true;
    while (got < entry.size) {
        const qint64 step = qMin(kReadStep, entry.size - got);
        bytes.resize(int(got + step));
        const zip_int64_t n = zip_fread(file, bytes.data() + got, zip_uint64_t(step));
        if (n <= 0) {
            ok = false;   // the data ends early or fails its checksum
            break;
        }
        got += n;
    }
    // One more read: more data than stated is as corrupt as less, and a
    // stored entry's checksum is checked at its end.
    char extra = 0;
    if (ok && zip_fread(file, &extra, 1) != 0)
        ok = false;
    const QString reason = QString::fromUtf8(zip_error_strerror(zip_file_get_error(file)));
    zip_fclose(file);
    if (!ok)
        return fail(QStringLiteral("%1 is damaged (%2)").arg(entry.name, reason));
    *out = bytes;
    return true;
}
