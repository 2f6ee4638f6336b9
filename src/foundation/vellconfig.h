#ifndef VELLCONFIG_H
#define VELLCONFIG_H

#include <QObject>
#include <QString>

// Where the application keeps its files: the per-user data root with its
// preset, cache and settings folders (created on construction), the folders
// beside the program, the temporary folder, the interface style and the
// memory and history limits. Created lazily on the GUI thread; read-only
// afterwards.
class VellConfig : public QObject
{
    Q_OBJECT

public:
    static VellConfig *getInstance();

    // Builds the paths from the data location and creates the folders. Public
    // so tests can build one after changing the data location.
    explicit VellConfig(QObject *parent = nullptr);

    // The cached thumbnail file of an image: a name made from the path, in a
    // folder three levels deep named by digits of the path's SHA-1 digest.
    // The folder is created.
    QString getCacheFileName(QString imagePath);
    // Replaces every "vellorix_replace_style" with style + "_Image".
    QString getStyleImageName(QString resourceName);

    int memoryBudget = 419430400;   // bytes (400 MiB)
    int chainLimit = 10;            // parameter memos after a full memo
    int fullMemoLimit = 4;          // full-picture memos kept
    QString tempPath;
    QString brushPath;
    QString cursorPath;
    QString thumbnailPath;
    QString batchActionPath;
    QString curvesPresetPath;
    QString levelsPresetPath;
    QString colorFilterPresetPath;
    QString pictureWallFile;        // a file, not a folder
    QString appDataPath;
    QString settingsPath;
    QString rawPath;
    QString rawCachePath;
    QString rawPresetPath;
    QString style;

private:
    static VellConfig *m_instance;
};

#endif // VELLCONFIG_H
