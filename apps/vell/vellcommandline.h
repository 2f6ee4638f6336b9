#ifndef VELLCOMMANDLINE_H
#define VELLCOMMANDLINE_H

#include <QStringList>

// Exit codes shared by every command of the host.
enum VellExitCode { ExitOk = 0, ExitFailure = 1, ExitUsage = 2 };

// Messages for people: errors and progress go to standard error, results to
// standard output.
void vellError(const QString &message);
void vellNote(const QString &message);
void vellPrint(const QString &line);

// Each command takes its own arguments (the command word removed) and returns
// an exit code.
int vellInfoCommand(const QStringList &args);
int vellCipherCommand(const QStringList &args);
int vellPackCommand(const QStringList &args);
int vellUnpackCommand(const QStringList &args);

#endif // VELLCOMMANDLINE_H
