#ifndef VELLBATCHACTION_H
#define VELLBATCHACTION_H

#include <QString>

class QDataStream;

// One recorded step of a batch: its kind (a VellBatchAction::Type) and the
// text shown for it. Actions are plain classes without virtual functions;
// the kind says which class an action is, and destroy() deletes one as that
// class. VellBatchActionRecord owns the actions added to it.
class VellBatchAction
{
public:
    enum Type { Filter = 0, Resize = 1, Rotation = 2, Logo = 3, Text = 4 };

    int getType() const { return type; }
    QString getName() const { return name; }
    void setName(const QString &text) { name = text; }

    // Deletes `action` as the class its type names (null does nothing).
    static void destroy(VellBatchAction *action);

    // Every body starts with the name and the type again.
    void writeHead(QDataStream &out) const;
    // Reads that head into *text. False, with the stream's status set to
    // ReadCorruptData when the type is not `expected`, when it is not whole.
    static bool readHead(QDataStream &in, int expected, QString *text);

protected:
    // Only the step classes make actions, so the type always names the class.
    explicit VellBatchAction(int type) : type(type) {}

    int type;
    QString name;
};

#endif // VELLBATCHACTION_H
