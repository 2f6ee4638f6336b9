#include "presets/vellfilterpresetstable.h"

#include <QHeaderView>
#include <QIcon>
#include <QPixmap>

#include <algorithm>

namespace {

constexpr int kColumnGap = 5;        // between columns, when counting them
constexpr int kCaptionHeight = 20;   // below the icon, in a row
constexpr int kColumnMargin = 10;    // beside the icon, in a column

} // namespace

VellFilterPresetsTable::VellFilterPresetsTable(QWidget *parent) : QTableWidget(parent)
{
    horizontalHeader()->hide();
    verticalHeader()->hide();
    setColumnCount(1);
    setMouseTracking(true);
    setFixedHeight(kHeight);
    setSelectionMode(QAbstractItemView::SingleSelection);
}

QStyleOptionViewItem VellFilterPresetsTable::viewOptions() const
{
    QStyleOptionViewItem options = QTableWidget::viewOptions();
    options.decorationPosition = QStyleOptionViewItem::Top;
    options.decorationAlignment = Qt::AlignHCenter;
    return options;
}

void VellFilterPresetsTable::setContent(QVector<QImage> *images, QStringList *names, QStringList *files)
{
    thumbs = images;
    displayNames = names;
    fileNames = files;
    draw();
}

int VellFilterPresetsTable::calcColumnCount()
{
    columns = std::max(1, viewport()->width() / (columnWidth(0) + kColumnGap));
    return columns;
}

void VellFilterPresetsTable::setItemCount(int count)
{
    calcColumnCount();
    setColumnCount(columns);
    setRowCount((count + columns - 1) / columns);
}

void VellFilterPresetsTable::setItem(int index, QTableWidgetItem *item)
{
    const int row = index / columns, column = index % columns;
    if (column == 0)
        setRowHeight(row, iconSize().height() + kCaptionHeight);
    if (row == 0)
        setColumnWidth(column, iconSize().width() + kColumnMargin);
    QTableWidget::setItem(row, column, item);
}

void VellFilterPresetsTable::draw()
{
    clear();
    const int count = thumbs ? std::min({thumbs->size(), displayNames->size(), fileNames->size()}) : 0;
    if (count == 0) {
        setRowCount(0);
        return;
    }
    setIconSize(thumbs->first().size());
    // The columns are counted with column 0 as wide as it is about to be.
    setColumnWidth(0, iconSize().width() + kColumnMargin);
    setItemCount(count);
    for (int i = 0; i < count; ++i) {
        auto *item = new QTableWidgetItem(QIcon(QPixmap::fromImage(thumbs->at(i))), displayNames->at(i));
        item->setData(Qt::TextAlignmentRole, int(Qt::AlignBottom));
        item->setData(FileNameRole, fileNames->at(i));
        item->setData(DisplayNameRole, displayNames->at(i));
        setItem(i, item);
    }
}

void VellFilterPresetsTable::resizeEvent(QResizeEvent *event)
{
    QTableWidget::resizeEvent(event);
    draw();
}

void VellFilterPresetsTable::enterEvent(QEvent *event)
{
    QTableWidget::enterEvent(event);
    emit mouseEnter();
}

void VellFilterPresetsTable::leaveEvent(QEvent *event)
{
    QTableWidget::leaveEvent(event);
    emit mouseLeave();
}
