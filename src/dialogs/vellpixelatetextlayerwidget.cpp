#include "dialogs/vellpixelatetextlayerwidget.h"

#include "dialogs/velldialogbuttonrow.h"

#include <QBoxLayout>
#include <QCheckBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

VellPixelateTextLayerWidget::VellPixelateTextLayerWidget(QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(tr("Text Pixelation"));

    auto *group = new QGroupBox(tr("Pixelation Options"), this);
    group->setObjectName("expandGroup");
    auto *grid = new QGridLayout(group);
    grid->addWidget(new QLabel(tr("Expand the text layer(in pixels)"), group), 0, 0, 1, 4);
    const auto addEdit = [group, grid](const QString &label, const char *name, int row, int column) {
        auto *edit = new QLineEdit(QStringLiteral("20"), group);
        edit->setObjectName(name);
        grid->addWidget(new QLabel(label, group), row, column);
        grid->addWidget(edit, row, column + 1);
        return edit;
    };
    m_leftEdit = addEdit(tr("Left:"), "leftEdit", 1, 0);
    m_rightEdit = addEdit(tr("Right:"), "rightEdit", 1, 2);
    m_topEdit = addEdit(tr("Top:"), "topEdit", 2, 0);
    m_bottomEdit = addEdit(tr("Bottom:"), "bottomEdit", 2, 2);

    m_expandCanvasCheck = new QCheckBox(tr("Expand to whole canvas"), this);
    m_expandCanvasCheck->setObjectName("expandCanvasCheck");

    auto *buttons = new VellDialogButtonRow(this, tr("Confirm to pixelate"), tr("Cancel"));
    m_okBtn = buttons->okButton();
    m_cancelBtn = buttons->cancelButton();

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(group);
    layout->addWidget(m_expandCanvasCheck);
    layout->addLayout(buttons);

    QMetaObject::connectSlotsByName(this);
}

void VellPixelateTextLayerWidget::getExpansion(int &left, int &right, int &top, int &bottom) const
{
    left = m_leftEdit->text().toInt();
    right = m_rightEdit->text().toInt();
    top = m_topEdit->text().toInt();
    bottom = m_bottomEdit->text().toInt();
}

bool VellPixelateTextLayerWidget::isExpandToCanvas() const
{
    return m_expandCanvasCheck->isChecked();
}

void VellPixelateTextLayerWidget::on_okBtn_clicked()
{
    accept();
}

void VellPixelateTextLayerWidget::on_cancelBtn_clicked()
{
    reject();
}
