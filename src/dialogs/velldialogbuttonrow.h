#ifndef VELLDIALOGBUTTONROW_H
#define VELLDIALOGBUTTONROW_H

#include <QHBoxLayout>

class QPushButton;
class QWidget;

// The confirm / cancel row at the foot of the library's dialogs: right
// aligned, the confirm button the default one. The buttons are children of
// `dialog`, named "okBtn" and "cancelBtn" so slots named after them connect
// by name. Texts come translated from the dialog.
class VellDialogButtonRow : public QHBoxLayout
{
    Q_OBJECT

public:
    VellDialogButtonRow(QWidget *dialog, const QString &okText, const QString &cancelText);

    QPushButton *okButton() const { return m_ok; }          // owned by the dialog
    QPushButton *cancelButton() const { return m_cancel; }  // owned by the dialog

private:
    QPushButton *m_ok = nullptr;
    QPushButton *m_cancel = nullptr;
};

#endif // VELLDIALOGBUTTONROW_H
