#ifndef VELLFILTERPRESETPREVIEW_H
#define VELLFILTERPRESETPREVIEW_H

#include <QPushButton>
#include <QString>

// A button standing for one preset, named after it, that says when the
// pointer enters and leaves it.
class VellFilterPresetPreview : public QPushButton
{
    Q_OBJECT

public:
    explicit VellFilterPresetPreview(QWidget *parent = nullptr) : QPushButton(parent) {}
    VellFilterPresetPreview(const QString &text, QWidget *parent = nullptr) : QPushButton(text, parent) {}
    VellFilterPresetPreview(const QIcon &icon, const QString &text, QWidget *parent = nullptr)
        : QPushButton(icon, text, parent)
    {
    }

    void setName(const QString &value) { name = value; }
    QString getName() const { return name; }

signals:
    void enteredIn();
    void leftOut();

protected:
    void enterEvent(QEvent *event) override;
    void leaveEvent(QEvent *event) override;

private:
    QString name;
};

#endif // VELLFILTERPRESETPREVIEW_H
