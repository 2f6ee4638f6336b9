#ifndef VELLPIXELATETEXTLAYERWIDGET_H
#define VELLPIXELATETEXTLAYERWIDGET_H

#include <QDialog>

class QCheckBox;
class QLineEdit;
class QPushButton;

// Asks how far to grow a text layer on each side before it is turned into
// pixels, so strokes and shadows reaching past the text's box survive, or
// whether to grow it to the whole canvas. GUI thread only.
class VellPixelateTextLayerWidget : public QDialog
{
    Q_OBJECT

public:
    explicit VellPixelateTextLayerWidget(QWidget *parent = nullptr);

    // The four edits as decimal integers in pixels; 0 for one that isn't a number.
    void getExpansion(int &left, int &right, int &top, int &bottom) const;
    bool isExpandToCanvas() const;

public slots:
    void on_okBtn_clicked();
    void on_cancelBtn_clicked();

private:
    QLineEdit *m_leftEdit = nullptr;    // children of the dialog
    QLineEdit *m_rightEdit = nullptr;
    QLineEdit *m_topEdit = nullptr;
    QLineEdit *m_bottomEdit = nullptr;
    QCheckBox *m_expandCanvasCheck = nullptr;
    QPushButton *m_okBtn = nullptr;
    QPushButton *m_cancelBtn = nullptr;
};

#endif // VELLPIXELATETEXTLAYERWIDGET_H
