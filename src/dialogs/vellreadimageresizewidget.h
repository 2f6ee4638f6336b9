#ifndef VELLREADIMAGERESIZEWIDGET_H
#define VELLREADIMAGERESIZEWIDGET_H

#include <QDialog>
#include <QSize>

class QLineEdit;
class QPushButton;

// Asks the user to shrink an image that exceeds the size limits of the global
// settings before it is opened. It proposes the largest size within the limits
// that keeps the aspect ratio and keeps the two edits in proportion while the
// user types. It only proposes: the caller scales the image to
// getResizedSize(). GUI thread only.
class VellReadImageResizeWidget : public QDialog
{
    Q_OBJECT

public:
    explicit VellReadImageResizeWidget(QWidget *parent = nullptr);

    // Sets the image's size and presets the edits to the proposed size. A zero
    // or negative side counts as one pixel.
    void setOriginalSize(QSize size);
    // Bounds both edits by the largest size within the settings' limits and
    // presets them to it.
    void initValidators();
    // The largest size within the settings' limits that keeps the aspect
    // ratio of `original` (what the dialog proposes); needs no widget.
    static QSize proposedSize(QSize original);
    // The edits' numbers, each clamped to 1 ... the settings' limit.
    QSize getResizedSize() const;

public slots:
    void on_okBtn_clicked();
    void on_cancelBtn_clicked();
    void on_widthEdit_textChanged(const QString &text);
    void on_heightEdit_textChanged(const QString &text);

private:
    QSize m_originalSize;
    bool m_sync = false;   // off while one edit updates the other, so they don't chase each other
    QLineEdit *m_widthEdit = nullptr;    // children of the dialog
    QLineEdit *m_heightEdit = nullptr;
    QPushButton *m_okBtn = nullptr;
    QPushButton *m_cancelBtn = nullptr;
};

#endif // VELLREADIMAGERESIZEWIDGET_H
