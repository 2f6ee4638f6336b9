#ifndef VELLCOMMANDMARCO_H
#define VELLCOMMANDMARCO_H

#include "tools/ivelltool.h"

#include <QList>

// Several commands run as one, in the order they were added. Does not own
// the commands: the macro going frees only its list. GUI thread.
class VellCommandMarco : public IVellCommand
{
    Q_OBJECT

public:
    explicit VellCommandMarco(QObject *parent = nullptr) : IVellCommand(parent) {}

    void addCommand(IVellCommand *command) { commands.append(command); }
    int count() const { return commands.size(); }
    // Each command with the same document; null commands are passed over.
    void execute(VellContext *context) override;

private:
    QList<IVellCommand *> commands;   // not owned
};

#endif // VELLCOMMANDMARCO_H
