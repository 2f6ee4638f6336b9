#ifndef IVELLREPLAYTOOL_H
#define IVELLREPLAYTOOL_H

#include <QString>

class QDataStream;

// What a filter tool offers the history so that a recorded application can
// be replayed: its name, reading back the parameters it wrote, and applying
// itself with them to the whole active layer. The tool base implements it.
class IVellReplayTool
{
public:
    virtual ~IVellReplayTool() = default;

    virtual QString getName() const = 0;
    // Reads the parameters from `in` (a read-only stream on the bytes the
    // tool saved when it applied, Qt 4.8 encoding).
    virtual void restoreParameters(QDataStream &in) = 0;
    // Applies the tool with its present parameters to the whole active
    // layer, synchronously.
    virtual void applyToEntireLayer() = 0;
};

#endif // IVELLREPLAYTOOL_H
