// vell cipher: runs the library's resource cipher over a file.
#include "vellcommandline.h"
#include "vellhost.h"

#include "foundation/vellendecodetool.h"

#include <QFile>
#include <QFileInfo>

namespace {

const char *const kCipherUsage = "Usage: vell cipher encrypt|decrypt KEYFILE IN OUT";

struct CipherJob
{
    bool encrypt = true;
    QString keyPath, inputPath, outputPath;
    QByteArray key, input;   // built
    QByteArray output;       // the work's result
};

// The cipher works on whole files in memory (its result is twice their
// size as text on the way), so it takes resource-sized ones: 64 MiB at most.
constexpr qint64 kMostInput = qint64(64) << 20;

// The regular file at `path` into *bytes: all of it when `whole` (a file of
// more than `most` bytes is refused before anything is read), else its first
// `most` bytes. A device or a pipe is refused, so /dev/zero ends at once.
bool readFile(const QString &path, qint64 most, QByteArray *bytes, bool whole)
{
    if (!vellInputExists(path))
        return false;
    const QFileInfo info(path);
    if (!info.isFile()) {
        vellError(QStringLiteral("cannot read %1: not a regular file").arg(path));
        return false;
    }
    if (whole && info.size() > most) {
        vellError(QStringLiteral("cannot read %1: its %2 are more than the cipher takes (%3, 64 MiB)")
                      .arg(path, vellCount(info.size(), "byte"), vellCount(most, "byte")));
        return false;
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return false;
    }
    // One byte past the limit shows a file that grew since it was measured.
    *bytes = file.read(whole ? most + 1 : most);
    if (file.error() != QFileDevice::NoError) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return false;
    }
    if (whole && bytes->size() > most) {
        vellError(QStringLiteral("cannot read %1: it grew past %2 while being read").arg(path, vellCount(most, "byte")));
        return false;
    }
    return true;
}

int parse(const QStringList &args, CipherJob *job)
{
    if (!args.isEmpty() && (args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h"))) {
        vellPrint(QString::fromLatin1(kCipherUsage));
        return ExitOk;
    }
    if (args.size() != 4) {
        vellError(QStringLiteral("cipher needs 4 arguments (got %1)").arg(vellCount(args.size(), "argument")));
        vellNote(QString::fromLatin1(kCipherUsage));
        return ExitUsage;
    }
    const QString &mode = args.at(0);
    job->encrypt = mode == QLatin1String("encrypt");
    if (!job->encrypt && mode != QLatin1String("decrypt")) {
        vellError(QStringLiteral("unknown cipher mode '%1': use encrypt or decrypt").arg(mode));
        return ExitUsage;
    }
    job->keyPath = args.at(1);
    job->inputPath = args.at(2);
    job->outputPath = args.at(3);
    return kProceed;
}

// The key is the key file's first 8 bytes: nothing more of it is read.
bool build(CipherJob *job)
{
    return readFile(job->keyPath, 8, &job->key, false) && readFile(job->inputPath, kMostInput, &job->input, true);
}

// The key is the first 8 bytes of the key file's text. Enciphered data is
// whole 8-byte blocks whose last one ends in its padding (1 to 8 bytes), so
// deciphering always removes 1 to 8 bytes; the library keeps a last block
// whose padding is not well formed whole, which is how a wrong key or a
// damaged file shows here. False, with a message, then.
bool work(CipherJob *job)
{
    QString result;
    const QString keyText = QString::fromLatin1(job->key);
    if (job->encrypt) {
        VellEnDecodeTool::DES_Encrypt(job->input, keyText, result);
        job->output = result.toLatin1();
        return true;
    }
    const int size = job->input.size();
    if (size == 0 || size % 8 != 0) {
        vellError(QStringLiteral("cannot decrypt %1: %2 is not a whole number of 8-byte blocks")
                      .arg(job->inputPath, vellCount(size, "byte")));
        return false;
    }
    VellEnDecodeTool::DES_Decrypt(job->input, keyText, result);
    job->output = result.toLatin1();
    if (job->output.size() == size) {
        vellError(QStringLiteral("cannot decrypt %1: its padding is not valid (a wrong key, or not "
                                 "enciphered by vell cipher)").arg(job->inputPath));
        return false;
    }
    return true;
}

bool write(const CipherJob &job)
{
    VellAtomicFile out(job.outputPath);
    if (out.open() && (out.device()->write(job.output) == job.output.size() || out.fail(QStringLiteral("short write")))
        && out.commit())
        return true;
    out.reportError();
    return false;
}

} // namespace

int vellCipherCommand(VellHost &host, const QStringList &args)
{
    CipherJob job;
    const int parsed = parse(args, &job);
    if (parsed != kProceed)
        return parsed;
    host.setUp(VellHost::Headless);
    if (vellOutputIsInput(job.outputPath, {job.keyPath, job.inputPath}))
        return ExitUsage;

    if (!build(&job))
        return ExitFailure;
    if (job.key.size() < 8) {
        vellError(QStringLiteral("the key file %1 holds %2, but the key is its first 8 bytes: it "
                                 "must hold at least 8").arg(job.keyPath, vellCount(job.key.size(), "byte")));
        return ExitUsage;
    }
    if (!work(&job) || !write(job))
        return ExitFailure;
    vellNote(QStringLiteral("%1 %2 into %3")
                 .arg(job.encrypt ? QStringLiteral("enciphered") : QStringLiteral("deciphered"),
                      vellCount(job.input.size(), "byte"), vellCount(job.output.size(), "byte")));
    return ExitOk;
}
