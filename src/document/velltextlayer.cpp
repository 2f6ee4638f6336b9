#include "document/velltextlayer.h"

#include "document/velltextcontrol.h"
#include "foundation/vellcodes.h"
#include "foundation/vellglobalsettings.h"
#include "foundation/velllog.h"
#include "gpu/vellgltexture2d.h"

#include <QAbstractTextDocumentLayout>
#include <QApplication>
#include <QClipboard>
#include <QDataStream>
#include <QGLContext>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QTextLayout>

#include <cmath>

namespace {

// A rendering larger than this (either side, or in all) is refused: text
// that size is a corrupt scale, not something to draw.
constexpr int kMaxSide = 16384;
constexpr qint64 kMaxPixels = qint64(1) << 26;
// Rounding noise of the turned box that must not add a pixel.
constexpr double kEdgeSlack = 1e-6;
const QColor kSelectionColour(51, 153, 255);

VellTextLayer::CanvasProbe &canvasProbe()
{
    static VellTextLayer::CanvasProbe probe;
    return probe;
}

// Laying text out needs fonts, and fonts need a GUI application: without
// one (a headless host) text lays out as nothing and renders nothing.
bool fontsAvailable()
{
    return qobject_cast<QGuiApplication *>(QCoreApplication::instance()) != nullptr;
}

int wrapDegrees(int degrees)
{
    const int wrapped = degrees % 360;
    return wrapped < 0 ? wrapped + 360 : wrapped;
}

bool validScale(const QSizeF &scale)
{
    return std::isfinite(scale.width()) && std::isfinite(scale.height()) && scale.width() > 0.0
           && scale.height() > 0.0;
}

// A bar before the character at `inBlock`: upright between characters of a
// line, lying across the column between characters of vertical text.
QRectF cursorRect(const QTextLayout *layout, const QPointF &offset, const QRectF &column,
                  int inBlock, bool vertical)
{
    const QTextLine line = layout->lineForTextPosition(inBlock);
    if (!line.isValid())
        return QRectF();
    const QPointF origin = offset + layout->position();
    if (vertical) {
        const double y = inBlock > line.textStart() ? line.y() + line.height() : line.y();
        return QRectF(column.left(), origin.y() + y - 0.5, column.width(), 1.0);
    }
    const double x = line.cursorToX(inBlock);
    return QRectF(origin.x() + x - 0.5, origin.y() + line.y(), 1.0, line.height());
}

} // namespace

// The paragraphs of the document where the layout puts them: each block's
// QTextLayout is drawn at `offset` (added to the layout's own position), and
// `rect` is the part of the content box it owns, for hit testing.
struct VellTextLayer::Blocks
{
    struct Placed
    {
        QTextBlock block;
        QPointF offset;
        QRectF rect;
    };
    QVector<Placed> placed;
    QSizeF size;
};

void VellTextLayer::setCanvasProbe(CanvasProbe probe)
{
    canvasProbe() = std::move(probe);
}

std::optional<VellTextLayer::Canvas> VellTextLayer::currentCanvas()
{
    const CanvasProbe &probe = canvasProbe();
    return probe ? probe() : std::nullopt;
}

VellTextLayer::VellTextLayer(const QString &name)
    : VellLayerBase(name, nullptr), document(new QTextDocument(this))
{
    setType(VellLayerType::Text);
    font.setPointSizeF(10.0);
    document->setUseDesignMetrics(true);
    document->setDocumentMargin(0.0);
    document->setDefaultFont(font);
    control = std::make_unique<VellTextControl>(document);
    control->setInteractionFlags(Qt::TextEditorInteraction);
    QTextCharFormat format;
    format.setFont(font);
    format.setForeground(color);
    QTextCursor cursor = control->textCursor();
    cursor.setCharFormat(format);
    control->setTextCursor(cursor);
    applyVerticalLayout();
    connect(control.get(), &VellTextControl::textChanged, this, &VellTextLayer::onTextChanged);
    connect(control.get(), &VellTextControl::updateRequest, this, &VellTextLayer::updataCanvers);
}

VellTextLayer::~VellTextLayer()
{
    // The canvas must not keep drawing a layer that is gone.
    if (const std::optional<Canvas> canvas = currentCanvas())
        if (canvas->editingLayer && canvas->editingLayer() == this && canvas->forgetEditingLayer)
            canvas->forgetEditingLayer();
    // The controller goes before the document it edits; textures need the context.
    control.reset();
    dropTextures();
}

void VellTextLayer::dropTextures()
{
    if (!texture && !entireTexture)
        return;
    if (const std::optional<Canvas> canvas = currentCanvas())
        if (canvas->makeCurrent)
            canvas->makeCurrent();
    texture.reset();
    entireTexture.reset();
}

// ---- Contents and attributes ----

void VellTextLayer::setText(const QString &plain)
{
    document->clear();
    QTextCursor cursor(document);
    QTextBlockFormat block;
    block.setAlignment(Qt::Alignment(fontFormat));
    cursor.setBlockFormat(block);
    QTextCharFormat format;
    format.setFont(font);
    format.setForeground(color);
    cursor.insertText(plain, format);
    control->setTextCursor(cursor);
}

void VellTextLayer::setHtml(const QString &html)
{
    document->setHtml(html);
    QTextCursor cursor(document);
    cursor.movePosition(QTextCursor::End);
    control->setTextCursor(cursor);
}

QString VellTextLayer::toHtml() const
{
    return document->toHtml();
}

void VellTextLayer::setFont(const QFont &newFont)
{
    font = newFont;
    document->setDefaultFont(font);
    QTextCharFormat format;
    format.setFont(font);
    QTextCursor cursor = control->textCursor();
    cursor.mergeCharFormat(format);
    control->setTextCursor(cursor);
    applyVerticalLayout();
    renderText();
}

void VellTextLayer::setColor(const QColor &newColor)
{
    color = newColor;
    QTextCharFormat format;
    format.setForeground(color);
    QTextCursor cursor = control->textCursor();
    cursor.mergeCharFormat(format);
    control->setTextCursor(cursor);
}

void VellTextLayer::setDirection(int degrees)
{
    direction = wrapDegrees(degrees);
    renderText();
}

void VellTextLayer::setVertical(bool on)
{
    vertical = on;
    control->setVertical(on);
    applyVerticalLayout();
    renderText();
}

void VellTextLayer::setTextScale(const QSizeF &scale)
{
    if (!validScale(scale))
        return;
    textScale = scale;
    renderText();
}

// Horizontal text keeps its lines and is as wide as the widest one (so that
// alignment works within it); vertical text breaks after every character.
void VellTextLayer::applyVerticalLayout()
{
    if (!fontsAvailable())
        return;
    QTextOption option = document->defaultTextOption();
    if (vertical) {
        option.setWrapMode(QTextOption::WrapAnywhere);
        document->setDefaultTextOption(option);
        document->setTextWidth(1.0);
        return;
    }
    option.setWrapMode(QTextOption::NoWrap);
    document->setDefaultTextOption(option);
    document->setTextWidth(-1.0);
    document->setTextWidth(std::ceil(document->idealWidth()));
}

void VellTextLayer::onTextChanged()
{
    applyVerticalLayout();
    text = document->toPlainText();
    if (!keepName)
        setLayerName(text.left(10));
    renderText();
    emit textChanged();
}

void VellTextLayer::updataCanvers()
{
    if (const std::optional<Canvas> canvas = currentCanvas())
        if (canvas->repaint)
            canvas->repaint();
}

// ---- Layout ----

VellTextLayer::Blocks VellTextLayer::placeBlocks() const
{
    Blocks blocks;
    const QSizeF laidOut = document->size();   // lays the document out
    if (!vertical) {
        for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
            const QTextLayout *layout = block.layout();
            blocks.placed.append({block, QPointF(),
                                  layout->boundingRect().translated(layout->position())});
        }
        blocks.size = laidOut;
        return blocks;
    }
    double columnWidth = 1.0;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next()) {
        const QTextLayout *layout = block.layout();
        for (int i = 0; i < layout->lineCount(); ++i)
            columnWidth = std::max(columnWidth, layout->lineAt(i).naturalTextWidth());
    }
    columnWidth = std::ceil(columnWidth);
    const int count = document->blockCount();
    double height = 0.0;
    int index = 0;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next(), ++index) {
        const QTextLayout *layout = block.layout();
        const QRectF bounds = layout->boundingRect();
        const double x = (count - 1 - index) * columnWidth;
        const QPointF offset = QPointF(x, 0.0) - layout->position() - QPointF(bounds.left(), bounds.top());
        blocks.placed.append({block, offset, QRectF(x, 0.0, columnWidth, bounds.height())});
        height = std::max(height, bounds.height());
    }
    blocks.size = QSizeF(count * columnWidth, height);
    return blocks;
}

QRect VellTextLayer::getBoundingRect(const QSizeF &contentSize, int degrees, const QSizeF &scale)
{
    if (!validScale(scale) || contentSize.isEmpty())
        return QRect();
    QTransform transform;
    transform.rotate(wrapDegrees(degrees));
    transform.scale(scale.width(), scale.height());
    const QRectF turned = transform.mapRect(QRectF(QPointF(0.0, 0.0), contentSize));
    const double left = std::floor(turned.left() + kEdgeSlack);
    const double top = std::floor(turned.top() + kEdgeSlack);
    const double right = std::ceil(turned.right() - kEdgeSlack);
    const double bottom = std::ceil(turned.bottom() - kEdgeSlack);
    if (!(right - left <= kMaxSide && bottom - top <= kMaxSide && left >= -kMaxSide
          && top >= -kMaxSide))
        return QRect();
    return QRect(int(left), int(top), int(right - left), int(bottom - top));
}

VellTextLayer::Layout VellTextLayer::layout(float fboScale) const
{
    Layout result;
    if (document->isEmpty() || !(std::isfinite(fboScale) && fboScale > 0.0f) || !fontsAvailable())
        return result;
    result.contentSize = placeBlocks().size;
    result.contentToLayer.rotate(direction);
    result.contentToLayer.scale(textScale.width(), textScale.height());
    result.bounds = getBoundingRect(result.contentSize, direction, textScale);
    if (result.bounds.isEmpty())
        return result;
    const double w = std::ceil(result.bounds.width() / double(fboScale) - kEdgeSlack);
    const double h = std::ceil(result.bounds.height() / double(fboScale) - kEdgeSlack);
    if (w <= kMaxSide && h <= kMaxSide && w * h <= double(kMaxPixels))
        result.imageSize = QSize(int(w), int(h));
    return result;
}

QRect VellTextLayer::getDocumentRect() const
{
    const QRect bounds = layout(1.0f).bounds;
    return bounds.isEmpty() ? QRect() : bounds.translated(getPosition().toPoint());
}

void VellTextLayer::drawContent(QPainter *painter, bool withEditing) const
{
    const QTextCursor cursor = control->textCursor();
    const int selectionStart = cursor.selectionStart();
    const int selectionEnd = cursor.selectionEnd();
    painter->setPen(color);
    for (const Blocks::Placed &placed : placeBlocks().placed) {
        QTextLayout *layout = placed.block.layout();
        const int start = placed.block.position();
        const int length = placed.block.length();
        QVector<QTextLayout::FormatRange> selections;
        if (withEditing && cursor.hasSelection() && selectionEnd > start
            && selectionStart < start + length) {
            QTextLayout::FormatRange range;
            range.start = std::max(selectionStart, start) - start;
            range.length = std::min(selectionEnd, start + length) - start - range.start;
            range.format.setBackground(kSelectionColour);
            range.format.setForeground(Qt::white);
            selections.append(range);
        }
        layout->draw(painter, placed.offset, selections);
        const int position = cursor.position();
        if (withEditing && control->cursorVisible() && position >= start
            && position < start + length)
            painter->fillRect(cursorRect(layout, placed.offset, placed.rect, position - start, vertical),
                              color);
    }
}


QImage VellTextLayer::renderText(bool withEditing, float fboScale) const
{
    const Layout placed = layout(fboScale);
    if (placed.imageSize.isEmpty())
        return QImage();
    QImage image(placed.imageSize, QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return QImage();
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
        const QTransform toImage = placed.contentToLayer
                                   * QTransform::fromTranslate(-placed.bounds.left(), -placed.bounds.top())
                                   * QTransform::fromScale(1.0 / fboScale, 1.0 / fboScale);
        painter.setTransform(toImage);
        drawContent(&painter, withEditing);
    }
    return image.convertToFormat(QImage::Format_ARGB32);
}

void VellTextLayer::renderText()
{
    dropTextures();
    const std::optional<Canvas> canvas = currentCanvas();
    if (!canvas)
        return;
    if (canvas->makeCurrent)
        canvas->makeCurrent();
    if (!QGLContext::currentContext())
        return;
    const QImage image = renderText(false, canvas->fboScale);
    if (image.isNull())
        return;
    texture = std::make_unique<VellGLTexture2D>(image, GL_BGRA, true);
    if (texture->failed())
        texture.reset();
}

VellGLTexture2D *VellTextLayer::getEntireTexture()
{
    if (entireTexture || !QGLContext::currentContext())
        return entireTexture.get();
    const QImage image = renderText(false, 1.0f);
    if (image.isNull())
        return nullptr;
    entireTexture = std::make_unique<VellGLTexture2D>(image, GL_BGRA, true);
    if (entireTexture->failed())
        entireTexture.reset();
    return entireTexture.get();
}

int VellTextLayer::getWidth() const
{
    if (texture)
        return texture->getWidth();
    const std::optional<Canvas> canvas = currentCanvas();
    return canvas ? layout(canvas->fboScale).imageSize.width() : 0;
}

int VellTextLayer::getHeight() const
{
    if (texture)
        return texture->getHeight();
    const std::optional<Canvas> canvas = currentCanvas();
    return canvas ? layout(canvas->fboScale).imageSize.height() : 0;
}

QPolygonF VellTextLayer::getThumbQuadOnFbo(const QPointF &fboCorner, float fboScale) const
{
    const Layout placed = layout(fboScale);
    if (placed.imageSize.isEmpty())
        return QPolygonF();
    const QPointF corner = (getPosition() + QPointF(placed.bounds.topLeft()) - fboCorner) / fboScale;
    return QPolygonF(QRectF(corner, QSizeF(placed.imageSize)));
}

// ---- Editing ----

void VellTextLayer::editRender(QPainter *painter)
{
    const std::optional<Canvas> canvas = currentCanvas();
    if (!painter || !canvas)
        return;
    const Layout placed = layout(1.0f);
    painter->save();
    painter->setRenderHints(QPainter::Antialiasing | QPainter::TextAntialiasing);
    painter->setOpacity(getAlpha());
    painter->setTransform(placed.contentToLayer * QTransform::fromTranslate(getPosition().x(), getPosition().y())
                          * canvas->documentToWindow);
    drawContent(painter, true);
    painter->restore();
}

QPointF VellTextLayer::mapToNoScaleNoRotation(const QPointF &point) const
{
    QTransform toLayer;   // as layout() builds it, also for an empty layout
    toLayer.rotate(direction);
    toLayer.scale(textScale.width(), textScale.height());
    return toLayer.inverted().map(point - getPosition());
}

int VellTextLayer::hitTest(int x, int y) const
{
    const std::optional<Canvas> canvas = currentCanvas();
    if (!canvas || !fontsAvailable())
        return -1;
    const QPointF documentPoint = canvas->documentToWindow.inverted().map(QPointF(x, y));
    const QPointF content = mapToNoScaleNoRotation(documentPoint);

    const Blocks blocks = placeBlocks();
    const Blocks::Placed *nearest = nullptr;
    double nearestDistance = 0.0;
    for (const Blocks::Placed &placed : blocks.placed) {
        const QRectF &r = placed.rect;
        const double dx = std::max({r.left() - content.x(), 0.0, content.x() - r.right()});
        const double dy = std::max({r.top() - content.y(), 0.0, content.y() - r.bottom()});
        const double distance = dx * dx + dy * dy;
        if (!nearest || distance < nearestDistance) {
            nearest = &placed;
            nearestDistance = distance;
        }
    }
    if (!nearest)
        return 0;
    const QTextLayout *layout = nearest->block.layout();
    const QPointF local = content - nearest->offset - layout->position();
    QTextLine best;
    double bestDistance = 0.0;
    for (int i = 0; i < layout->lineCount(); ++i) {
        const QTextLine line = layout->lineAt(i);
        const double d = std::max({line.y() - local.y(), 0.0, local.y() - (line.y() + line.height())});
        if (!best.isValid() || d < bestDistance) {
            best = line;
            bestDistance = d;
        }
    }
    if (!best.isValid())
        return nearest->block.position();
    int inBlock = 0;
    if (vertical)
        inBlock = best.textStart()
                  + (local.y() >= best.y() + best.height() * 0.5 ? best.textLength() : 0);
    else
        inBlock = best.xToCursor(local.x());
    return nearest->block.position() + std::min(inBlock, nearest->block.length() - 1);
}

bool VellTextLayer::handleEvent(QEvent *event)
{
    switch (event->type()) {
    case QEvent::KeyPress:
        return control->keyPress(static_cast<QKeyEvent *>(event));
    case QEvent::MouseButtonPress:
    case QEvent::MouseMove:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick: {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        const int position = hitTest(mouse->pos().x(), mouse->pos().y());
        if (position < 0)
            return false;
        if (event->type() == QEvent::MouseButtonPress)
            control->mousePress(position, mouse->modifiers());
        else if (event->type() == QEvent::MouseMove)
            control->mouseMove(position);
        else if (event->type() == QEvent::MouseButtonRelease)
            control->mouseRelease(position);
        else
            control->mouseDoubleClick(position);
        return true;
    }
    default:
        return false;
    }
}

void VellTextLayer::mergeFormatOnWordOrSelection(QTextCharFormat &format)
{
    QTextCursor cursor = control->textCursor();
    QTextCursor word = cursor;
    if (!word.hasSelection())
        word.select(QTextCursor::WordUnderCursor);
    word.mergeCharFormat(format);
    cursor.mergeCharFormat(format);
    control->setTextCursor(cursor);
    renderText();
}

void VellTextLayer::copyToClipboard()
{
    if (!fontsAvailable())
        return;   // no clipboard either
    auto *mime = new QMimeData;
    mime->setText(document->toPlainText());
    const QImage image = renderText(false, 1.0f);
    if (!image.isNull())
        mime->setImageData(image);
    QApplication::clipboard()->setMimeData(mime);   // the clipboard owns it
}

QVariant VellTextLayer::loadResource(int type, const QUrl &name)
{
    Q_UNUSED(name)
    if (type == QTextDocument::ImageResource) {
        QImage none(1, 1, QImage::Format_ARGB32);
        none.fill(Qt::transparent);
        return none;
    }
    return QString::fromLatin1("");   // empty, but not null: a null one is looked up on disk
}

// ---- Layer operations ----

void VellTextLayer::renderToImage(QImage *image, VellContext *documentContext)
{
    Q_UNUSED(documentContext)
    if (!image || image->isNull() || image->depth() != 32)
        return;
    const QImage rendered = renderText(false, 1.0f);
    if (rendered.isNull())
        return;
    const QRect rect = getDocumentRect();
    QPainter painter(image);
    painter.setOpacity(getAlpha());
    painter.drawImage(rect.topLeft(), rendered);
}

void VellTextLayer::resize(double scaleX, double scaleY)
{
    Q_UNUSED(scaleX)
    Q_UNUSED(scaleY)
}

void VellTextLayer::rotate(int degrees)
{
    if (degrees != -90 && degrees != 90 && degrees != 180)
        return;
    direction = wrapDegrees(360 - degrees + direction);
    dropTextures();
    if (const std::optional<Canvas> canvas = currentCanvas()) {
        const double w = canvas->documentSize.width();
        const double h = canvas->documentSize.height();
        const QPointF p = getPosition();
        if (degrees == -90)
            setPosition(QPointF(h - p.y(), p.x()));
        else if (degrees == 90)
            setPosition(QPointF(p.y(), w - p.x()));
        else
            setPosition(QPointF(w - p.x(), h - p.y()));
    }
    renderText();
}

void VellTextLayer::flip(bool leftRight)
{
    const QRect bounds = layout(1.0f).bounds;
    direction = wrapDegrees(direction + 180);
    dropTextures();
    if (const std::optional<Canvas> canvas = currentCanvas()) {
        const QPointF p = getPosition();
        // The box turned by 180 degrees about the new anchor is the old box
        // mirrored: for unturned text, (W - x, y + height) and (x + width, H - y).
        const int sumX = 2 * bounds.left() + bounds.width();
        const int sumY = 2 * bounds.top() + bounds.height();
        if (leftRight)
            setPosition(QPointF(canvas->documentSize.width() - p.x(), p.y() + sumY));
        else
            setPosition(QPointF(p.x() + sumX, canvas->documentSize.height() - p.y()));
    }
    renderText();
}

void VellTextLayer::disactive(bool dropFullTexture)
{
    Q_UNUSED(dropFullTexture)   // a text layer renders again whenever it is needed
    const std::optional<Canvas> canvas = currentCanvas();
    if (!canvas)
        return;
    VellTextLayer *editing = canvas->editingLayer ? canvas->editingLayer() : nullptr;
    if (editing) {
        editing->getTextControl()->setFocus(false);
        editing->renderText();
        if (canvas->forgetEditingLayer)
            canvas->forgetEditingLayer();
    }
    if (canvas->renderDocument)
        canvas->renderDocument();
    if (canvas->repaint)
        canvas->repaint();
}

// ---- Stream form ----

QDataStream &operator<<(QDataStream &out, VellTextLayer *layer)
{
    if (!layer) {
        out.setStatus(QDataStream::WriteFailed);
        return out;
    }
    out << layer->getAlpha() << layer->getLayerName() << layer->getPosition() << layer->toHtml()
        << layer->getDocument()->toPlainText() << qint32(layer->getPermanentIndex())
        << layer->isKeepName() << qint32(layer->getBlendMode()) << layer->visible;
    if (VellGlobalSettings::getInstance()->streamWriteVersion >= 2)
        out << qint32(layer->getDirection()) << layer->isVertical() << layer->getTextScale();
    return out;
}

QDataStream &operator>>(QDataStream &in, VellTextLayer **layer)
{
    if (!layer)
        return in;
    *layer = nullptr;
    const auto corrupt = [&in](const char *what) -> QDataStream & {
        VellLog::Instance()->Log("VellTextLayer: corrupt stream (%s)\n", what);
        in.setStatus(QDataStream::ReadCorruptData);
        return in;
    };

    float opacity = 0.0f;
    QString name, html, plain;
    QPointF position;
    qint32 permanentIndex = -1, blendMode = 0, direction = 0;
    bool keepName = false, visible = true, vertical = false;
    QSizeF textScale(1.0, 1.0);
    in >> opacity >> name >> position >> html >> plain >> permanentIndex >> keepName >> blendMode
        >> visible;
    if (VellGlobalSettings::getInstance()->streamReadVersion >= 2)
        in >> direction >> vertical >> textScale;
    if (in.status() != QDataStream::Ok)
        return in;
    if (!(opacity >= 0.0f && opacity <= 1.0f) || !std::isfinite(position.x())
        || !std::isfinite(position.y()))
        return corrupt("opacity or position");
    if (permanentIndex < -1)
        return corrupt("permanent index");
    if (!VellLayerBase::isBlendModeCode(blendMode))
        return corrupt("blend mode");
    if (direction < 0 || direction >= 360 || !validScale(textScale))
        return corrupt("direction or text scale");
    {
        // Parsed alone first, with no layout (none exists until asked for):
        // Qt can spend minutes laying out a table of absurd padding, and a
        // text layer's own HTML never holds tables or frames.
        QTextDocument parsed;
        parsed.setHtml(html);
        if (!parsed.rootFrame()->childFrames().isEmpty())
            return corrupt("tables or frames in the text");
    }

    auto *result = new VellTextLayer(name);
    result->setAlpha(opacity);
    result->setPosition(position);
    result->setText(plain);
    result->setHtml(html);
    result->setPermanentIndex(permanentIndex);
    result->setKeepName(keepName);
    result->setBlendMode(blendMode);
    result->visible = visible;
    result->setDirection(direction);
    result->setVertical(vertical);
    result->setTextScale(textScale);
    result->setLayerName(name);   // the text set above renamed it
    *layer = result;
    return in;
}
