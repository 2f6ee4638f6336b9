#ifndef VELLINPUTDIALOG_H
#define VELLINPUTDIALOG_H

#include <QDialog>
#include <QLineEdit>

class QLabel;
class QPushButton;

// Asks for one line of text, used to name presets. The text is limited to 50
// letters, digits, underscores, spaces and hyphens, so it can become part of a
// file name. GUI thread only.
class VellInputDialog : public QDialog
{
    Q_OBJECT

public:
    explicit VellInputDialog(QWidget *parent = nullptr, Qt::WindowFlags flags = Qt::WindowFlags());

    QString textValue() const;
    void setTextValue(const QString &text);   // not checked against the validator
    void setTextEchoMode(QLineEdit::EchoMode mode);
    void setLabelText(const QString &text);

    // Runs a dialog modally. Returns the edited text when the user accepts
    // (an empty field gives an empty, non-null string) and a null string when
    // they cancel; *ok, when given, says which.
    static QString getText(QWidget *parent, const QString &title, const QString &label,
                           QLineEdit::EchoMode mode = QLineEdit::Normal,
                           const QString &text = QString(), bool *ok = nullptr,
                           Qt::WindowFlags flags = Qt::WindowFlags());

private:
    QLabel *m_label = nullptr;        // children of the dialog
    QLineEdit *m_lineEdit = nullptr;
    QPushButton *m_okBtn = nullptr;
    QPushButton *m_cancelBtn = nullptr;
};

#endif // VELLINPUTDIALOG_H
