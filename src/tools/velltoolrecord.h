#ifndef VELLTOOLRECORD_H
#define VELLTOOLRECORD_H

#include <QObject>
#include <QString>

class QDataStream;
class VellContext;
class VellToolBase;
class VellToolManager;

// A record of applied filters in a stream the host provides: per apply, the
// tool's id (a QString) followed by whatever its serializeParams writes. The
// stream's version and byte order are the host's.
//
// Recording happens only while `recording` is set. Playing a record back
// only names the first tool it holds (PlayChange); batch actions are the
// working replay. Does not own the stream. GUI thread.
class VellToolRecord : public QObject
{
    Q_OBJECT

public:
    explicit VellToolRecord(QObject *parent = nullptr) : QObject(parent) {}

    // Appends the tool's id and parameters and announces the tool's name;
    // nothing while not recording or without a stream.
    void Recode(VellToolBase *tool);
    // From the start of the stream: reads the first id and announces the
    // name of the tool the manager knows by it. Nothing for an empty stream
    // or an unknown id.
    void Play(VellToolManager *manager, VellContext *context);

    bool recording = false;
    QDataStream *stream = nullptr;   // not owned

signals:
    void PlayChange(QString &name);
    void RecodeChange(QString &name);
};

#endif // VELLTOOLRECORD_H
