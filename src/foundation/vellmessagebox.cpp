#include "foundation/vellmessagebox.h"

#include <QApplication>

#include <cstdio>

namespace {

VellMessageBox::Presenter &currentPresenter()
{
    static VellMessageBox::Presenter presenter;
    return presenter;
}

} // namespace

VellMessageBox::Presenter VellMessageBox::setPresenter(Presenter presenter)
{
    Presenter previous = currentPresenter();
    currentPresenter() = std::move(presenter);
    return previous;
}

QMessageBox::StandardButton VellMessageBox::show(const Message &message)
{
    const Presenter &presenter = currentPresenter();
    return presenter ? presenter(message) : showDefault(message);
}

QMessageBox::StandardButton VellMessageBox::showDefault(const Message &message)
{
    if (!qobject_cast<QApplication *>(QCoreApplication::instance())) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(message.title), qPrintable(message.text));
        if (message.defaultButton != QMessageBox::NoButton)
            return message.defaultButton;
        return QMessageBox::Ok;
    }
    switch (message.kind) {
    case Information:
        return QMessageBox::information(nullptr, message.title, message.text, message.buttons,
                                        message.defaultButton);
    case Warning:
        return QMessageBox::warning(nullptr, message.title, message.text, message.buttons,
                                    message.defaultButton);
    case Critical:
        return QMessageBox::critical(nullptr, message.title, message.text, message.buttons,
                                     message.defaultButton);
    case About:
        QMessageBox::about(nullptr, message.title, message.text);
        return QMessageBox::Ok;
    }
    return QMessageBox::NoButton;
}

void VellMessageBox::information(const QString &title, const QString &text)
{
    show({Information, title, text, QMessageBox::Ok, QMessageBox::NoButton});
}

void VellMessageBox::critical(const QString &title, const QString &text)
{
    show({Critical, title, text, QMessageBox::Ok, QMessageBox::NoButton});
}

void VellMessageBox::about(const QString &title, const QString &text)
{
    show({About, title, text, QMessageBox::Ok, QMessageBox::NoButton});
}

QMessageBox::StandardButton VellMessageBox::warning(const QString &title, const QString &text,
                                                    QMessageBox::StandardButtons buttons,
                                                    QMessageBox::StandardButton defaultButton)
{
    return show({Warning, title, text, buttons, defaultButton});
}
