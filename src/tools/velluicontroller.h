#ifndef VELLUICONTROLLER_H
#define VELLUICONTROLLER_H

#include <QList>
#include <QObject>
#include <QString>
#include <QVariant>

// How library code asks the host's user interface for something: it calls
// one of these, and the host, which connected the signals, does it. The
// controller itself does nothing else.
//
// Process-wide singleton; GUI thread (the host chooses direct or queued
// connections).
class VellUIController : public QObject
{
    Q_OBJECT

public:
    // Made on the first call, with that call's parent.
    static VellUIController *getInstance(QObject *parent = nullptr);
    ~VellUIController() override;

    // The texts go out unchanged; a filter tool with a widget locks with
    // ("Filter", "") while it is active.
    void lockUI(const QString &owner, const QString &text) { emit lockUISignal(owner, text); }
    void unlockUI() { emit unlockUISignal(); }
    void notifyUI(const QString &what, const QList<QVariant> &values) { emit notice(what, values); }
    void UICleanExif() { emit cleanExif(); }

signals:
    void lockUISignal(QString owner, QString text);
    void unlockUISignal();
    void notice(QString what, QList<QVariant> values);
    void cleanExif();

private:
    explicit VellUIController(QObject *parent) : QObject(parent) {}

    static VellUIController *instance;
};

#endif // VELLUICONTROLLER_H
