#include "dialogs/vellreadimageresizewidget.h"

#include "foundation/vellglobalsettings.h"

#include "dialogs/velldialogbuttonrow.h"

#include <QBoxLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QIntValidator>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScopedValueRollback>

#include <algorithm>
#include <cmath>

namespace {

// floor(value * num / den) for positive den, exact where a double quotient
// is not: 7200.0 / 8467 * 8467 truncates to 7199.
int scaledFloor(int value, int num, int den)
{
    return int(qint64(value) * num / den);
}

// Refuses a number above the top outright. Qt 5's QIntValidator lets one with
// no more digits than the top through as Intermediate (9999 against 7200), and
// the aspect lock would carry it over into the other edit.
class StrictIntValidator : public QIntValidator
{
public:
    using QIntValidator::QIntValidator;

    State validate(QString &input, int &pos) const override
    {
        const State state = QIntValidator::validate(input, pos);
        return state == Intermediate && input.toInt() > top() ? Invalid : state;
    }
};

QLineEdit *sizeEdit(const char *name, QWidget *parent)
{
    auto *edit = new QLineEdit(parent);
    edit->setObjectName(name);
    return edit;
}

} // namespace

VellReadImageResizeWidget::VellReadImageResizeWidget(QWidget *parent)
    : QDialog(parent)
{
    setWindowTitle(tr("Resize Image"));

    m_widthEdit = sizeEdit("widthEdit", this);
    m_heightEdit = sizeEdit("heightEdit", this);
    auto *group = new QGroupBox(tr("Resize to"), this);
    auto *grid = new QGridLayout(group);
    grid->addWidget(new QLabel(tr("Width:"), group), 0, 0);
    grid->addWidget(m_widthEdit, 0, 1);
    grid->addWidget(new QLabel(tr("Pixels"), group), 0, 2);
    grid->addWidget(new QLabel(tr("Height:"), group), 1, 0);
    grid->addWidget(m_heightEdit, 1, 1);
    grid->addWidget(new QLabel(tr("Pixels"), group), 1, 2);

    auto *buttons = new VellDialogButtonRow(this, tr("Ok"), tr("Cancel"));
    m_okBtn = buttons->okButton();
    m_cancelBtn = buttons->cancelButton();

    auto *layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(tr("The image exceeds the  maximum size your system supports."), this));
    layout->addWidget(new QLabel(tr("Please resize it before editing. This will not affect the\noriginal image."), this));
    layout->addWidget(group);
    layout->addLayout(buttons);

    QMetaObject::connectSlotsByName(this);
}

void VellReadImageResizeWidget::setOriginalSize(QSize size)
{
    m_originalSize = size.expandedTo(QSize(1, 1));
    initValidators();
    m_sync = true;
}

void VellReadImageResizeWidget::initValidators()
{
    if (m_originalSize.width() <= 0 || m_originalSize.height() <= 0)
        return;   // no original size yet
    const QScopedValueRollback<bool> noLock(m_sync, false);   // presetting must not run the aspect lock
    const QSize proposed = proposedSize(m_originalSize);
    const int maxW = proposed.width(), maxH = proposed.height();

    // Plain digits only, so the text reads back with QString::toInt.
    QLocale digits = QLocale::c();
    digits.setNumberOptions(QLocale::RejectGroupSeparator);
    auto *widthValidator = new StrictIntValidator(1, maxW, m_widthEdit);
    auto *heightValidator = new StrictIntValidator(1, maxH, m_heightEdit);
    widthValidator->setLocale(digits);
    heightValidator->setLocale(digits);
    const QValidator *oldWidth = m_widthEdit->validator(), *oldHeight = m_heightEdit->validator();
    m_widthEdit->setValidator(widthValidator);
    m_heightEdit->setValidator(heightValidator);
    delete oldWidth;   // a second call replaces the first pair
    delete oldHeight;
    m_widthEdit->setText(QString::number(maxW));
    m_heightEdit->setText(QString::number(maxH));
}

QSize VellReadImageResizeWidget::proposedSize(QSize original)
{
    const VellGlobalSettings *settings = VellGlobalSettings::getInstance();
    const QSize limit = settings->getImageLimitSize();
    const int limitX = std::max(limit.width(), 1), limitY = std::max(limit.height(), 1);
    const int w = std::max(original.width(), 1), h = std::max(original.height(), 1);

    // The largest scale that satisfies all three limits. Where a side limit
    // binds, that side is the limit exactly and the other follows in integers.
    const double sx = double(limitX) / w, sy = double(limitY) / h;
    const double sp = std::sqrt(double(settings->getImageLimitPixel()) * 1048576.0 / (double(w) * h));
    int maxW, maxH;
    if (sx <= sy && sx <= sp) {
        maxW = limitX;
        maxH = scaledFloor(h, limitX, w);
    } else if (sy <= sp) {
        maxW = scaledFloor(w, limitY, h);
        maxH = limitY;
    } else {
        maxW = int(w * sp);
        maxH = int(h * sp);
    }
    // A very long, thin image rounds its short side to zero.
    return QSize(std::clamp(maxW, 1, limitX), std::clamp(maxH, 1, limitY));
}

QSize VellReadImageResizeWidget::getResizedSize() const
{
    const QSize limit = VellGlobalSettings::getInstance()->getImageLimitSize();
    return QSize(std::clamp(m_widthEdit->text().toInt(), 1, std::max(limit.width(), 1)),
                 std::clamp(m_heightEdit->text().toInt(), 1, std::max(limit.height(), 1)));
}

void VellReadImageResizeWidget::on_okBtn_clicked()
{
    accept();
}

void VellReadImageResizeWidget::on_cancelBtn_clicked()
{
    reject();
}

void VellReadImageResizeWidget::on_widthEdit_textChanged(const QString &text)
{
    if (!m_sync)
        return;
    m_sync = false;
    m_heightEdit->setText(QString::number(scaledFloor(text.toInt(), m_originalSize.height(), m_originalSize.width())));
    m_sync = true;
}

void VellReadImageResizeWidget::on_heightEdit_textChanged(const QString &text)
{
    if (!m_sync)
        return;
    m_sync = false;
    m_widthEdit->setText(QString::number(scaledFloor(text.toInt(), m_originalSize.width(), m_originalSize.height())));
    m_sync = true;
}
