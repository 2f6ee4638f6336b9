#include "tools/velltoolblockdivided.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/velllog.h"
#include "foundation/vellmessagebox.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellglframebufferobject.h"
#include "gpu/vellgltexture2d.h"
#include "gpu/vellrenderpass.h"
#include "selection/vellselection.h"

#include <QGLShaderProgram>
#include <QProgressBar>
#include <QVector4D>

#include <memory>

VellToolBlockDivided::VellToolBlockDivided(QObject *parent) : VellToolBase(parent) {}

QVector<QRect> VellToolBlockDivided::blockRects(const QRect &tile, int width, int height)
{
    QVector<QRect> blocks;
    width = qMax(1, width);
    height = qMax(1, height);
    if (tile.isEmpty())
        return blocks;
    const int columns = (tile.width() + width - 1) / width;
    const int rows = (tile.height() + height - 1) / height;
    const int lastWidth = tile.width() % width ? tile.width() % width : width;
    const int lastHeight = tile.height() % height ? tile.height() % height : height;
    blocks.reserve(columns * rows);
    for (int r = 0; r < rows; ++r)
        for (int c = 0; c < columns; ++c)
            blocks.append(QRect(tile.x() + c * width, tile.y() + r * height,
                                c == columns - 1 ? lastWidth : width, r == rows - 1 ? lastHeight : height));
    return blocks;
}

int VellToolBlockDivided::estimatedBlockCount(int layerWidth, int layerHeight, int width, int height)
{
    return (layerWidth / qMax(1, width) + 2) * (layerHeight / qMax(1, height) + 2);
}

QString VellToolBlockDivided::applyTextLayerMessage() const
{
    return tr("This tool does not support text layer!");
}

void VellToolBlockDivided::applyEntire(bool silent)
{
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!document || !canvas)
        return;
    context = document;
    canvas->makeCurrent();
    initShader();
    if (!currentImageLayer(true))
        return;
    QGLShaderProgram *program = getProgram();
    if (!program || !program->isLinked()) {
        VellLog::Instance()->Log("VellToolBlockDivided: %s has no working shader program; nothing applied\n",
                                 qPrintable(name));
        return;
    }

    ApplyRun run;
    VellLayer *image = beginApplyEntire(silent, run);
    if (!image)
        return;
    VellGLTexture2D *entire = image->getEntireTexture();

    const bool showProgress = !silent && !document->batchFlag;
    auto progress = std::make_unique<QProgressBar>();
    progress->setValue(0);
    progress->setTextVisible(false);
    progress->setWindowTitle(QStringLiteral("Applying:") + name);
    if (showProgress) {
        progress->show();
        progress->repaint();
    }
    const int estimate = estimatedBlockCount(image->getWidth(), image->getHeight(), blockWidth, blockHeight);
    qint64 counter = 0;

    GLExtensionFunctions &gl = getGLExtensionFunctions();
    VellSelection *selection = document->getSelection();
    const int editing = document->editingChannel;
    const QVector4D mask(editing & VellChannelBits::Red ? 1.0f : 0.0f, editing & VellChannelBits::Green ? 1.0f : 0.0f,
                         editing & VellChannelBits::Blue ? 1.0f : 0.0f, 1.0f);
    const double entireWidth = entire->getWidth(), entireHeight = entire->getHeight();
    const unsigned int coverage = selectionTexture();
    for (const VellLayer::FboTexture &tile : image->getFboTextureList()) {
        const QRect rect = tile.second;
        if (!tile.first || rect.isEmpty())
            continue;
        VellGLFramebufferObject framebuffer(rect.width(), rect.height());
        VellRenderPass pass(&framebuffer, tile.first->getId());
        if (!pass.isOpen())
            continue;
        glDisable(GL_BLEND);
        glClearColor(0.0f, 0.0f, 0.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
        gl.glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, entire->getId());
        gl.glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_2D, coverage);
        gl.glActiveTexture(GL_TEXTURE0);
        passTextures();
        program->bind();
        program->setUniformValue("image", 0);
        program->setUniformValue("selection", 1);
        program->setUniformValue("channelMask", mask);
        passParamsToShader();

        for (const QRect &block : blockRects(rect, blockWidth, blockHeight)) {
            const QRectF local = QRectF(block).translated(-rect.topLeft());
            const QRectF source(block.x() / entireWidth, block.y() / entireHeight, block.width() / entireWidth,
                                block.height() / entireHeight);
            const QRectF placed = QRectF(block).translated(image->getPosition());
            const QRectF covered = selection ? selection->getTexCoord(placed) : QRectF(0, 0, 1, 1);
            const QPointF vertices[4] = {local.topLeft(), local.topRight(), local.bottomRight(), local.bottomLeft()};
            const QPointF unit0[4] = {source.topLeft(), source.topRight(), source.bottomRight(), source.bottomLeft()};
            const QPointF unit1[4] = {covered.topLeft(), covered.topRight(), covered.bottomRight(),
                                      covered.bottomLeft()};
            glBegin(GL_QUADS);
            for (int i = 0; i < 4; ++i) {
                gl.glMultiTexCoord2fARB(GL_TEXTURE0, GLfloat(unit0[i].x()), GLfloat(unit0[i].y()));
                gl.glMultiTexCoord2fARB(GL_TEXTURE1, GLfloat(unit1[i].x()), GLfloat(unit1[i].y()));
                glVertex2d(vertices[i].x(), vertices[i].y());
            }
            glEnd();
            glFinish();   // one block at a time through the GPU

            counter += 100;
            const qint64 percentage = counter / estimate;
            if (showProgress && percentage % 10 == 0) {
                progress->setValue(int(qMin<qint64>(percentage, 100)));
                progress->repaint();
            }
        }
        gl.glActiveTexture(GL_TEXTURE1);
        glBindTexture(GL_TEXTURE_2D, 0);
        gl.glActiveTexture(GL_TEXTURE0);
        glBindTexture(GL_TEXTURE_2D, 0);
        program->release();
    }
    if (showProgress) {
        progress->setValue(100);
        progress->repaint();
    }

    finishApplyEntire(image, run, silent);
}
