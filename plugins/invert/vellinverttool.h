#ifndef VELLINVERTTOOL_H
#define VELLINVERTTOOL_H

#include "tools/velltoolbase.h"

// Invert: the smallest complete filter, and the one to copy when writing a
// new one. It has no parameters, so all it does is name itself and its
// shader; the tool base previews, applies, records undo and keeps presets.
class VellInvertTool : public VellToolBase
{
    Q_OBJECT

public:
    explicit VellInvertTool(QObject *parent = nullptr);
};

#endif // VELLINVERTTOOL_H
