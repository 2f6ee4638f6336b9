// The host's command XML, loaded into a manager of its own. A file that does
// not parse is reported in a message box by design, so boxes are allowed.

#include "vellfuzz.h"

#include "presets/vellactionmanager.h"

#include <QAction>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    VellFuzz::setUp();
    VellFuzz::Oracle oracle(VellFuzz::Boxes::Allowed);
    const QString path = VellFuzz::writeFile(VellFuzz::bytesOf(data, size), QStringLiteral("xml"));
    if (path.isEmpty())
        std::abort();
    VellActionManager manager;
    manager.loadContext(path);
    // Whatever was read, the grouped commands start disabled.
    for (const QString &name : VellActionManager::getActionNames(0))
        if (QAction *action = manager.getActionByName(name))
            if (action->isEnabled())
                std::abort();
    return 0;
}
