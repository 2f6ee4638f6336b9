#include "presets/vellactionmanager.h"

#include "foundation/vellmessagebox.h"

#include <QAction>
#include <QDomDocument>
#include <QDomElement>
#include <QFile>

VellActionManager *VellActionManager::instance = nullptr;

VellActionManager *VellActionManager::getInstance(const QString &path)
{
    if (!instance) {
        instance = new VellActionManager();
        instance->loadContext(path);
    }
    return instance;
}

VellActionManager::VellActionManager(QObject *parent)
    : QObject(parent)
{
}

VellActionManager::~VellActionManager()
{
    // The actions themselves die with their parent, after this body.
    m_actionsByGuid.clear();
    m_actionsByName.clear();
    if (instance == this)
        instance = nullptr;
}

void VellActionManager::loadContext(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        VellMessageBox::critical(tr("Critical Error"), tr("Cannot open file %1").arg(path));

    // An unopened file reaches the parser as no content, so it is reported a
    // second time as a parsing error; the document is then empty and adds
    // nothing.
    QDomDocument document;
    if (!document.setContent(&file))
        VellMessageBox::critical(tr("Critical Error"), tr("Parsing error for file %1").arg(path));

    pareHostElement(document.documentElement());
    file.close();
    initActionStatus();
}

void VellActionManager::pareHostElement(const QDomElement &root)
{
    for (QDomElement element = root.firstChildElement(QStringLiteral("Action"));
         !element.isNull(); element = element.nextSiblingElement(QStringLiteral("Action"))) {
        const QString name = element.attribute(QStringLiteral("name"));
        const QString guid = element.attribute(QStringLiteral("guid"));
        QAction *action = new QAction(name, this);
        action->setData(QVariant(guid));
        action->setEnabled(true);
        m_actionsByGuid.insert(guid, action);
        m_actionsByName.insert(name, action);
    }
}

QAction *VellActionManager::getAction(const QString &guid) const
{
    return m_actionsByGuid.value(guid, nullptr);
}

QAction *VellActionManager::getActionByName(const QString &name) const
{
    return m_actionsByName.value(name, nullptr);
}

// The answer comes from the other table's key, not from the action's own
// text or data, so an action that a later entry displaced there has none.
QString VellActionManager::getGuidByName(const QString &name) const
{
    QAction *action = m_actionsByName.value(name, nullptr);
    return action ? m_actionsByGuid.key(action) : QString();
}

QString VellActionManager::getNameByGuid(const QString &guid) const
{
    QAction *action = m_actionsByGuid.value(guid, nullptr);
    return action ? m_actionsByName.key(action) : QString();
}

QStringList VellActionManager::getActionNames(int group)
{
    switch (group) {
    case 0: // document commands
        return {QStringLiteral("Save"), QStringLiteral("Print"), QStringLiteral("Save As"),
                QStringLiteral("Open as a Layer"), QStringLiteral("Close Current Document"),
                QStringLiteral("Reload"), QStringLiteral("Save As PDF"),
                QStringLiteral("Save As EPS")};
    case 1: // history
        return {QStringLiteral("Undo"), QStringLiteral("Redo")};
    case 2: // edit commands that need a selection
        return {QStringLiteral("Copy"), QStringLiteral("Cut"), QStringLiteral("Delete"),
                QStringLiteral("Copy to file")};
    case 3: // image commands
        return {QStringLiteral("Clip"), QStringLiteral("Image Size"),
                QStringLiteral("Rotate 90 Degrees CW"), QStringLiteral("Rotate 90 Degrees CCW"),
                QStringLiteral("Rotate 180 Degrees"), QStringLiteral("Flip Canvas Horizontal"),
                QStringLiteral("Flip Canvas Vertical"), QStringLiteral("Image EXIF"),
                QStringLiteral("Image Attributes")};
    case 4: // selection tools
        return {QStringLiteral("Magic Select Tool"), QStringLiteral("Rectangular Marquee Tool"),
                QStringLiteral("Polygonal Lasso Tool"), QStringLiteral("Lasso Tool"),
                QStringLiteral("Ellipse Select Tool"), QStringLiteral("Color Range"),
                QStringLiteral("Select All"), QStringLiteral("Extract Tool")};
    case 5: // selection commands; "Feather" really is listed twice
        return {QStringLiteral("Inverse"), QStringLiteral("Feather"), QStringLiteral("Deselect"),
                QStringLiteral("Move Selection"), QStringLiteral("Feather")};
    case 7: // painting tools
        return {QStringLiteral("Brush Tool"), QStringLiteral("Eraser Tool"),
                QStringLiteral("Pencil Tool"), QStringLiteral("Red Eye Tool"),
                QStringLiteral("Dodge Tool"), QStringLiteral("Burn Tool"),
                QStringLiteral("Blur Brush Tool"), QStringLiteral("Sharpen Brush Tool"),
                QStringLiteral("Smudge Tool"), QStringLiteral("Bucket Tool"),
                QStringLiteral("Repair Tool"), QStringLiteral("Clone Stamp")};
    case 8:
        return {QStringLiteral("Text Tool")};
    default: // 6 and every other number name no commands
        return {};
    }
}

bool VellActionManager::setEnabled(const QString &name, bool enabled)
{
    QAction *action = m_actionsByName.value(name, nullptr);
    if (!action)
        return false;
    action->setEnabled(enabled);
    return true;
}

bool VellActionManager::setEnabled(int group, bool enabled)
{
    // A host's command file need not define every grouped command, so a
    // missing one is skipped rather than reported.
    const QStringList names = getActionNames(group);
    for (const QString &name : names)
        setEnabled(name, enabled);
    return true;
}

void VellActionManager::initActionStatus()
{
    for (int group = 0; group <= 5; ++group)
        setEnabled(group, false);
}
