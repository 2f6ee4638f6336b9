#ifndef VELLMESSAGEBOX_H
#define VELLMESSAGEBOX_H

#include <QMessageBox>
#include <QString>

#include <functional>

// The one place through which the library shows message boxes. By default a
// box is a parentless QMessageBox; without a QApplication (headless hosts) the
// message goes to standard error instead, since no widget can be shown.
// Hosts and tests install a presenter of their own to capture or redirect
// every message.
class VellMessageBox
{
public:
    enum Kind { Information, Warning, Critical, About };

    struct Message
    {
        Kind kind = Information;
        QString title;
        QString text;
        QMessageBox::StandardButtons buttons = QMessageBox::Ok;
        QMessageBox::StandardButton defaultButton = QMessageBox::NoButton;
    };

    // Returns the button the user chose (Ok for boxes with one button).
    using Presenter = std::function<QMessageBox::StandardButton(const Message &)>;

    // Installs a presenter and returns the previous one; an empty presenter
    // restores the default. GUI thread only.
    static Presenter setPresenter(Presenter presenter);

    static QMessageBox::StandardButton show(const Message &message);

    static void information(const QString &title, const QString &text);
    static void critical(const QString &title, const QString &text);
    static void about(const QString &title, const QString &text);
    static QMessageBox::StandardButton warning(const QString &title, const QString &text,
                                               QMessageBox::StandardButtons buttons,
                                               QMessageBox::StandardButton defaultButton);

private:
    static QMessageBox::StandardButton showDefault(const Message &message);
};

#endif // VELLMESSAGEBOX_H
