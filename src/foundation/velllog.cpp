#include "foundation/velllog.h"

#include <QMutex>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum {
    ToStdout = 1,
    ToConsole = 2,
    AppendConsole = 4,
    ToMaster = 8,
    ErrorLine = 16,
    CloseEntry = 32
};

const char *const kDefaultName = "ConsoleLog.txt";
const char *const kMasterName = "MasterLog.csv";
const long kMasterCap = 50001;   // a master log this large is emptied on open
const char *const kSeparator = "-----------------------------------------------------------\n";

FILE *g_console = nullptr;
FILE *g_master = nullptr;
VellLog *g_instance = nullptr;

QMutex &logMutex()
{
    static QMutex mutex;
    return mutex;
}

void deleteInstance()
{
    delete g_instance;
    g_instance = nullptr;
}

// Runs when the library is loaded: no instance yet, clean-up registered.
struct LogStartup
{
    LogStartup()
    {
        g_instance = nullptr;
        std::atexit(deleteInstance);
    }
} g_logStartup;

struct Sinks
{
    FILE *out[3] = {nullptr, nullptr, nullptr};
    int count = 0;

    void add(FILE *f) { if (f) out[count++] = f; }
    void put(char c) const { for (int i = 0; i < count; ++i) std::putc(c, out[i]); }
    void write(const char *s, size_t n) const { for (int i = 0; i < count; ++i) std::fwrite(s, 1, n, out[i]); }
};

template <typename T>
void emitFormatted(const Sinks &sinks, const char *conversion, T value)
{
    char buffer[512];
    int n = std::snprintf(buffer, sizeof buffer, conversion, value);
    if (n < 0)
        return;
    if (size_t(n) < sizeof buffer) {
        sinks.write(buffer, size_t(n));
        return;
    }
    // A long string argument: format it in a buffer of its own size.
    char *big = static_cast<char *>(std::malloc(size_t(n) + 1));
    if (!big)
        return;
    std::snprintf(big, size_t(n) + 1, conversion, value);
    sinks.write(big, size_t(n));
    std::free(big);
}

// Walks the format and writes it, with its arguments, to every sink.
void format(const Sinks &sinks, const char *fmt, va_list args)
{
    for (const char *p = fmt; *p; ++p) {
        if (*p != '%') {
            sinks.put(*p);
            continue;
        }
        const char c = p[1];
        if (c == '\0')
            return;   // a trailing '%' ends the output
        ++p;
        switch (c) {
        case 'd':
        case 'i':
            emitFormatted(sinks, "%i", va_arg(args, int));
            break;
        case 'u':
            emitFormatted(sinks, "%u", va_arg(args, unsigned int));
            break;
        case 's':
            emitFormatted(sinks, "%s", va_arg(args, const char *));
            break;
        case 'f':
            emitFormatted(sinks, "%f", va_arg(args, double));
            break;
        case 'e':
            emitFormatted(sinks, "%e", va_arg(args, double));
            break;
        case 'E':
            emitFormatted(sinks, "%E", va_arg(args, double));
            break;
        case '.': {
            const char digit = p[1];
            if (digit == '\0')
                return;
            if (digit < '0' || digit > '9') {
                sinks.put('.');   // not a precision form: the '.' is just printed
                break;
            }
            const char conv = p[2];
            if (conv == '\0')
                return;
            const char conversion[5] = {'%', '.', digit, conv, '\0'};
            p += 2;
            switch (conv) {
            case 'e':
            case 'E':
            case 'f':
                emitFormatted(sinks, conversion, va_arg(args, double));
                break;
            case 'd':
            case 'i':
                emitFormatted(sinks, conversion, va_arg(args, int));
                break;
            case 'u':
                emitFormatted(sinks, conversion, va_arg(args, unsigned int));
                break;
            case 's':
                emitFormatted(sinks, conversion, va_arg(args, const char *));
                break;
            default:
                break;   // the four characters are consumed, nothing printed
            }
            break;
        }
        default:
            sinks.put(c);   // includes "%%"
            break;
        }
    }
}

} // namespace

VellLog *VellLog::Instance()
{
    QMutexLocker lock(&logMutex());
    if (!g_instance)
        g_instance = new VellLog;
    return g_instance;
}

VellLog::~VellLog()
{
    std::free(logFileName);
}

void VellLog::SetLogFileName(const char *name)
{
    QMutexLocker lock(&logMutex());
    std::free(logFileName);
    logFileName = name ? strdup(name) : nullptr;
}

int VellLog::LogV(int flags, int errorCode, const char *fmt, va_list args)
{
    QMutexLocker lock(&logMutex());

    const bool toStdout = flags & ToStdout;
    const bool toConsole = flags & ToConsole;
    const bool toMaster = toConsole && (flags & ToMaster);

    if (toConsole && !g_console) {
        if (!logFileName)
            logFileName = strdup(kDefaultName);
        g_console = std::fopen(logFileName, (flags & AppendConsole) ? "a+" : "w");
        if (!g_console)
            return -1;
    }
    if (toMaster && !g_master) {
        g_master = std::fopen(kMasterName, "a+");
        if (g_master) {
            std::fseek(g_master, 0, SEEK_END);
            if (std::ftell(g_master) >= kMasterCap) {
                std::fclose(g_master);
                g_master = std::fopen(kMasterName, "w");
            }
        }
        if (!g_master)
            return -1;
    }

    Sinks screenAndConsole;
    if (toStdout)
        screenAndConsole.add(stdout);
    if (toConsole)
        screenAndConsole.add(g_console);

    if (flags & ErrorLine) {
        char prefix[64];
        const int n = std::snprintf(prefix, sizeof prefix, "\n !!! Error # %i at ", errorCode);
        screenAndConsole.write(prefix, size_t(n));
    }

    Sinks all = screenAndConsole;
    if (toMaster)
        all.add(g_master);
    if (fmt)
        format(all, fmt, args);

    if (flags & CloseEntry)
        screenAndConsole.write(kSeparator, std::strlen(kSeparator));

    if (toStdout)
        std::fflush(stdout);
    if (toConsole)
        std::fflush(g_console);
    if (toMaster)
        std::fflush(g_master);

    if (flags & CloseEntry) {
        if (g_console) {
            std::fclose(g_console);
            g_console = nullptr;
        }
        if (g_master) {
            std::fclose(g_master);
            g_master = nullptr;
        }
    }
    return (flags & ErrorLine) ? errorCode : 0;
}

int VellLog::Log(const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int result = LogV(ToStdout | ToConsole, 0, fmt, args);
    va_end(args);
    return result;
}

int VellLog::LogEx(int flags, int errorCode, const char *fmt, ...)
{
    va_list args;
    va_start(args, fmt);
    const int result = LogV(flags, errorCode, fmt, args);
    va_end(args);
    return result;
}
