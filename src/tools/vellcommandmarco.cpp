#include "tools/vellcommandmarco.h"

void VellCommandMarco::execute(VellContext *context)
{
    for (IVellCommand *command : qAsConst(commands))
        if (command)
            command->execute(context);
}
