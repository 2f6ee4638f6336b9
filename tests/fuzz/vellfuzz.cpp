#include "vellfuzz.h"

#include "document/vellcontextmanager.h"
#include "foundation/vellconfig.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "foundation/vellmessagebox.h"

#include <QApplication>
#include <QFile>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace {

VellFuzz::Boxes allowedBoxes = VellFuzz::Boxes::Forbidden;
int boxesShown = 0;

QTemporaryDir *scratch = nullptr;   // lives until the process ends

[[noreturn]] void fail(const char *rule, const QString &detail = QString())
{
    std::fprintf(stderr, "vellfuzz: %s%s%s\n", rule, detail.isEmpty() ? "" : ": ",
                 qPrintable(detail));
    std::fflush(stderr);
    std::abort();   // the fuzzer keeps the input that did it
}

QMessageBox::StandardButton presentBox(const VellMessageBox::Message &message)
{
    ++boxesShown;
    if (allowedBoxes == VellFuzz::Boxes::Forbidden)
        fail("a message box escaped the reader", message.title + ": " + message.text);
    return QMessageBox::Ok;   // as if the user had confirmed
}

} // namespace

namespace VellFuzz {

void setUp()
{
    static bool done = false;
    if (done)
        return;
    done = true;

    // The log writes every line to standard output and to a file in the
    // working folder; millions of inputs would drown both. The fuzzer reports
    // on standard error.
    const int null = open("/dev/null", O_WRONLY);
    if (null >= 0) {
        dup2(null, STDOUT_FILENO);
        close(null);
    }
    VellLog::Instance()->SetLogFileName("/dev/null");

    qputenv("QT_QPA_PLATFORM", "offscreen");
    QStandardPaths::setTestModeEnabled(true);
    static int argc = 1;
    static char name[] = "vellfuzz";
    static char *argv[] = {name, nullptr};
    new QApplication(argc, argv);   // lives until the process ends, as the fuzzer never returns

    scratch = new QTemporaryDir;
    if (!scratch->isValid())
        fail("no temporary folder");
    VellGlobalSettings::getInstance();
    // A budget of 64 MiB instead of 400: the picture reader decodes at most
    // the budget (or what the size limits allow, here less), so each input
    // stays well inside the fuzzer's memory limits and its time limit.
    VellConfig::getInstance()->memoryBudget = 64 << 20;
    VellMemory::getInstance();
    // Installs the hooks through which the lower floors ask for the current
    // document; with none registered, there is none.
    VellContextManager::getInstance();
    VellMessageBox::setPresenter(presentBox);
}

Oracle::Oracle(Boxes boxes) : previousBoxes(allowedBoxes)
{
    VellMemory *memory = VellMemory::getInstance();
    used = memory->getUsed();
    records = memory->getRecordCount();
    documents = VellContextManager::getInstance()->getContexts().size();
    allowedBoxes = boxes;
}

Oracle::~Oracle()
{
    allowedBoxes = previousBoxes;
    VellMemory *memory = VellMemory::getInstance();
    if (memory->getUsed() != used)
        fail("the budget's booked bytes did not come back",
             QStringLiteral("%1 before, %2 after").arg(used).arg(memory->getUsed()));
    if (memory->getRecordCount() != records)
        fail("a budget allocation was not released",
             QStringLiteral("%1 records before, %2 after").arg(records).arg(memory->getRecordCount()));
    const int after = VellContextManager::getInstance()->getContexts().size();
    if (after != documents)
        fail("a document was left registered",
             QStringLiteral("%1 before, %2 after").arg(documents).arg(after));
}

QString writeFile(const QByteArray &bytes, const QString &suffix)
{
    const QString path = scratch->filePath(QStringLiteral("input.") + suffix);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)
        || file.write(bytes) != bytes.size() || !file.flush())
        return QString();
    return path;
}

QByteArray takeStreamVersion(const uint8_t *data, size_t size)
{
    if (size == 0)
        return QByteArray();
    VellGlobalSettings::getInstance()->streamReadVersion = (data[0] & 1) ? 2 : 1;
    return bytesOf(data + 1, size - 1);
}

} // namespace VellFuzz
