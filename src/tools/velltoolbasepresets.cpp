// A filter's presets: parameter files in the tool's folder under the data
// location, each with a ".name" companion holding its display name per
// language, and the thumbnails the presets browser shows.
#include "tools/velltoolbase.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontext.h"
#include "document/velllayer.h"
#include "foundation/velldatalocation.h"
#include "foundation/vellmessagebox.h"
#include "gpu/glextensionfunctions.h"
#include "gpu/vellgltexture2d.h"
#include "dialogs/vellinputdialog.h"
#include "selection/vellselection.h"
#include "tools/velltoolutil.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QLayout>
#include <QWidget>

#include <algorithm>
#include <cmath>

namespace {

constexpr int kPresetThumbSide = 120;
const char *const kNameSuffix = ".name";
// The languages a preset's display name is kept in, English first.
const char *const kNameLanguages[] = {"en", "zh_CN", "zh_TW", "de_DE", "es_ES", "fr_FR", "ja_JP", "ko_KR"};

} // namespace

QString VellToolBase::presetPath()
{
    return VellDataLocation::path() + QStringLiteral("/presets/filters/");
}

QString VellToolBase::getPresetsPath()
{
    const QString path = presetPath() + name;
    QDir().mkpath(path);
    return path;
}

void VellToolBase::initAllPresets()
{
    const QDir folder(getPresetsPath());
    presetNames.clear();
    const QStringList files = folder.entryList(QDir::Files, QDir::NoSort);
    for (const QString &file : files)
        if (!file.endsWith(QLatin1String(kNameSuffix)))
            presetNames.append(file);
}

void VellToolBase::loadPreset(int index)
{
    if (index < 0 || index >= presetNames.size())
        return;
    loadPreset(presetNames.at(index));
}

void VellToolBase::loadPreset(const QString &presetName)
{
    QFile file(presetPath() + name + QLatin1Char('/') + presetName);
    // A file that cannot be opened reads as an empty stream.
    file.open(QIODevice::ReadOnly);
    QDataStream in(&file);
    in.setVersion(QDataStream::Qt_4_8);
    deserializeParams(in);
}

QString VellToolBase::askPresetName(const QString &proposal)
{
    return VellInputDialog::getText(
        nullptr, tr("Set Preset Name"),
        tr("Please input the name for this preset.It will override other preset, if the name is same as the other's."),
        QLineEdit::Normal, proposal);
}

bool VellToolBase::confirmOverwrite(const QString &presetName)
{
    return VellMessageBox::warning(tr("Warning"), tr("\"%1\" already exists, overwrite it?").arg(presetName),
                                   QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
           == QMessageBox::Yes;
}

void VellToolBase::saveCurrentPreset()
{
    const QDir folder(getPresetsPath());
    const QString base = tr("Default Name");
    QString proposal = base;
    for (int n = 1; folder.exists(proposal); ++n)
        proposal = base + QStringLiteral(" %1").arg(n);

    QString chosen;
    for (;;) {
        chosen = askPresetName(proposal);
        if (chosen.isEmpty())
            return;
        if (!folder.exists(chosen) || confirmOverwrite(chosen))
            break;
        proposal = chosen;
    }
    const QString path = folder.filePath(chosen);
    QFile file(path);
    const QByteArray record = parameterBytes();
    if (!file.open(QIODevice::WriteOnly))
        return;
    if (file.write(record) != record.size() || !file.flush()) {
        file.remove();   // no half-written preset
        return;
    }
    file.close();
    QFile names(path + QLatin1String(kNameSuffix));
    if (names.open(QIODevice::WriteOnly | QIODevice::Text)) {
        QStringList lines;
        for (const char *language : kNameLanguages)
            lines.append(QLatin1String(language) + QLatin1Char(':') + chosen);
        // Text mode would turn "\n" into the platform's line end; the file
        // always separates lines with "\r\n".
        names.setTextModeEnabled(false);
        names.write(lines.join(QStringLiteral("\r\n")).toUtf8());
    }
    if (layer)
        updatePresetThumbs(layer);
}

void VellToolBase::updatePresetThumbs(VellLayer *target)
{
    initAllPresets();
    if (!presetsView && presetsViewMaker) {
        presetsView.reset(presetsViewMaker(this));
        QWidget *own = getWidget();
        if (presetsView && own && own->layout() && presetsView->widget())
            own->layout()->addWidget(presetsView->widget());
    }
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!target || !presetsView || !presetsView->isExpanded() || !canvas || !target->getEntireTexture())
        return;
    canvas->makeCurrent();
    pushParam();
    const QRectF layerRect(0, 0, target->getWidth(), target->getHeight());
    const QRectF canvasRect(-target->getPosition().x(), -target->getPosition().y(), canvas->getCanvasWidth(),
                            canvas->getCanvasHeight());
    const QRectF visible = layerRect.intersected(canvasRect);
    QRectF source;
    QSize size;
    if (cropPresetThumbs) {
        const double w = std::min(visible.width(), double(kPresetThumbSide));
        const double h = std::min(visible.height(), double(kPresetThumbSide));
        source = QRectF(visible.x() + (visible.width() - w) * 0.5, visible.y() + (visible.height() - h) * 0.5, w, h);
        size = QSize(int(w), int(h));
    } else {
        const double factor = std::min(1.0, kPresetThumbSide / std::max(visible.width(), visible.height()));
        source = visible;
        size = QSize(int(visible.width() * factor), int(visible.height() * factor));
    }
    presetPreviewRegion = source;
    if (!size.isEmpty()) {
        VellGLTexture2D thumb(size.width(), size.height(), GL_RGBA8, true);
        VellToolUtil::copyTextureToTexture(&thumb, target->getEntireTexture(),
                                           QRectF(0, 0, size.width(), size.height()), source);
        presetsView->updatePreviews(target, &thumb);
    }
    popParam();
}

QImage VellToolBase::getPresetPreview(VellLayer *target, VellGLTexture2D *source)
{
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!target || !source || !canvas)
        return QImage();
    canvas->makeCurrent();
    preApply();
    VellGLTexture2D preview(source->getWidth(), source->getHeight(), GL_RGBA8, true);
    const QRectF canvasRect(0, 0, canvas->getCanvasWidth(), canvas->getCanvasHeight());
    const QRectF placed = presetPreviewRegion.translated(target->getPosition()).intersected(canvasRect);
    VellSelection *selection = context ? context->getSelection() : nullptr;
    selectionCoords = selection ? selection->getTexCoord(placed) : QRectF(0, 0, 1, 1);
    if (!renderProgram(preview.getId(), preview.getWidth(), preview.getHeight(), source->getId(),
                       QRectF(0, 0, 1, 1), selectionCoords))
        return QImage();
    getGLExtensionFunctions().glActiveTexture(GL_TEXTURE0);
    return preview.toQImage();
}
