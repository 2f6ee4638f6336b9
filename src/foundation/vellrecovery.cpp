#include "foundation/vellrecovery.h"

namespace {

VellRecovery::Action &clearHistoryAction()
{
    static VellRecovery::Action action;
    return action;
}

VellRecovery::Action &dropTexturesAction()
{
    static VellRecovery::Action action;
    return action;
}

} // namespace

void VellRecovery::setClearHistory(Action action)
{
    clearHistoryAction() = std::move(action);
}

void VellRecovery::setDropInactiveTextures(Action action)
{
    dropTexturesAction() = std::move(action);
}

void VellRecovery::clearHistory()
{
    if (clearHistoryAction())
        clearHistoryAction()();
}

void VellRecovery::dropInactiveTextures()
{
    if (dropTexturesAction())
        dropTexturesAction()();
}
