// A batch-action file: version, count, tagged entries. A newer version is
// refused with its message box; every other input loads (keeping the whole
// entries before the first bad one), and what it kept must survive the
// writer and the reader again unchanged.

#include "vellfuzz.h"

#include "foundation/vellglobalsettings.h"
#include "presets/vellbatchaction.h"
#include "presets/vellbatchactionrecord.h"

#include <QtEndian>

#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void fail(const char *rule)
{
    std::fprintf(stderr, "vellfuzz: %s\n", rule);
    std::fflush(stderr);
    std::abort();
}

QByteArray saved(VellBatchActionRecord &record)
{
    QByteArray bytes;
    QDataStream out(&bytes, QIODevice::WriteOnly);
    out.setVersion(QDataStream::Qt_4_8);
    record.save(out);
    return bytes;
}

bool load(VellBatchActionRecord &record, const QByteArray &bytes)
{
    QDataStream in(bytes);
    in.setVersion(QDataStream::Qt_4_8);
    return record.load(in);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    const QByteArray bytes = VellFuzz::bytesOf(data, size);
    const int current = VellGlobalSettings::getInstance()->currentVersion;
    const bool newer = size >= 4 && qFromBigEndian<qint32>(data) > current;
    VellFuzz::Oracle oracle(newer ? VellFuzz::Boxes::Allowed : VellFuzz::Boxes::Forbidden);

    VellBatchActionRecord record;
    if (load(record, bytes) == newer)
        fail("only a newer file is refused");
    if (newer) {
        if (!record.getActionList()->isEmpty())
            fail("a refused file left actions");
        return 0;
    }
    const int kept = record.getActionList()->size();
    if (record.loadProblem() == 0 && kept > record.declaredCount())
        fail("more actions than the file declared");
    for (const VellBatchAction *action : *record.getActionList())
        if (action->getType() < VellBatchAction::Filter || action->getType() > VellBatchAction::Text)
            fail("an action of an unknown type was kept");

    const QByteArray written = saved(record);
    VellBatchActionRecord again;
    if (!load(again, written) || again.loadProblem() != 0 || again.getActionList()->size() != kept)
        fail("the reader did not take back what the writer wrote");
    if (saved(again) != written)
        fail("a written and read record writes other bytes");
    VellGlobalSettings::getInstance()->loadingVersion = current;
    return 0;
}
