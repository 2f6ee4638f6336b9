// A filter preset on arbitrary bytes, read by the example plug-ins as the
// host loads them (the tool manager over the build's tools folder). The
// first byte picks the reader: its low seven bits modulo 7 pick a plug-in
// (invert, brightness-contrast, gaussian-blur, unsharp-mask, median,
// mask-levels) or, for 6, the ".name" companion's reader; its high bit
// sends a preset through a file of the tool's presets folder (loadPreset)
// instead of a stream over the bytes, as `vell filter --preset` reads one.
//
// Each preset is read twice, once over the defaults and once over every
// parameter at its maximum. Either both leave the parameters as they were
// (refused) or both give the same parameters (an accepted preset sets every
// one), each within its declared range and whole where it must be. A preset
// shorter than what the plug-in's writer writes is refused, and an accepted
// one, written out again, reads back to the same parameters.

#include "vellfuzz.h"

#include "presets/vellfilterpresetswidget.h"
#include "tools/velltoolbase.h"
#include "tools/velltoolmanager.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

const char *const kToolIds[] = {"invert", "brightness-contrast", "gaussian-blur",
                                "unsharp-mask", "median", "mask-levels"};
constexpr int kReaders = 7;   // the plug-ins, then the ".name" reader

[[noreturn]] void fail(const char *rule, const char *tool = "")
{
    std::fprintf(stderr, "vellfuzz: %s%s%s\n", tool, *tool ? ": " : "", rule);
    std::fflush(stderr);
    std::abort();
}

// The example plug-ins, loaded once.
VellToolBase *tool(int index)
{
    static VellToolBase *tools[6] = {};
    static bool loaded = false;
    if (!loaded) {
        loaded = true;
        VellToolManager *manager = VellToolManager::getInstance();
        manager->setToolsPath(QStringLiteral(VELL_PLUGIN_TOOLS_DIR));
        manager->loadTools();
        for (int i = 0; i < 6; ++i) {
            tools[i] = qobject_cast<VellToolBase *>(
                manager->getTool(QStringLiteral("Filter"), QLatin1String(kToolIds[i])));
            if (!tools[i])
                fail("plug-in not found in " VELL_PLUGIN_TOOLS_DIR, kToolIds[i]);
        }
    }
    return tools[index];
}

QVector<double> values(VellToolBase *filter)
{
    QVector<double> v;
    for (const VellToolParameter &p : filter->parameterList())
        v.append(filter->parameterValue(p.name));
    return v;
}

void readStream(VellToolBase *filter, const QByteArray &bytes)
{
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_4_8);
    filter->deserializeParams(in);
}

// Sets the tool to one of the two starting points: 0 the defaults, 1 every
// parameter at its maximum.
void start(VellToolBase *filter, int which)
{
    filter->initParams();
    if (which == 1)
        for (const VellToolParameter &p : filter->parameterList())
            if (!filter->setParameterValue(p.name, p.maximum))
                fail("a parameter refused its own maximum", filter->getToolId().toUtf8().constData());
}

void checkPreset(VellToolBase *filter, const QByteArray &bytes, bool throughFolder)
{
    const QByteArray toolId = filter->getToolId().toUtf8();
    const char *id = toolId.constData();
    const QVector<VellToolParameter> list = filter->parameterList();
    start(filter, 0);
    const int recordSize = filter->parameterBytes().size();
    // The data location is shared by every harness process: a name of this
    // process's own, removed again.
    const QString presetName = QStringLiteral("fuzz preset %1").arg(QCoreApplication::applicationPid());
    QFile file(filter->getPresetsPath() + QLatin1Char('/') + presetName);
    if (throughFolder
        && (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(bytes) != bytes.size()
            || !file.flush()))
        fail("cannot write the preset file", id);

    QVector<double> before[2], after[2];
    for (int which = 0; which < 2; ++which) {
        start(filter, which);
        before[which] = values(filter);
        if (throughFolder)
            filter->loadPreset(presetName);
        else
            readStream(filter, bytes);
        after[which] = values(filter);
    }
    if (throughFolder)
        file.remove();
    const bool accepted = after[0] != before[0] || after[1] != before[1];
    if (!accepted)
        return;
    if (after[0] != after[1])
        fail("a preset changed some parameters and kept others", id);
    if (bytes.size() < recordSize)
        fail("a preset shorter than the writer's record was taken", id);
    for (int i = 0; i < list.size(); ++i) {
        const double v = after[0].at(i);
        if (!(v >= list.at(i).minimum && v <= list.at(i).maximum))
            fail("a preset set a parameter outside its range", id);
        if (list.at(i).integral && v != std::floor(v))
            fail("a preset set a whole-number parameter to a fraction", id);
    }
    const QByteArray again = filter->parameterBytes();
    start(filter, 1);
    readStream(filter, again);
    if (values(filter) != after[0])
        fail("an accepted preset, written out, reads back to other parameters", id);
}

// The display name comes from a line "<language>:<name>" of the companion
// file, for the settings' language, else it is the preset's file name.
void checkNames(const QByteArray &bytes)
{
    const QString path = VellFuzz::writeFile(bytes, QStringLiteral("name"));
    if (path.isEmpty())
        fail("cannot write the names file");
    const QFileInfo info(path);
    const QString fileName = info.completeBaseName();
    const QString shown = VellFilterPresetsWidget::getDisplayName(info.absolutePath(), fileName);
    if (shown == fileName)
        return;
    if (shown.isEmpty() || shown.contains(QLatin1Char('\n')))
        fail("a display name is empty or spans lines");
    // Text mode may drop carriage returns; compare without them.
    QString text = QString::fromUtf8(bytes.constData(), bytes.size());   // past any NUL
    QString line = VellToolManager::languageCode() + QLatin1Char(':') + shown;
    if (!text.remove(QLatin1Char('\r')).contains(line.remove(QLatin1Char('\r'))))
        fail("a display name that no line of the settings' language holds");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    if (size == 0)
        return 0;
    tool(0);
    VellFuzz::Oracle oracle;
    const int reader = (data[0] & 0x7f) % kReaders;
    const QByteArray bytes = VellFuzz::bytesOf(data + 1, size - 1);
    if (reader == kReaders - 1)
        checkNames(bytes);
    else
        checkPreset(tool(reader), bytes, data[0] & 0x80);
    return 0;
}
