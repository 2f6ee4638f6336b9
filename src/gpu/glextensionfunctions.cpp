#include "gpu/glextensionfunctions.h"

#include <QGLContext>
#include <QOpenGLContext>

#include <cstring>

namespace {

// Slot order of the table; resolve() walks it in this order.
const char *const kEntryPoints[] = {
    "glCreateShaderObjectARB", "glShaderSourceARB", "glCompileShaderARB",
    "glGetObjectParameterivARB", "glDeleteObjectARB", "glGetInfoLogARB",
    "glCreateProgramObjectARB", "glAttachObjectARB", "glDetachObjectARB",
    "glLinkProgramARB", "glUseProgramObjectARB", "glGetUniformLocationARB",
    "glUniform1iARB", "glUniform1fARB", "glUniform4fARB", "glUniformMatrix4fvARB",
    "glGenFramebuffersEXT", "glGenRenderbuffersEXT", "glBindRenderbufferEXT",
    "glRenderbufferStorageEXT", "glDeleteFramebuffersEXT", "glDeleteRenderbuffersEXT",
    "glBindFramebufferEXT", "glFramebufferTexture2DEXT", "glFramebufferRenderbufferEXT",
    "glCheckFramebufferStatusEXT",
    "glActiveTexture", "glTexImage3D", "glGenBuffers", "glBindBuffer", "glBufferData",
    "glDeleteBuffers", "glMapBuffer", "glUnmapBuffer",
    "glMultiTexCoord2fARB",
};

const int kSlotCount = int(sizeof(kEntryPoints) / sizeof(kEntryPoints[0]));
const int kShaderFirst = 0, kShaderEnd = 16;
const int kFboFirst = 16, kFboEnd = 26;
const int kGL15First = 26, kGL15End = 34;
const int kMultiTexture = 34;

// The table is 35 function pointers in slot order and nothing else, so slot i
// lies at byte i * sizeof(Slot). Slots are copied with memcpy, which is
// allowed whatever the pointer's declared type.
using Slot = QFunctionPointer;
static_assert(kSlotCount == 35, "the table has 35 slots");
static_assert(sizeof(GLExtensionFunctions) == 35 * sizeof(Slot),
              "GLExtensionFunctions must hold exactly the 35 slots");

Slot slot(const GLExtensionFunctions *table, int i)
{
    Slot value;
    std::memcpy(&value, reinterpret_cast<const unsigned char *>(table) + i * sizeof(Slot),
                sizeof(Slot));
    return value;
}

void setSlot(GLExtensionFunctions *table, int i, Slot value)
{
    std::memcpy(reinterpret_cast<unsigned char *>(table) + i * sizeof(Slot), &value,
                sizeof(Slot));
}

bool allSet(const GLExtensionFunctions *table, int first, int end)
{
    for (int i = first; i < end; ++i)
        if (!slot(table, i))
            return false;
    return true;
}

void clearRange(GLExtensionFunctions *table, int first, int end)
{
    for (int i = first; i < end; ++i)
        setSlot(table, i, nullptr);
}

} // namespace

bool GLExtensionFunctions::resolve(const QGLContext *context)
{
    *this = GLExtensionFunctions();
    if (!context || !context->isValid())
        return false;   // an invalid QGLContext has nothing to look names up in

    for (int i = 0; i < kSlotCount; ++i)
        setSlot(this, i, context->getProcAddress(QString::fromLatin1(kEntryPoints[i])));

    // Mesa's GLX hands out a dispatch stub for any name, implemented or not,
    // so a pointer alone proves nothing. When the context can be asked, keep
    // a group only if the context advertises or contains it.
    QOpenGLContext *gl = context->contextHandle();
    if (gl && QOpenGLContext::currentContext() == gl) {
        const QPair<int, int> v = gl->format().version();
        const bool gl13 = v >= qMakePair(1, 3);
        const bool gl15 = v >= qMakePair(1, 5);
        if (!gl->hasExtension(QByteArrayLiteral("GL_ARB_shader_objects")))
            clearRange(this, kShaderFirst, kShaderEnd);
        if (!gl->hasExtension(QByteArrayLiteral("GL_EXT_framebuffer_object")))
            clearRange(this, kFboFirst, kFboEnd);
        if (!gl15)
            clearRange(this, kGL15First, kGL15End);
        if (!gl13 && !gl->hasExtension(QByteArrayLiteral("GL_ARB_multitexture")))
            clearRange(this, kMultiTexture, kMultiTexture + 1);
    }
    return allSet(this, 0, kSlotCount);
}

bool GLExtensionFunctions::glslSupported() const
{
    return allSet(this, kShaderFirst, kShaderEnd);
}

bool GLExtensionFunctions::fboSupported() const
{
    return allSet(this, kFboFirst, kFboEnd);
}

bool GLExtensionFunctions::openGL15Supported() const
{
    return allSet(this, kGL15First, kGL15End);
}

GLExtensionFunctions &getGLExtensionFunctions()
{
    static GLExtensionFunctions table;
    return table;
}
