#ifndef VELLLOG_H
#define VELLLOG_H

#include <cstdarg>

// Diagnostic log with its own small printf-like formatter. Text goes to
// standard output, to a console log file ("ConsoleLog.txt" in the current
// directory unless renamed) and, on request, to a size-capped "MasterLog.csv".
//
// Flags of LogV/LogEx:
//   1  standard output
//   2  console log file
//   4  open the console file for appending instead of truncating it
//   8  with 2: the master log as well
//  16  error line: prefix "\n !!! Error # <code> at " and return the code
//  32  close the entry: a separator line, then close both files
//
// Conversions: %d %i %u %s %f %e %E, a precision form of one digit (%.2f,
// %.5s, %.4d); any other character after '%' is printed as is and takes no
// argument, so "%%" prints "%" and "%ld" prints "ld".
//
// Calls are serialised by one mutex, so concurrent lines never interleave.
class VellLog
{
public:
    static VellLog *Instance();

    // Takes effect the next time the console file is opened.
    void SetLogFileName(const char *name);

    // Returns -1 when a log file cannot be opened (nothing is written then),
    // else the error code with flag 16 and 0 without it.
    int LogV(int flags, int errorCode, const char *format, va_list args);
    int Log(const char *format, ...);   // flags 3, files left open
    int LogEx(int flags, int errorCode, const char *format, ...);

    ~VellLog();

private:
    VellLog() = default;
    VellLog(const VellLog &) = delete;
    VellLog &operator=(const VellLog &) = delete;

    char *logFileName = nullptr;   // owned heap copy; null until first use
};

#endif // VELLLOG_H
