// vell-encipher [--glsl-codes] KEYFILE IN OUT
//
// Enciphers IN with the library's resource cipher, keyed by the text of
// KEYFILE, and writes the raw enciphered bytes to OUT. The build runs it on
// every shader source so the library can load them as ".glsl_" resources.
// With --glsl-codes, IN is a shader whose first line is its #version line,
// and the library's named codes go in as #define lines right after it, so a
// shader names VELL_BLEND_MULTIPLY instead of repeating the number.
//
// Exit status: 0 on success, 1 when a file cannot be read or written, 2 on a
// usage error.

#include "foundation/vellcodes.h"
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

// The #define lines after the #version line; false when there is none.
bool insertCodes(QByteArray *source)
{
    const int lineEnd = source->indexOf('\n');
    if (!source->startsWith("#version") || lineEnd < 0)
        return false;
    QByteArray defines;
    for (const VellGlslCode &code : kVellGlslCodes)
        defines += "#define " + QByteArray(code.name) + ' ' + QByteArray::number(code.value) + '\n';
    source->insert(lineEnd + 1, defines);
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    const bool codes = argc == 5 && qstrcmp(argv[1], "--glsl-codes") == 0;
    if (argc != 4 && !codes) {
        std::fprintf(stderr, "usage: vell-encipher [--glsl-codes] KEYFILE IN OUT\n");
        return 2;
    }
    const QString keyPath = QFile::decodeName(argv[argc - 3]);
    const QString inPath = QFile::decodeName(argv[argc - 2]);
    const QString outPath = QFile::decodeName(argv[argc - 1]);

    // An absent key must stop the build: enciphering with the empty key would
    // produce shaders the library cannot decipher.
    QString key;
    if (!VellEnDecodeTool::readKeyFile(keyPath, key))
        return fail(QStringLiteral("cannot read key file %1").arg(keyPath));

    QFile in(inPath);
    if (!in.open(QIODevice::ReadOnly))
        return fail(QStringLiteral("cannot read %1: %2").arg(inPath, in.errorString()));
    QByteArray plain = in.readAll();
    if (codes && !insertCodes(&plain))
        return fail(QStringLiteral("%1 does not start with a #version line").arg(inPath));

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
