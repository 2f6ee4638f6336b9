#ifndef VELLINTERNATIONAL_H
#define VELLINTERNATIONAL_H

// Translation of the library's texts and the helper plug-ins use for theirs.
//
// The language is the code stored under "language" in the settings file
// (config.ini in the data location): zh_CN, zh_TW, de_DE, es_ES, fr_FR,
// ja_JP or ko_KR; English, the source language, needs no file. A missing or
// unreadable translation leaves the texts in English without a word.

#include <QString>

class QTranslator;

// Installs the compiled-in translation of the library's texts for the
// language of the settings (":/Resources/vellcore_<code>.qm") and returns the
// translator, which stays installed while the application lives (it is the
// application's child); null when there is none for that language. GUI
// thread, with a QCoreApplication.
QTranslator *setInternational();

// For plug-ins: a translator loaded from fileName (the caller owns and
// installs it), or null when the file cannot be loaded.
extern "C" Q_DECL_EXPORT QTranslator *getTranslater(QString fileName);

#endif // VELLINTERNATIONAL_H
