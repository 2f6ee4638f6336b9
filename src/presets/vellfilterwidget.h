#ifndef VELLFILTERWIDGET_H
#define VELLFILTERWIDGET_H

#include <QWidget>

// The base of a filter's parameter panel. On the panel, a double click
// toggles the canvas between the filtered preview and the unfiltered layer,
// and holding Space shows the unfiltered layer until it is released; both
// only while a document and the canvas exist.
//
// updateWidget() brings the panel's controls in line with the tool's
// parameters; while updating is off (setUpdating(false)) a panel should not
// ask the tool for a preview from its value-changed handlers, so a caller
// can set many values and ask once.
class VellFilterWidget : public QWidget
{
    Q_OBJECT

public:
    explicit VellFilterWidget(QWidget *parent = nullptr) : QWidget(parent) {}

    virtual void updateWidget() {}
    virtual void setUpdating(bool on) { updating = on; }
    bool isUpdating() const { return updating; }

protected:
    bool event(QEvent *event) override;

    bool updating = true;
};

#endif // VELLFILTERWIDGET_H
