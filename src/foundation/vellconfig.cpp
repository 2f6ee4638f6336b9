#include "foundation/vellconfig.h"

#include "foundation/velldatalocation.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QSettings>

VellConfig *VellConfig::m_instance = nullptr;

VellConfig *VellConfig::getInstance()
{
    if (!m_instance)
        m_instance = new VellConfig;
    return m_instance;
}

VellConfig::VellConfig(QObject *parent)
    : QObject(parent)
{
    const QString location = VellDataLocation::path();

    QSettings config(VellDataLocation::configFile(), QSettings::IniFormat);
    style = config.value(QStringLiteral("Style"), QStringLiteral("Metro")).toString();
    if (style.isEmpty() || style == QLatin1String("Default"))
        style = QStringLiteral("Metro");

    memoryBudget = 419430400;
    tempPath = QDir::tempPath();
    brushPath = QStringLiteral("./data/brushes/");
    cursorPath = QStringLiteral("./data/cursors/");

    // Some platforms nest the per-user data a level or two deeper.
    QString root = location;
    const QDir locationDir(location);
    if (locationDir.exists()) {
        if (locationDir.exists(QStringLiteral("AppData")))
            root += QStringLiteral("/AppData");
        else if (locationDir.exists(QStringLiteral("Application Data")))
            root += QStringLiteral("/Application Data");
    }
    if (QDir(root).exists(QStringLiteral("Roaming")))
        root += QStringLiteral("/Roaming");
    root += QStringLiteral("/Vellorix");

    thumbnailPath = root + QStringLiteral("/cache/thumbnails/");
    batchActionPath = root + QStringLiteral("/presets/batch actions/");
    curvesPresetPath = root + QStringLiteral("/presets/curves/");
    levelsPresetPath = root + QStringLiteral("/presets/levels/");
    colorFilterPresetPath = root + QStringLiteral("/presets/digital color filter/");
    pictureWallFile = root + QStringLiteral("/presets/picture wall path.txt");
    appDataPath = root;
    settingsPath = root + QStringLiteral("/settings/");
    rawPath = root + QStringLiteral("/VellRaw/");
    rawCachePath = rawPath + QStringLiteral("cache/");
    rawPresetPath = rawPath + QStringLiteral("preset/");

    // Failures are ignored: the paths stay usable names either way.
    for (const QString *folder : {&rawPath, &rawCachePath, &rawPresetPath, &thumbnailPath,
                                  &batchActionPath, &curvesPresetPath, &levelsPresetPath,
                                  &colorFilterPresetPath, &settingsPath})
        QDir().mkpath(*folder);

    for (const QString &required : {settingsPath + QStringLiteral("dcraw.ini")}) {
        if (!QFile::exists(required)) {
            QFile file(required);
            if (file.open(QIODevice::WriteOnly))
                file.close();
        }
    }

    chainLimit = 10;
    fullMemoLimit = 4;
}

QString VellConfig::getCacheFileName(QString imagePath)
{
    QString name = imagePath;
    for (const QChar c : {QLatin1Char('/'), QLatin1Char('\\'), QLatin1Char(':'), QLatin1Char('.')})
        name.replace(c, QLatin1Char('_'));
    name += QStringLiteral(".bmp");

    const QByteArray digest =
        QCryptographicHash::hash(QByteArray::fromStdString(imagePath.toStdString()),
                                  QCryptographicHash::Sha1).toHex();
    const QString hex = QString::fromLatin1(digest);
    const QString folder = thumbnailPath + hex.mid(0, 2) + QLatin1Char('/') + hex.mid(2, 2)
        + QLatin1Char('/') + hex.right(2) + QLatin1Char('/');
    QDir().mkpath(folder);
    return folder + name;
}

QString VellConfig::getStyleImageName(QString resourceName)
{
    static const QString marker = QStringLiteral("vellorix_replace_style");
    if (resourceName.contains(marker))
        resourceName.replace(marker, style + QStringLiteral("_Image"));
    return resourceName;
}
