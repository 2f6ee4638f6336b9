#ifndef VELLDATALOCATION_H
#define VELLDATALOCATION_H

#include <QString>

// The per-user application data folder. Every part of the library that keeps
// files there (configuration, settings, tools, presets, translations) asks
// this one helper, so tests can redirect all of them at once with
// QStandardPaths::setTestModeEnabled(true) or XDG_DATA_HOME.
class VellDataLocation
{
public:
    // QStandardPaths' writable data location, without a trailing slash.
    static QString path();

    // path() + "/config.ini", the settings file shared by several parts.
    static QString configFile();
};

#endif // VELLDATALOCATION_H
