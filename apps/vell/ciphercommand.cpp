// vell cipher: runs the library's resource cipher over a file.
#include "vellcommandline.h"
#include "vellhost.h"

#include "foundation/vellendecodetool.h"

#include <QFile>

namespace {

const char *const kCipherUsage = "Usage: vell cipher encrypt|decrypt KEYFILE IN OUT";

struct CipherJob
{
    bool encrypt = true;
    QString keyPath, inputPath, outputPath;
    QByteArray key, input;   // built
    QByteArray output;       // the work's result
};

bool readFile(const QString &path, QByteArray *bytes)
{
    if (!vellInputExists(path))
        return false;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
        return false;
    }
    *bytes = file.readAll();
    if (file.error() != QFileDevice::NoError) {
        vellError(QStringLiteral("cannot read %1: %2").arg(path, file.errorString()));
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
        vellError(QStringLiteral("cipher needs 4 arguments (got %1)").arg(args.size()));
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

bool build(CipherJob *job)
{
    return readFile(job->keyPath, &job->key) && readFile(job->inputPath, &job->input);
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
    vellNote(QStringLiteral("%1 %2 bytes into %3 bytes")
                 .arg(job.encrypt ? QStringLiteral("enciphered") : QStringLiteral("deciphered"))
                 .arg(job.input.size()).arg(job.output.size()));
    return ExitOk;
}
