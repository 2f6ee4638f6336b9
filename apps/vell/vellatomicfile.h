#ifndef VELLATOMICFILE_H
#define VELLATOMICFILE_H

#include <QFile>
#include <QString>

#include <initializer_list>

// One output file of a command, written so that a failure leaves nothing
// behind: the bytes go to a hidden temporary file in the destination's
// folder ("." + name + ".vell-" + random), every write and the final flush,
// fsync and close are checked, and only commit() renames the temporary file
// over the destination, which until then stays as it was. The destructor
// removes a temporary file that was never committed, so every early return
// of a command cleans up after itself, and an interrupt (SIGINT, SIGTERM,
// SIGHUP, SIGQUIT, where the caller left them at their default) removes the
// temporary files that exist before it ends the process.
//
// The first failed write is remembered: later writes fail too and finish()
// reports it, so a writer that ignores a write error (libtiff's handler does
// when it closes the file) cannot make a truncated file look complete.
//
// The destination "-" is standard output (vellResultStream()). It, and a
// destination that exists but is not a regular file (/dev/null, a pipe),
// cannot be replaced by a rename: they are written in place. A symbolic link
// is followed, so the file it names is replaced and the link kept.
//
// Test hook: VELL_TEST_FAIL_WRITE_AFTER=N (read once per process) lets all
// the files of the run together take N bytes; the write that goes past them
// stores the bytes that fit and then fails as a full disk does ("No space
// left on device"). With N followed by ":INT" the process is interrupted
// (SIGINT) there instead. Tests use it to check what a command leaves behind.
//
// Not copyable; GUI thread only (the test hook's count is not locked).
class VellAtomicFile
{
public:
    explicit VellAtomicFile(const QString &destination);
    ~VellAtomicFile();
    Q_DISABLE_COPY(VellAtomicFile)

    // Creates the temporary file. False, with errorString(), when the folder
    // is missing or not writable.
    bool open();
    // Where the bytes go between open() and finish(). Owned by this object.
    QIODevice *device();
    // Flushes, syncs and closes the temporary file. False, with
    // errorString(), when any write so far failed or these do.
    bool finish();
    // Renames the finished temporary file over the destination.
    bool commit();

    const QString &destination() const { return m_destination; }
    // A destination as messages name it: "standard output" for "-".
    static QString displayName(const QString &destination);
    // The finished file before commit(), for a command that reads its output
    // back; the destination itself when it is written in place.
    QString writtenPath() const;
    // The system's reason for the first failure ("No space left on device").
    const QString &errorString() const { return m_error; }
    // Prints "cannot write DESTINATION: reason".
    void reportError() const;
    // For a writer that reports a failure of its own: marks the file failed
    // with the reason of a failed write when there was one, else `reason`.
    // Returns false, for chaining.
    bool fail(const QString &reason);

private:
    class Device;

    QString m_destination;   // as the user named it, for messages
    QString m_target;        // the file that is replaced (a link resolved)
    QString m_temporary;     // empty when writing in place
    Device *m_device = nullptr;   // owned
    QString m_error;
    bool m_committed = false;
    int m_liveSlot = -1;     // in the table of files an interrupt removes
};

// Finishes every file, then commits them, so that a command writing several
// files writes none unless all of them were written. False, with the first
// failure reported, otherwise.
bool vellCommitAll(std::initializer_list<VellAtomicFile *> files);

// Whether two paths name the same existing file (links and hard links
// included).
bool vellSameFile(const QString &a, const QString &b);

#endif // VELLATOMICFILE_H
