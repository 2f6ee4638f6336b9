#include "vellcommandline.h"

#include "foundation/vellendecodetool.h"

#include <QFile>

namespace {

const char *const kCipherUsage = "Usage: vell cipher encrypt|decrypt KEYFILE IN OUT";

bool readFile(const QString &path, QByteArray *bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        vellError(QStringLiteral("cannot read '%1': %2").arg(path, file.errorString()));
        return false;
    }
    *bytes = file.readAll();
    return true;
}

} // namespace

int vellCipherCommand(const QStringList &args)
{
    if (!args.isEmpty() && (args.first() == QLatin1String("--help") || args.first() == QLatin1String("-h"))) {
        vellPrint(QString::fromLatin1(kCipherUsage));
        return ExitOk;
    }
    if (args.size() != 4) {
        vellError(QStringLiteral("cipher needs 4 arguments, got %1").arg(args.size()));
        vellNote(QString::fromLatin1(kCipherUsage));
        return ExitUsage;
    }
    const QString &mode = args.at(0);
    const bool encrypt = mode == QLatin1String("encrypt");
    if (!encrypt && mode != QLatin1String("decrypt")) {
        vellError(QStringLiteral("unknown cipher mode '%1': use encrypt or decrypt").arg(mode));
        return ExitUsage;
    }

    QByteArray key;
    QByteArray input;
    if (!readFile(args.at(1), &key) || !readFile(args.at(2), &input))
        return ExitFailure;

    QString result;
    const QString keyText = QString::fromLatin1(key);
    if (encrypt)
        VellEnDecodeTool::DES_Encrypt(input, keyText, result);
    else
        VellEnDecodeTool::DES_Decrypt(input, keyText, result);

    QFile out(args.at(3));
    const QByteArray bytes = result.toLatin1();
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size()) {
        vellError(QStringLiteral("cannot write '%1': %2").arg(args.at(3), out.errorString()));
        return ExitFailure;
    }
    vellNote(QStringLiteral("%1 %2 bytes into %3 bytes")
                 .arg(encrypt ? QStringLiteral("enciphered") : QStringLiteral("deciphered"))
                 .arg(input.size()).arg(bytes.size()));
    return ExitOk;
}
