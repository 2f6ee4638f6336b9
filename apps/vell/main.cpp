// vell: the command-line host of libVellCore.
#include "vellcommandline.h"

#include <QApplication>
#include <QFile>

#include <cstdio>
#include <memory>

namespace {

const char *const kUsage =
    "Usage: vell COMMAND [ARGUMENTS]\n"
    "\n"
    "Commands:\n"
    "  info                               print the data folders, the settings in\n"
    "                                     force and what is known of the GPU\n"
    "  cipher encrypt|decrypt KEYFILE IN OUT\n"
    "                                     run the resource cipher on a file; the key\n"
    "                                     is the first 8 bytes of KEYFILE's text\n"
    "  pack IMAGE OUT [--no-colour]       read an image into a picture host, convert it\n"
    "                                     to sRGB and write the host's stream to OUT\n"
    "  unpack IN OUT                      read a picture host stream and save it as an\n"
    "                                     image (format from OUT's suffix)\n"
    "  icc IN OUT [--from NAME]           convert an image to sRGB from the colour space\n"
    "                                     its metadata names, or from NAME\n"
    "  compose -o OUT.png [--size WxH] [--save DOC] [--cpu|--gpu] LAYER [LAYER ...]\n"
    "                                     composite image layers, bottom first, into\n"
    "                                     OUT on the GPU (else the CPU); each LAYER is\n"
    "                                     an image with its own options --mode NAME,\n"
    "                                     --opacity F, --offset X,Y, --mask MASK and\n"
    "                                     --hidden, or a document saved with --save\n"
    "                                     (see vell compose --help)\n"
    "\n"
    "Commands that open an image find the colour space its metadata names and\n"
    "convert the picture to sRGB, printing \"colour space: ...\"; --no-colour skips\n"
    "that. The ICC profiles are read from data/iccprofiles in the working folder,\n"
    "else beside the vell binary, else from the installed data folder.\n"
    "\n"
    "Options:\n"
    "  -h, --help                         show this help\n"
    "  --version                          show the version\n"
    "\n"
    "Exit status: 0 on success, 1 on failure, 2 on a usage error.\n";

// Whether an X server looks reachable. Qt aborts when it cannot connect, so
// a local display (":N", "unix:N") must have its socket; other forms are
// trusted.
bool displayAvailable()
{
    const QByteArray display = qgetenv("DISPLAY");
    if (display.isEmpty())
        return false;
    const int colon = display.lastIndexOf(':');
    if (colon < 0)
        return false;   // not a display name
    const QByteArray host = display.left(colon);
    if (!host.isEmpty() && host != "unix")
        return true;
    const QByteArray number = display.mid(colon + 1).split('.').value(0);
    return QFile::exists(QStringLiteral("/tmp/.X11-unix/X") + QString::fromLatin1(number));
}

// "compose" unless it is asked for the CPU or for its help.
bool wantsGpuCompose(int argc, char *argv[])
{
    if (argc < 2 || qstrcmp(argv[1], "compose") != 0)
        return false;
    for (int i = 2; i < argc; ++i)
        if (qstrcmp(argv[i], "--cpu") == 0 || qstrcmp(argv[i], "--help") == 0
            || qstrcmp(argv[i], "-h") == 0)
            return false;
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    // Only "info" and "compose" open the window system, for a GL context (to ask
    // the driver, to composite); without a display, and for every other command,
    // vell stays headless and works with no display at all.
    const bool gui = argc > 1 && (qstrcmp(argv[1], "info") == 0 || wantsGpuCompose(argc, argv))
        && displayAvailable();
    std::unique_ptr<QCoreApplication> application(gui ? new QApplication(argc, argv)
                                                      : new QCoreApplication(argc, argv));
    QCoreApplication &app = *application;
    QCoreApplication::setApplicationName(QStringLiteral("vell"));
    QCoreApplication::setApplicationVersion(QStringLiteral(VELL_VERSION));

    QStringList args = app.arguments().mid(1);
    if (args.isEmpty()) {
        std::fputs(kUsage, stderr);
        return ExitUsage;
    }
    const QString command = args.takeFirst();
    if (command == QLatin1String("-h") || command == QLatin1String("--help")
        || command == QLatin1String("help")) {
        std::fputs(kUsage, stdout);
        return ExitOk;
    }
    if (command == QLatin1String("--version")) {
        vellPrint(QStringLiteral("vell ") + QCoreApplication::applicationVersion());
        return ExitOk;
    }
    if (command == QLatin1String("info"))
        return vellInfoCommand(args);
    if (command == QLatin1String("cipher"))
        return vellCipherCommand(args);
    if (command == QLatin1String("pack"))
        return vellPackCommand(args);
    if (command == QLatin1String("unpack"))
        return vellUnpackCommand(args);
    if (command == QLatin1String("icc"))
        return vellIccCommand(args);
    if (command == QLatin1String("compose"))
        return vellComposeCommand(args);

    vellError(QStringLiteral("unknown command '%1' (try 'vell --help')").arg(command));
    return ExitUsage;
}
