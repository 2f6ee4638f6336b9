#include "foundation/velldatalocation.h"

#include <QStandardPaths>

QString VellDataLocation::path()
{
    return QStandardPaths::writableLocation(QStandardPaths::DataLocation);
}

QString VellDataLocation::configFile()
{
    return path() + QStringLiteral("/config.ini");
}
