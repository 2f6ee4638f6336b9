#include "presets/vellfilterpresetswidget.h"

#include "document/vellcontext.h"
#include "document/vellcontextmanager.h"
#include "document/velllayer.h"
#include "document/velllayermanager.h"
#include "foundation/vellcodes.h"
#include "foundation/velldatalocation.h"
#include "foundation/vellmessagebox.h"
#include "presets/vellfilterpresetstable.h"
#include "presets/vellfilterwidget.h"
#include "tools/velltoolbase.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QHBoxLayout>
#include <QPointer>
#include <QPushButton>
#include <QSettings>
#include <QShortcut>
#include <QTextStream>
#include <QVBoxLayout>

namespace {

const char *const kNameSuffix = ".name";
constexpr int kSmallButton = 23;

// What the tool owns: the widget, unless the panel it was put in deleted it
// first (the panel is its Qt parent).
class PresetsViewHandle : public IVellPresetsView
{
public:
    explicit PresetsViewHandle(VellFilterPresetsWidget *view) : view(view) {}
    ~PresetsViewHandle() override { delete view.data(); }
    QWidget *widget() override { return view.data(); }
    bool isExpanded() const override { return view && view->isExpanded(); }
    void updatePreviews(VellLayer *layer, VellGLTexture2D *source) override
    {
        if (view)
            view->updatePreviews(layer, source);
    }

private:
    QPointer<VellFilterPresetsWidget> view;
};

void installPresetsView()
{
    VellToolBase::setPresetsViewMaker([](VellToolBase *tool) -> IVellPresetsView * {
        auto *view = new VellFilterPresetsWidget;
        view->setFilter(tool);
        return new PresetsViewHandle(view);
    });
}

} // namespace

// Once the application exists, after every static object of the library.
Q_COREAPP_STARTUP_FUNCTION(installPresetsView)

VellFilterPresetsWidget::VellFilterPresetsWidget(QWidget *parent) : QWidget(parent)
{
    presetsButton = new QPushButton(tr("Presets>>>"), this);
    saveButton = new QPushButton(tr("+"), this);
    saveButton->setFixedSize(kSmallButton, kSmallButton);
    saveButton->setToolTip(tr("Save current parameters."));
    deleteButton = new QPushButton(tr("-"), this);
    deleteButton->setFixedSize(kSmallButton, kSmallButton);
    deleteButton->setToolTip(tr("Delete selected"));
    clearButton = new QPushButton(tr("Clear"), this);
    clearButton->setToolTip(tr("Clear all!"));
    clearButton->hide();
    renameButton = new QPushButton(tr("Rename"), this);
    renameButton->hide();
    table = new VellFilterPresetsTable(this);

    headerLayout = new QHBoxLayout;
    headerLayout->addWidget(presetsButton);
    headerLayout->addStretch();
    headerLayout->addWidget(saveButton);
    headerLayout->addWidget(clearButton);
    headerLayout->addWidget(deleteButton);
    headerLayout->addWidget(renameButton);
    mainLayout = new QVBoxLayout(this);
    mainLayout->setContentsMargins(0, 0, 0, 0);
    mainLayout->addLayout(headerLayout);

    connect(table, &VellFilterPresetsTable::mouseEnter, this, &VellFilterPresetsWidget::onEnteredIn);
    connect(table, &VellFilterPresetsTable::mouseLeave, this, &VellFilterPresetsWidget::onLeftOut);
    connect(table, &QTableWidget::itemEntered, this, &VellFilterPresetsWidget::onItemEntered);
    connect(table, &QTableWidget::itemClicked, this, &VellFilterPresetsWidget::onItemClicked);
    connect(table, &QTableWidget::itemChanged, this, &VellFilterPresetsWidget::onItemChanged);
    connect(new QShortcut(QKeySequence(QStringLiteral("Delete")), this), &QShortcut::activated, this,
            &VellFilterPresetsWidget::on_deleteButton_clicked);
    connect(new QShortcut(QKeySequence(QStringLiteral("Alt+S")), this), &QShortcut::activated, this,
            &VellFilterPresetsWidget::on_saveButton_clicked);
    connect(new QShortcut(QKeySequence(QStringLiteral("P")), this), &QShortcut::activated, this,
            &VellFilterPresetsWidget::on_presetsButton_clicked);
    connect(presetsButton, &QPushButton::clicked, this, &VellFilterPresetsWidget::on_presetsButton_clicked);
    connect(saveButton, &QPushButton::clicked, this, &VellFilterPresetsWidget::on_saveButton_clicked);
    connect(deleteButton, &QPushButton::clicked, this, &VellFilterPresetsWidget::on_deleteButton_clicked);
    connect(clearButton, &QPushButton::clicked, this, &VellFilterPresetsWidget::on_clearButton_clicked);
    connect(renameButton, &QPushButton::clicked, this, &VellFilterPresetsWidget::on_renameButton_clicked);
    collapse();
}

VellFilterPresetsWidget::~VellFilterPresetsWidget() = default;

QString VellFilterPresetsWidget::getDisplayName(const QString &folder, const QString &fileName)
{
    QFile names(folder + QLatin1Char('/') + fileName + QLatin1String(kNameSuffix));
    if (!names.exists() || !names.open(QIODevice::ReadOnly | QIODevice::Text))
        return fileName;
    const QString language =
        QSettings(VellDataLocation::configFile(), QSettings::IniFormat).value(QStringLiteral("language")).toString();
    QTextStream in(&names);
    in.setCodec("UTF-8");
    while (!in.atEnd()) {
        const QString line = in.readLine();
        const int colon = line.indexOf(QLatin1Char(':'));
        if (colon < 0)
            continue;
        // A line of the language with no text falls through to the next.
        if (line.left(colon) == language && colon + 1 < line.size())
            return line.mid(colon + 1);
    }
    return fileName;
}

void VellFilterPresetsWidget::updatePreviews(VellLayer *layer, VellGLTexture2D *source)
{
    if (!filter)
        return;
    QVector<QImage> newThumbs;
    QStringList newNames, newFiles;
    const QString folder = filter->getPresetsPath();
    const QStringList presets = filter->getPresetNames();
    for (int i = 0; i < presets.size(); ++i) {
        filter->loadPreset(i);
        const QImage thumb = filter->getPresetPreview(layer, source);
        if (thumb.isNull())
            continue;
        newThumbs.append(thumb);
        newNames.append(getDisplayName(folder, presets.at(i)));
        newFiles.append(presets.at(i));
    }
    // Filling the table changes its items; that is no rename.
    editArmed = false;
    thumbs = newThumbs;
    displayNames = newNames;
    fileNames = newFiles;
    table->setContent(&thumbs, &displayNames, &fileNames);
    editArmed = true;
    shown = false;
}

void VellFilterPresetsWidget::on_presetsButton_clicked()
{
    if (isExpandedFlag)
        collapse();
    else
        expand();
}

void VellFilterPresetsWidget::on_saveButton_clicked()
{
    if (filter)
        filter->saveCurrentPreset();
}

void VellFilterPresetsWidget::on_deleteButton_clicked()
{
    if (!filter)
        return;
    const QList<QTableWidgetItem *> selected = table->selectedItems();
    if (selected.isEmpty()) {
        VellMessageBox::about(tr("Error"), tr("Please select a preset to delete."));
        return;
    }
    const QString file = selected.first()->data(VellFilterPresetsTable::FileNameRole).toString();
    const QMessageBox::StandardButton answer =
        VellMessageBox::show({VellMessageBox::Information, tr("Alert"),
                              tr("Do you really want to delete the preset: ") + file,
                              QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes});
    if (answer != QMessageBox::Yes)
        return;
    const QString path = filter->getPresetsPath() + QLatin1Char('/') + file;
    if (!QFile::remove(path))
        VellMessageBox::about(tr("Failed"), tr("Failed to delete preset: ") + file);
    else
        QFile::remove(path + QLatin1String(kNameSuffix));
    if (VellLayer *layer = activeImageLayer())
        filter->updatePresetThumbs(layer);
}

void VellFilterPresetsWidget::expand()
{
    isExpandedFlag = true;
    presetsButton->setText(tr("<<<Presets"));
    saveButton->show();
    deleteButton->show();
    mainLayout->addWidget(table);
    table->show();
    if (shown && filter)
        if (VellLayer *layer = activeImageLayer())
            filter->updatePresetThumbs(layer);
}

void VellFilterPresetsWidget::collapse()
{
    isExpandedFlag = false;
    presetsButton->setText(tr("Presets>>>"));
    saveButton->hide();
    deleteButton->hide();
    clearButton->hide();
    renameButton->hide();
    mainLayout->removeWidget(table);
    table->hide();
    adjustSize();
}

void VellFilterPresetsWidget::refreshPreview()
{
    if (auto *panel = qobject_cast<VellFilterWidget *>(filter->getWidget())) {
        panel->setUpdating(false);
        panel->updateWidget();
        filter->apply();
        panel->setUpdating(true);
    } else {
        filter->apply();
    }
}

void VellFilterPresetsWidget::onEnteredIn()
{
    if (filter)
        filter->pushParam();   // the user's parameters, back when the pointer leaves
}

void VellFilterPresetsWidget::onLeftOut()
{
    if (!filter)
        return;
    filter->popParam();
    refreshPreview();
}

void VellFilterPresetsWidget::onItemEntered(QTableWidgetItem *item)
{
    if (!filter || !item)
        return;
    filter->loadPreset(item->data(VellFilterPresetsTable::FileNameRole).toString());
    refreshPreview();
}

void VellFilterPresetsWidget::onItemClicked(QTableWidgetItem *item)
{
    Q_UNUSED(item)
    if (!filter)
        return;
    // The previewed preset becomes what leaving the table restores.
    filter->clearParamBuffers();
    filter->pushParam();
}

void VellFilterPresetsWidget::onItemChanged(QTableWidgetItem *item)
{
    if (!editArmed || !filter || !item)
        return;
    editArmed = false;
    const QString newName = item->text().trimmed();
    const QString oldDisplay = item->data(VellFilterPresetsTable::DisplayNameRole).toString();
    const QString oldFile = item->data(VellFilterPresetsTable::FileNameRole).toString();
    const QString folder = filter->getPresetsPath() + QLatin1Char('/');
    if (newName == oldDisplay) {
        // Nothing to rename.
    } else if (newName.isEmpty()) {
        item->setText(oldDisplay);
    } else if (!QFile::rename(folder + oldFile, folder + newName)) {
        item->setText(oldFile);
        VellMessageBox::about(tr("Failed"), tr("Failed to rename preset to: ") + newName);
    } else {
        item->setData(VellFilterPresetsTable::FileNameRole, newName);
        item->setData(VellFilterPresetsTable::DisplayNameRole, newName);
        const QString namesPath = folder + newName + QLatin1String(kNameSuffix);
        if (QFile::rename(folder + oldFile + QLatin1String(kNameSuffix), namesPath)) {
            QFile names(namesPath);
            if (names.open(QIODevice::ReadOnly)) {
                QString text = QString::fromUtf8(names.readAll()).trimmed();
                names.close();
                text.replace(oldDisplay, newName, Qt::CaseSensitive);
                if (names.open(QIODevice::WriteOnly | QIODevice::Truncate))
                    names.write(text.toUtf8());
            }
        }
    }
    editArmed = true;
}

void VellFilterPresetsWidget::showEvent(QShowEvent *event)
{
    QWidget::showEvent(event);
    shown = true;
}

VellLayer *VellFilterPresetsWidget::activeImageLayer()
{
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    if (!document)
        return nullptr;
    VellLayerBase *active = document->getLayerManager()->getActiveLayer();
    if (!active || active->getType() != VellLayerType::Raster)
        return nullptr;
    return qobject_cast<VellLayer *>(active);
}
