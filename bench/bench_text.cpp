// Rendering a 200-word paragraph of a text layer at 100 % and 200 %: the
// layer's renderText() (layout, drawing and the texture upload the canvas
// composites) and the drawing alone, best of five each. Writes the paragraph
// to FOLDER/paragraph.txt for `vips text` (bench/bench_text.sh).
//   xvfb-run -a ./build/bench/bench_text FOLDER

#include "vellbenchtimer.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayermanager.h"
#include "document/velltextlayer.h"

#include <QApplication>
#include <QFile>
#include <QGLWidget>

#include <GL/gl.h>

#include <cstdio>

namespace {

// 200 words, ten to a line.
QString paragraph()
{
    static const char *const words[] = {"layer", "text", "canvas", "render", "glyph", "vell",
                                        "paragraph", "sharp", "zoom", "texture", "quick",
                                        "brown", "fox", "jumps", "over", "lazy", "dog"};
    QStringList lines;
    QStringList line;
    for (int i = 0; i < 200; ++i) {
        line << QString::fromLatin1(words[(i * 7) % 17]);
        if (line.size() == 10) {
            lines << line.join(' ');
            line.clear();
        }
    }
    return lines.join('\n');
}

} // namespace

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
        return 2;
    }
    const QString text = paragraph();
    QFile out(QString::fromLocal8Bit(argv[1]) + QStringLiteral("/paragraph.txt"));
    if (!out.open(QIODevice::WriteOnly) || out.write(text.toUtf8()) < 0)
        return 1;
    out.close();

    VellCanvas *canvas = VellCanvas::getInstance(1200, 800);
    canvas->resize(1200, 800);
    if (!canvas->isValid())
        return 1;
    auto *document = new VellContext;
    VellContextManager *contexts = VellContextManager::getInstance();
    contexts->addContext(document);
    contexts->setCurrentContext(contexts->indexOfContext(document));
    canvas->reSizeCanvas(1200, 800, false);
    canvas->setScale(1.0f, true);

    auto *layer = new VellTextLayer(QStringLiteral("Bench"));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(12.0);
    layer->setFont(font);
    layer->setText(text);
    document->getLayerManager()->addLayer(layer, false);
    std::printf("font %s, %.0f dpi\n", qPrintable(QFontInfo(font).family()),
                double(QFontMetricsF(font, canvas).fontDpi()));

    const auto finish = [] { glFinish(); };
    for (const float percent : {100.0f, 200.0f}) {
        canvas->setScale(100.0f / percent, true);
        const QImage image = layer->renderText(false, canvas->getFboScale());
        const double withTexture = vellBestMs(5, [&] { layer->renderText(); }, finish);
        const double drawing = vellBestMs(5, [&] { layer->renderText(false, canvas->getFboScale()); });
        std::printf("at %.0f %%: %d x %d texels\n", double(percent), image.width(), image.height());
        std::printf("render_%.0f_ms %.2f\n", double(percent), withTexture);
        std::printf("draw_%.0f_ms %.2f\n", double(percent), drawing);
    }
    delete document;
    delete canvas;
    return 0;
}
