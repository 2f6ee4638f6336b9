#include "dialogs/velldialogbuttonrow.h"

#include <QPushButton>

VellDialogButtonRow::VellDialogButtonRow(QWidget *dialog, const QString &okText,
                                         const QString &cancelText)
{
    m_ok = new QPushButton(okText, dialog);
    m_ok->setObjectName(QStringLiteral("okBtn"));
    m_ok->setDefault(true);   // Return in a field confirms
    m_cancel = new QPushButton(cancelText, dialog);
    m_cancel->setObjectName(QStringLiteral("cancelBtn"));
    addStretch();
    addWidget(m_ok);
    addWidget(m_cancel);
}
