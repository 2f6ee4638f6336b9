// vell-encipher KEYFILE IN OUT
//
// Enciphers IN with the library's resource cipher, keyed by the text of
// KEYFILE, and writes the raw enciphered bytes to OUT. The build runs it on
// every shader source so the library can load them as ".glsl_" resources.
//
// Exit status: 0 on success, 1 when a file cannot be read or written, 2 on a
// usage error.

#include "foundation/vellendecodetool.h"

#include <QFile>
#include <QSaveFile>

#include <cstdio>

namespace {

int fail(const QString &message)
{
    std::fprintf(stderr, "vell-encipher: %s\n", qPrintable(message));
    return 1;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::fprintf(stderr, "usage: vell-encipher KEYFILE IN OUT\n");
        return 2;
    }
    const QString keyPath = QFile::decodeName(argv[1]);
    const QString inPath = QFile::decodeName(argv[2]);
    const QString outPath = QFile::decodeName(argv[3]);

    // An absent key must stop the build: enciphering with the empty key would
    // produce shaders the library cannot decipher.
    QString key;
    if (!VellEnDecodeTool::readKeyFile(keyPath, key))
        return fail(QStringLiteral("cannot read key file %1").arg(keyPath));

    QFile in(inPath);
    if (!in.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read %1: %2").arg(inPath, in.errorString()));
    const QByteArray plain = in.readAll();

    QString cipher;
    VellEnDecodeTool::DES_Encrypt(plain, key, cipher);
    const QByteArray bytes = cipher.toLatin1();

    // Written through a temporary file, so an interrupted build never leaves
    // a truncated resource that looks up to date.
    QSaveFile out(outPath);
    if (!out.open(QIODevice::WriteOnly) || out.write(bytes) != bytes.size() || !out.commit())
        return fail(QStringLiteral("cannot write %1: %2").arg(outPath, out.errorString()));
    return 0;
}
