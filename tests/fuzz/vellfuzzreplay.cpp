// The main() of a harness outside libFuzzer: feeds it every file of the
// folders (and every file) named on the command line, in name order, so the
// test suite replays the corpora and the regression inputs with the
// compiler's own sanitizers. A failing oracle aborts, naming the rule; this
// prints the file first so the abort can be traced to it.

#include "vellfuzz.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

int main(int argc, char **argv)
{
    VellFuzz::setUp();
    QStringList files;
    for (int i = 1; i < argc; ++i) {
        const QFileInfo info(QString::fromLocal8Bit(argv[i]));
        if (info.isDir()) {
            const QDir dir(info.filePath());
            for (const QString &name : dir.entryList(QDir::Files, QDir::Name))
                files.append(dir.filePath(name));
        } else if (info.isFile()) {
            files.append(info.filePath());
        } else {
            std::fprintf(stderr, "no such file or folder: %s\n", argv[i]);
            return 2;
        }
    }
    if (files.isEmpty()) {
        std::fprintf(stderr, "usage: %s FOLDER|FILE ...  (found no input)\n", argv[0]);
        return 2;
    }
    for (const QString &path : files) {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly)) {
            std::fprintf(stderr, "cannot read %s\n", qPrintable(path));
            return 1;
        }
        const QByteArray bytes = file.readAll();
        std::fprintf(stderr, "%s (%d bytes)\n", qPrintable(path), int(bytes.size()));
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.constData()), size_t(bytes.size()));
    }
    std::fprintf(stderr, "replayed %d inputs\n", int(files.size()));
    return 0;
}
