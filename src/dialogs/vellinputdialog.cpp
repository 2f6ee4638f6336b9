#include "dialogs/vellinputdialog.h"

#include "dialogs/velldialogbuttonrow.h"

#include <QBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QRegExpValidator>

VellInputDialog::VellInputDialog(QWidget *parent, Qt::WindowFlags flags)
    : QDialog(parent, flags)
{
    m_label = new QLabel(this);
    m_label->setObjectName("label");
    m_lineEdit = new QLineEdit(this);
    m_lineEdit->setObjectName("lineEdit");
    m_lineEdit->setMaxLength(50);
    // The name ends up in a preset's file name: no separators or dots.
    m_lineEdit->setValidator(new QRegExpValidator(QRegExp("(\\w| |-)+", Qt::CaseSensitive), m_lineEdit));

    auto *buttons = new VellDialogButtonRow(this, tr("Ok"), tr("Cancel"));
    m_okBtn = buttons->okButton();
    m_cancelBtn = buttons->cancelButton();
    connect(m_okBtn, &QPushButton::clicked, this, &QDialog::accept);
    connect(m_cancelBtn, &QPushButton::clicked, this, &QDialog::reject);

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(m_label);
    layout->addWidget(m_lineEdit);
    layout->addLayout(buttons);
}

QString VellInputDialog::textValue() const
{
    return m_lineEdit->text();
}

void VellInputDialog::setTextValue(const QString &text)
{
    m_lineEdit->setText(text);
}

void VellInputDialog::setTextEchoMode(QLineEdit::EchoMode mode)
{
    m_lineEdit->setEchoMode(mode);
}

void VellInputDialog::setLabelText(const QString &text)
{
    m_label->setText(text);
}

QString VellInputDialog::getText(QWidget *parent, const QString &title, const QString &label,
                                 QLineEdit::EchoMode mode, const QString &text, bool *ok,
                                 Qt::WindowFlags flags)
{
    VellInputDialog dialog(parent, flags);
    dialog.setWindowTitle(title);
    dialog.setLabelText(label);
    dialog.setTextEchoMode(mode);
    dialog.setTextValue(text);
    const bool accepted = dialog.exec() == QDialog::Accepted;
    if (ok)
        *ok = accepted;
    if (!accepted)
        return QString();
    const QString value = dialog.textValue();
    // A null string would read as "cancelled" to callers that pass no ok.
    return value.isNull() ? QString("") : value;
}
