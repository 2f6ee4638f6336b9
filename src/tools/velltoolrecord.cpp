#include "tools/velltoolrecord.h"

#include "tools/velltoolbase.h"
#include "tools/velltoolmanager.h"

#include <QDataStream>
#include <QIODevice>

void VellToolRecord::Recode(VellToolBase *tool)
{
    if (!recording || !stream || !tool)
        return;
    *stream << tool->getToolId();
    tool->serializeParams(*stream);
    QString name = tool->getName();
    emit RecodeChange(name);
}

void VellToolRecord::Play(VellToolManager *manager, VellContext *context)
{
    Q_UNUSED(context)
    if (!stream || !manager)
        return;
    if (QIODevice *device = stream->device())
        device->seek(0);
    if (stream->atEnd())
        return;
    QString id;
    *stream >> id;
    if (stream->status() != QDataStream::Ok)
        return;
    IVellTool *tool = manager->getTool(id);
    if (!tool)
        return;
    QString name = tool->getName();
    emit PlayChange(name);
}
