// vell: the command-line host of libVellCore.
#include "vellcommandline.h"
#include "vellhost.h"

#include <QStringList>

#include <cstdio>

int vellSelectCommand(VellHost &host, const QStringList &args);   // selectcommand.cpp
int vellFilterCommand(VellHost &host, const QStringList &args);   // filtercommand.cpp
int vellToolsCommand(VellHost &host, const QStringList &args);    // filtercommand.cpp
int vellTransformCommand(VellHost &host, const QStringList &args);   // transformcommand.cpp
int vellBatchCommand(VellHost &host, const QStringList &args);   // batchcommand.cpp

namespace {

const char *const kUsage =
    "Usage: vell COMMAND [ARGUMENTS]\n"
    "\n"
    "Commands:\n"
    "  info                               print the data folders, the settings in\n"
    "                                     force and what is known of the GPU\n"
    "  cipher encrypt|decrypt KEYFILE IN OUT\n"
    "                                     run the resource cipher on a file (at most\n"
    "                                     64 MiB); the key is KEYFILE's first 8 bytes\n"
    "  pack IMAGE OUT                     read an image into a picture host, convert it\n"
    "                                     to sRGB and write the host's stream to OUT\n"
    "  unpack IN OUT                      read a picture host stream and save it as an\n"
    "                                     image (format from OUT's suffix)\n"
    "  icc IN OUT [--from NAME]           convert an image to sRGB from the colour space\n"
    "                                     it embeds or names, or from NAME\n"
    "  compose -o OUT.png [--size WxH] [--save DOC] [--cpu|--gpu] LAYER [LAYER ...]\n"
    "                                     composite image layers, bottom first, into\n"
    "                                     OUT on the GPU (else the CPU); each LAYER is\n"
    "                                     an image with its own options --mode NAME,\n"
    "                                     --opacity F, --offset X,Y, --mask MASK and\n"
    "                                     --hidden, or a document saved with --save\n"
    "                                     (see vell compose --help)\n"
    "  select IN OUT.png STEP [STEP ...] [--feather R] [--invert]\n"
    "                                     build a selection on IN from --rect,\n"
    "                                     --ellipse, --polygon, --grow and --mask\n"
    "                                     steps, each optionally after --add,\n"
    "                                     --subtract or --intersect, soften its edge\n"
    "                                     with --feather, and write its coverage as a\n"
    "                                     grey image (see vell select --help)\n"
    "  filter IN OUT --tool ID [--param NAME=VALUE ...] [--preset FILE]\n"
    "                [--select MASK] [--channels r,g,b] [--mask FILE]\n"
    "                                     apply a filter plug-in to the whole of IN\n"
    "                                     on the GPU, within a grey mask and on the\n"
    "                                     channels given, or a mask filter to the\n"
    "                                     layer mask FILE (see vell filter --help)\n"
    "  tools                              list the filter plug-ins with their ids\n"
    "                                     and parameters\n"
    "  transform IN OUT OPERATION         rotate (--rotate 90|-90|180, --rotate-free\n"
    "                                     DEG), mirror (--flip h|v), scale (--resize\n"
    "                                     SX SY, --size W H), crop (--crop X Y W H)\n"
    "                                     or warp (--quad ...) IN on the GPU (see\n"
    "                                     vell transform --help)\n"
    "  batch add|list|run FILE.vba ...    build a batch-action file step by step\n"
    "                                     (--resize, --rotate, --logo, --text; filter\n"
    "                                     steps come from vell filter --record), list\n"
    "                                     it, or replay it over a folder of images\n"
    "                                     with --jobs N and --shard K/N (see vell\n"
    "                                     batch --help)\n"
    "\n"
    "Commands that open an image convert it to sRGB and print \"colour space:\n"
    "...\" with what decided: the ICC profile the file embeds, else the colour\n"
    "space its metadata text names, else sRGB; --no-colour (pack, icc, compose,\n"
    "select) skips that. The ICC profiles of named spaces are read from\n"
    "data/iccprofiles in the working folder, else beside the vell binary, else\n"
    "from the installed data folder.\n"
    "\n"
    "An image larger than the image size limit of the run is refused before it\n"
    "is decoded. The limit is what the run's path holds (the GPU's largest\n"
    "texture, or 65535 a side, and the memory budget's worth of pixels);\n"
    "--max-size WxH sets it (pack, icc, compose, select); compose --shrink\n"
    "shrinks the composition to fit instead.\n"
    "\n"
    "Image outputs take --quality N (JPEG, WebP) and --lossless (WebP); icc,\n"
    "unpack and compose take --depth 8|16 (16: PNG and TIFF).\n"
    "\n"
    "Options:\n"
    "  -h, --help                         show this help\n"
    "  --version                          show the version\n"
    "  --verbose                          show the library's log on standard error\n"
    "                                     (its file is named by vell info)\n"
    "  --progress                         show progress lines on standard error\n"
    "                                     even when it is not a terminal\n"
    "\n"
    "Exit status: 0 on success, 1 on failure, 2 on a usage error.\n";

struct Command
{
    const char *name;
    int (*run)(VellHost &host, const QStringList &args);
};

const Command kCommands[] = {
    {"info", vellInfoCommand},     {"cipher", vellCipherCommand}, {"pack", vellPackCommand},
    {"unpack", vellUnpackCommand}, {"icc", vellIccCommand},       {"compose", vellComposeCommand},
    {"select", vellSelectCommand}, {"filter", vellFilterCommand}, {"tools", vellToolsCommand},
    {"transform", vellTransformCommand},
    {"batch", vellBatchCommand},
};

} // namespace

int main(int argc, char *argv[])
{
    vellCheckResultsAtExit();   // help and the version too: a lost result is a failure
    // vell reads its arguments before any Qt application exists: which one it
    // needs (with the window system or without) is for the command to say once
    // it has parsed its own. Decoded the way QCoreApplication::arguments()
    // decodes them.
    QStringList args;
    for (int i = 1; i < argc; ++i)
        args << QString::fromLocal8Bit(argv[i]);
    // --verbose is vell's own, accepted before the command or among its
    // arguments.
    const bool verbose = args.removeAll(QStringLiteral("--verbose")) > 0;
    // So is --progress: without it, progress lines appear on a terminal only.
    if (args.removeAll(QStringLiteral("--progress")) > 0)
        vellSetProgress(true);
    if (args.isEmpty()) {
        std::fputs(kUsage, stderr);
        return ExitUsage;
    }
    const QString name = args.takeFirst();
    if (name == QLatin1String("-h") || name == QLatin1String("--help") || name == QLatin1String("help")) {
        std::fputs(kUsage, stdout);
        return ExitOk;
    }
    if (name == QLatin1String("--version")) {
        vellPrint(QStringLiteral("vell " VELL_VERSION));
        return ExitOk;
    }
    for (const Command &command : kCommands) {
        if (name == QLatin1String(command.name)) {
            VellHost host(argv[0], verbose);   // outlives everything the command builds
            return command.run(host, args);
        }
    }
    vellError(QStringLiteral("unknown command '%1' (try 'vell --help')").arg(name));
    return ExitUsage;
}
