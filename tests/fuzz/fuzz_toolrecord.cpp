// A tool record on arbitrary bytes, played back with the example plug-ins
// registered (the tool manager over the build's tools folder). Playing reads
// the first tool id from the start of the stream, wherever the stream stood:
// it announces the tool's name exactly when the bytes begin with the id of a
// registered tool as the writer writes it, and at most once.

#include "vellfuzz.h"

#include "tools/ivelltool.h"
#include "tools/velltoolmanager.h"
#include "tools/velltoolrecord.h"

#include <QBuffer>
#include <QList>

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void fail(const char *rule)
{
    std::fprintf(stderr, "vellfuzz: %s\n", rule);
    std::fflush(stderr);
    std::abort();
}

VellToolManager *manager()
{
    static VellToolManager *tools = nullptr;
    if (!tools) {
        tools = VellToolManager::getInstance();
        tools->setToolsPath(QStringLiteral(VELL_PLUGIN_TOOLS_DIR));
        if (tools->loadTools() == 0)
            fail("no plug-in in " VELL_PLUGIN_TOOLS_DIR);
    }
    return tools;
}

// The registered tool whose id, as the record's writer puts it, the bytes
// begin with; null when none.
IVellTool *leadingTool(const QByteArray &bytes)
{
    const QList<IVellTool *> filters = manager()->getTools(QStringLiteral("Filter"));
    for (IVellTool *tool : filters) {
        QByteArray id;
        QDataStream out(&id, QIODevice::WriteOnly);
        out.setVersion(QDataStream::Qt_4_8);
        out << tool->getToolId();
        if (bytes.startsWith(id))
            return tool;
    }
    return nullptr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    manager();
    VellFuzz::Oracle oracle;
    QByteArray bytes = VellFuzz::bytesOf(data, size);
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::ReadOnly);
    QDataStream stream(&buffer);
    stream.setVersion(QDataStream::Qt_4_8);
    // A stream left part-way, as after an earlier read of the host's.
    buffer.seek(qint64(size / 2));

    VellToolRecord record;
    record.stream = &stream;
    QStringList announced;
    QObject::connect(&record, &VellToolRecord::PlayChange, [&announced](QString &name) { announced << name; });
    record.Play(manager(), nullptr);

    if (announced.size() > 1)
        fail("one play announced several tools");
    const IVellTool *expected = leadingTool(bytes);
    if (expected && (announced.isEmpty() || announced.first() != expected->getName()))
        fail("a record beginning with a registered tool's id did not announce that tool");
    if (!expected && !announced.isEmpty())
        fail("a tool was announced for a record that does not begin with its id");
    return 0;
}
