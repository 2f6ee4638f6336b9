#ifndef VELLRECOVERY_H
#define VELLRECOVERY_H

#include <functional>

// What the lower floors do when main or GPU memory runs out: clear the current
// document's history and drop the full-size textures of its inactive layers.
// Both need the document model, which sits above them, so the document model
// installs the actions here when it starts; until then (and when there is no
// current document) each does nothing. Tests install counters.
class VellRecovery
{
public:
    using Action = std::function<void()>;

    static void setClearHistory(Action action);
    static void setDropInactiveTextures(Action action);

    static void clearHistory();
    static void dropInactiveTextures();
};

#endif // VELLRECOVERY_H
