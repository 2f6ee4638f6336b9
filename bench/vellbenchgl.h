#ifndef VELLBENCHGL_H
#define VELLBENCHGL_H

// The GL set-up shared by the GPU benchmarks.

#include "gpu/glextensionfunctions.h"

#include <QGLWidget>

#include <cstdio>

// Makes the widget's context current, resolves the extension table and
// prints the driver. False (with a message) when no context can be made.
inline bool vellBenchMakeCurrent(QGLWidget &widget)
{
    if (!widget.isValid()) {
        std::fprintf(stderr, "no GL context (run under xvfb-run -a)\n");
        return false;
    }
    widget.makeCurrent();
    getGLExtensionFunctions().resolve(widget.context());
    std::printf("GL: %s / %s\n", reinterpret_cast<const char *>(glGetString(GL_VENDOR)),
                reinterpret_cast<const char *>(glGetString(GL_RENDERER)));
    return true;
}

#endif // VELLBENCHGL_H
