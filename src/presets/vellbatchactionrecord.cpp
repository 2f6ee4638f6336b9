#include "presets/vellbatchactionrecord.h"

#include "document/vellcontext.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/vellmessagebox.h"
#include "presets/vellbatchactionfilter.h"
#include "presets/vellbatchactionlogo.h"
#include "presets/vellbatchactionresize.h"
#include "presets/vellbatchactionrotation.h"
#include "presets/vellbatchactiontext.h"
#include "tools/velltoolbase.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFile>
#include <QHash>
#include <QPointer>

namespace {

// Documents and their records. Keys leave when their document is destroyed;
// a deleted record reads as none.
QHash<VellContext *, QPointer<VellBatchActionRecord>> &documentRecords()
{
    static QHash<VellContext *, QPointer<VellBatchActionRecord>> records;
    return records;
}

template <class T>
bool readInto(QDataStream &in, QList<VellBatchAction *> *actions)
{
    T *action = nullptr;
    in >> &action;
    if (!action)
        return false;
    actions->append(action);
    return true;
}

// The tool base's recorder: a batch-mode apply becomes a filter step of the
// document's record, when it has one that records.
void recordFilter(VellContext *document, const QString &toolId, const QString &actionText,
                  const QByteArray &parameters)
{
    VellBatchActionRecord *record = VellBatchActionRecord::documentRecord(document);
    if (!record || record->getMode() != 0)
        return;
    auto *action = new VellBatchActionFilter;
    action->setName(actionText);
    action->setToolId(toolId);
    action->setParams(parameters);
    record->processAction(action);
}

void installRecorder()
{
    VellToolBase::setBatchRecorder(recordFilter);
}

} // namespace

// Once the application exists, after every static object of the library.
Q_COREAPP_STARTUP_FUNCTION(installRecorder)

VellBatchActionRecord::VellBatchActionRecord(QObject *parent)
    : QObject(parent), version(VellGlobalSettings::getInstance()->currentVersion)
{
}

VellBatchActionRecord::~VellBatchActionRecord()
{
    clear();
}

void VellBatchActionRecord::processAction(VellBatchAction *action)
{
    if (mode != 0)
        return;
    emit actionPrepared();
    actions.append(action);
    emit actionListChanged();
    emit actionAdded();
}

void VellBatchActionRecord::addAction(VellBatchAction *action)
{
    actions.append(action);
    emit actionListChanged();
}

void VellBatchActionRecord::removeAction(VellBatchAction *action)
{
    actions.removeOne(action);
    emit actionListChanged();
}

void VellBatchActionRecord::moveAction(VellBatchAction *action, int offset)
{
    const int index = actions.indexOf(action);
    const qint64 target = qint64(index) + offset;
    // An action that is not in the list is not moved into it.
    if (index >= 0 && target >= 0 && target < actions.size()) {
        actions.removeAt(index);
        actions.insert(offset >= 1 ? int(target) - 1 : int(target), action);
    }
    emit actionListChanged();
}

void VellBatchActionRecord::resetAction(VellBatchAction *old, VellBatchAction *changed)
{
    Q_UNUSED(old) Q_UNUSED(changed)
    emit actionListChanged();
}

void VellBatchActionRecord::clear()
{
    while (!actions.isEmpty())
        VellBatchAction::destroy(actions.takeLast());
}

void VellBatchActionRecord::writeAction(QDataStream &out, const VellBatchAction *action)
{
    out << qint32(action->getType());
    switch (action->getType()) {
    case VellBatchAction::Filter: out << *static_cast<const VellBatchActionFilter *>(action); break;
    case VellBatchAction::Resize: out << *static_cast<const VellBatchActionResize *>(action); break;
    case VellBatchAction::Rotation: out << *static_cast<const VellBatchActionRotation *>(action); break;
    case VellBatchAction::Logo: out << *static_cast<const VellBatchActionLogo *>(action); break;
    case VellBatchAction::Text: out << *static_cast<const VellBatchActionText *>(action); break;
    default: break;
    }
}

bool VellBatchActionRecord::save(QDataStream &out)
{
    out << qint32(version) << qint32(actions.size());
    for (const VellBatchAction *action : qAsConst(actions))
        writeAction(out, action);
    return true;
}

bool VellBatchActionRecord::save(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::WriteOnly | QIODevice::Truncate);
    QDataStream out(&file);
    out.setVersion(QDataStream::Qt_4_8);
    save(out);
    return true;
}

bool VellBatchActionRecord::load(QDataStream &in)
{
    clear();
    declared = 0;
    problem = 0;
    qint32 fileVersion = 0;
    in >> fileVersion;
    VellGlobalSettings::getInstance()->loadingVersion = fileVersion;
    if (fileVersion > version) {
        VellMessageBox::about(tr("Error"), tr("Version mismatched, current version is: ") + QString::number(version)
                                               + tr(", the version of the vba file is: ")
                                               + QString::number(fileVersion));
        return false;
    }
    qint32 count = 0;
    in >> count;
    declared = count;
    if (in.status() != QDataStream::Ok) {
        problem = 1;
        return true;
    }
    // The count only bounds the loop: entries are read (and allocated) one
    // by one, and a stream that ends early stops it.
    for (qint32 entry = 0; entry < count; ++entry) {
        qint32 type = -1;
        in >> type;
        bool whole = in.status() == QDataStream::Ok;
        if (whole) {
            switch (type) {
            case VellBatchAction::Filter: whole = readInto<VellBatchActionFilter>(in, &actions); break;
            case VellBatchAction::Resize: whole = readInto<VellBatchActionResize>(in, &actions); break;
            case VellBatchAction::Rotation: whole = readInto<VellBatchActionRotation>(in, &actions); break;
            case VellBatchAction::Logo: whole = readInto<VellBatchActionLogo>(in, &actions); break;
            case VellBatchAction::Text: whole = readInto<VellBatchActionText>(in, &actions); break;
            default:
                // No body to skip; the entries after it are still read.
                if (!problem)
                    problem = entry + 1;
                continue;
            }
        }
        if (!whole) {
            if (!problem)
                problem = entry + 1;
            break;
        }
    }
    if (count < 0 && !problem)
        problem = 1;
    return true;
}

bool VellBatchActionRecord::load(const QString &path)
{
    QFile file(path);
    file.open(QIODevice::ReadOnly);
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_4_8);
    return load(in);
}

void VellBatchActionRecord::setDocumentRecord(VellContext *document, VellBatchActionRecord *record)
{
    if (!document)
        return;
    auto &records = documentRecords();
    if (!record) {
        records.remove(document);
        return;
    }
    if (!records.contains(document))
        QObject::connect(document, &QObject::destroyed, [document] { documentRecords().remove(document); });
    records.insert(document, record);
}

VellBatchActionRecord *VellBatchActionRecord::documentRecord(VellContext *document)
{
    return documentRecords().value(document).data();
}
