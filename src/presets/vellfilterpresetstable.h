#ifndef VELLFILTERPRESETSTABLE_H
#define VELLFILTERPRESETSTABLE_H

#include <QImage>
#include <QStringList>
#include <QTableWidget>
#include <QVector>

// The grid of preset thumbnails: as many columns of thumbnails as the width
// holds, each cell the thumbnail above its caption. Item data: the caption
// (display role, bottom-aligned), the preset's file name under FileNameRole
// and its caption under DisplayNameRole.
//
// The thumbnails, captions and file names are borrowed from the presets
// widget (setContent) and must outlive the next draw(). GUI thread only.
class VellFilterPresetsTable : public QTableWidget
{
    Q_OBJECT

public:
    enum Role { FileNameRole = 8888, DisplayNameRole = 9999 };
    static constexpr int kHeight = 200;

    explicit VellFilterPresetsTable(QWidget *parent = nullptr);

    // Borrows the three lists (same length) and draws them.
    void setContent(QVector<QImage> *thumbs, QStringList *displayNames, QStringList *fileNames);
    // Columns that fit the viewport: its width / (column 0's width + 5), at
    // least 1.
    int calcColumnCount();
    // Columns from calcColumnCount(), rows enough for `count` items.
    void setItemCount(int count);
    // Places item `index` row by row; the first item of a row sets the row's
    // height (icon height + 20), an item of row 0 its column's width (icon
    // width + 10).
    void setItem(int index, QTableWidgetItem *item);
    // Rebuilds every item from the borrowed lists.
    void draw();

signals:
    void mouseEnter();
    void mouseLeave();

protected:
    void resizeEvent(QResizeEvent *event) override;
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;
    QStyleOptionViewItem viewOptions() const override;

private:
    QVector<QImage> *thumbs = nullptr;     // not owned
    QStringList *displayNames = nullptr;   // not owned
    QStringList *fileNames = nullptr;      // not owned
    int columns = 1;
};

#endif // VELLFILTERPRESETSTABLE_H
