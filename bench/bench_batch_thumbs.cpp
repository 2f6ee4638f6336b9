// Times the presets browser's thumbnail refresh: Brightness/Contrast with 12
// presets over a 3000 x 2000 layer, each thumbnail rendered on the GPU from
// the layer scaled to 120 pixels and read back, then the table redrawn.
// Needs an X server (xvfb-run -a) and the build's plug-ins.
#include "presets/vellfilterpresetswidget.h"
#include "tools/velltoolbase.h"

#include "vellbenchgl.h"
#include "vellbenchtimer.h"

#include <QApplication>
#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QStandardPaths>

#include <cstdio>
#include <memory>

namespace {

const int W = 3000, H = 2000, kPresets = 12;

} // namespace

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QStandardPaths::setTestModeEnabled(true);   // presets in a scratch data folder
    const QSize window(750, 500);
    VellCanvas *canvas = vellBenchCanvas("bench_batch_thumbs", W, H, window, VELL_PLUGIN_TOOLS_DIR);
    if (!canvas)
        return 1;
    VellToolManager *tools = VellToolManager::getInstance();
    auto *filter = qobject_cast<VellToolBase *>(tools->getTool(QStringLiteral("Filter"), QStringLiteral("brightness-contrast")));
    if (!filter) {
        std::fprintf(stderr, "bench_batch_thumbs: no brightness-contrast plug-in in %s\n", VELL_PLUGIN_TOOLS_DIR);
        return 1;
    }
    QDir(VellToolBase::presetPath()).removeRecursively();
    const QString folder = filter->getPresetsPath();
    for (int i = 0; i < kPresets; ++i) {
        QFile file(folder + QStringLiteral("/preset %1").arg(i, 2, 10, QLatin1Char('0')));
        if (!file.open(QIODevice::WriteOnly))
            return 1;
        QDataStream out(&file);
        out.setVersion(QDataStream::Qt_4_8);
        out << qint32(i * 15 - 80) << qint32(50 - i * 8);
    }

    VellLayer *layer = nullptr;
    std::unique_ptr<VellContext> document = vellBenchDocument(canvas, W, H, window, vellBenchGradient(W, H), &layer);

    filter->active(document.get());
    auto *view = static_cast<VellFilterPresetsWidget *>(filter->getPresetsWidget()->widget());
    view->show();
    view->expand();
    const int runs = 5;
    const double ms = vellBestMs(runs, [&] { filter->updatePresetThumbs(layer); }, [] { glFinish(); });
    const int shown = view->getThumbs().size();
    filter->disActive();
    std::printf("thumbnail refresh, %d presets of %d x %d from a %d x %d layer (best of %d): %.1f ms\n", shown,
                shown ? view->getThumbs().first().width() : 0, shown ? view->getThumbs().first().height() : 0, W, H,
                runs, ms);
    std::printf("thumbs_ms %.1f\n", ms);
    document.reset();
    delete canvas;
    return shown == kPresets ? 0 : 1;
}
