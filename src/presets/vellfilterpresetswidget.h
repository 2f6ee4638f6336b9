#ifndef VELLFILTERPRESETSWIDGET_H
#define VELLFILTERPRESETSWIDGET_H

#include "tools/ivelltool.h"

#include <QImage>
#include <QStringList>
#include <QVector>
#include <QWidget>

class QHBoxLayout;
class QPushButton;
class QShowEvent;
class QTableWidgetItem;
class QVBoxLayout;
class VellFilterPresetsTable;
class VellGLTexture2D;
class VellLayer;
class VellToolBase;

// The presets browser below a filter's parameter panel: a "Presets>>>"
// button that expands a table of preset thumbnails (each the tool's result
// on the visible part of the layer), with buttons to save the current
// parameters as a preset and to delete the selected one.
//
// While the pointer is over the table, hovering a thumbnail previews its
// preset on the canvas; leaving the table brings back the parameters the
// user had when it entered; clicking a thumbnail makes its preset the
// user's parameters. Editing a caption renames the preset's file and its
// ".name" companion.
//
// Captions come from the ".name" file: its line for the language stored
// under "language" in the data location's config.ini, else the file name.
//
// Made for each tool by the maker this floor installs in the tool base
// (VellToolBase::setPresetsViewMaker); the tool then owns it. Without a
// tool every action does nothing. GUI thread, with the canvas's context.
class VellFilterPresetsWidget : public QWidget, public IVellPresetsView
{
    Q_OBJECT

public:
    explicit VellFilterPresetsWidget(QWidget *parent = nullptr);
    ~VellFilterPresetsWidget() override;

    void setFilter(VellToolBase *tool) { filter = tool; }   // not owned
    bool expanded() const { return isExpandedFlag; }

    // ---- IVellPresetsView ----
    QWidget *widget() override { return this; }
    bool isExpanded() const override { return isExpandedFlag; }
    // Renders every preset of the tool from `source` (presets whose
    // thumbnail fails are left out) and shows them.
    void updatePreviews(VellLayer *layer, VellGLTexture2D *source) override;

    // The caption of preset `fileName` in `folder`.
    static QString getDisplayName(const QString &folder, const QString &fileName);

    VellFilterPresetsTable *getTable() const { return table; }
    QPushButton *getPresetsButton() const { return presetsButton; }
    QPushButton *getSaveButton() const { return saveButton; }
    QPushButton *getDeleteButton() const { return deleteButton; }
    const QVector<QImage> &getThumbs() const { return thumbs; }

signals:
    // For listeners; nothing here emits them.
    void presetHover(int presetId);
    void presetClicked(int presetId);

public slots:
    void on_presetsButton_clicked();
    void on_saveButton_clicked();
    void on_deleteButton_clicked();
    void on_clearButton_clicked() {}
    void on_renameButton_clicked() {}
    void on_previewButton_clicked() {}
    void on_previewButton_entered_in() {}
    void on_previewButton_left_out() {}
    void expand();
    void collapse();
    void onItemEntered(QTableWidgetItem *item);
    void onItemClicked(QTableWidgetItem *item);
    void onItemChanged(QTableWidgetItem *item);
    void onItemDoubleClicked(QTableWidgetItem *item) { Q_UNUSED(item) }
    void onEnteredIn();
    void onLeftOut();

protected:
    void showEvent(QShowEvent *event) override;

private:
    // The preview again with the tool's current parameters, with the panel
    // showing them first.
    void refreshPreview();
    // The current document's active layer when it is an image layer.
    static VellLayer *activeImageLayer();

    VellToolBase *filter = nullptr;          // not owned
    QPushButton *presetsButton = nullptr;    // children of this widget
    QPushButton *saveButton = nullptr;
    QPushButton *deleteButton = nullptr;
    QPushButton *clearButton = nullptr;
    QPushButton *renameButton = nullptr;
    VellFilterPresetsTable *table = nullptr;
    QHBoxLayout *headerLayout = nullptr;
    QVBoxLayout *mainLayout = nullptr;
    bool isExpandedFlag = false;
    bool editArmed = true;
    bool shown = false;
    // What the table shows; it borrows them.
    QVector<QImage> thumbs;
    QStringList displayNames;
    QStringList fileNames;
};

#endif // VELLFILTERPRESETSWIDGET_H
