#include "vellcommandline.h"

#include <cstdio>

void vellError(const QString &message)
{
    std::fprintf(stderr, "vell: %s\n", qPrintable(message));
}

void vellNote(const QString &message)
{
    std::fprintf(stderr, "%s\n", qPrintable(message));
}

void vellPrint(const QString &line)
{
    std::fprintf(stdout, "%s\n", qPrintable(line));
}
