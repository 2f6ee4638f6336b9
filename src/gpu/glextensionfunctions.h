#ifndef GLEXTENSIONFUNCTIONS_H
#define GLEXTENSIONFUNCTIONS_H

// qopengl.h brings in <GL/gl.h> and the PFNGL...PROC types of <GL/glext.h>.
#include <qopengl.h>

class QGLContext;

// The GL entry points that the platform's headers do not declare directly:
// ARB shader objects, EXT framebuffer objects, the OpenGL 1.5 buffer and
// texture calls, and ARB multitexturing. There is one process-wide table,
// getGLExtensionFunctions(); every caller of these functions goes through it
// after testing the group it needs.
//
// Every slot is null until resolve() has run. The order of the slots is part
// of the interface: three contiguous groups (0-15, 16-25, 26-33) and slot 34,
// which belongs to none. GUI thread only.
struct GLExtensionFunctions
{
    // Looks up all 35 entry points, in slot order, in `context`, which must
    // be current. Some drivers hand out pointers for functions they do not
    // implement, so a group that the context neither advertises (extension
    // string) nor contains (GL version) is left null. May run again for a new
    // context and overwrites the table. True only if all 35 were found; a
    // null or invalid context clears the table and returns false.
    bool resolve(const QGLContext *context);

    bool glslSupported() const;       // slots 0-15 non-null
    bool fboSupported() const;        // slots 16-25 non-null
    bool openGL15Supported() const;   // slots 26-33 non-null

    // Shader objects (slots 0-15).
    PFNGLCREATESHADEROBJECTARBPROC glCreateShaderObjectARB = nullptr;
    PFNGLSHADERSOURCEARBPROC glShaderSourceARB = nullptr;
    PFNGLCOMPILESHADERARBPROC glCompileShaderARB = nullptr;
    PFNGLGETOBJECTPARAMETERIVARBPROC glGetObjectParameterivARB = nullptr;
    PFNGLDELETEOBJECTARBPROC glDeleteObjectARB = nullptr;
    PFNGLGETINFOLOGARBPROC glGetInfoLogARB = nullptr;
    PFNGLCREATEPROGRAMOBJECTARBPROC glCreateProgramObjectARB = nullptr;
    PFNGLATTACHOBJECTARBPROC glAttachObjectARB = nullptr;
    PFNGLDETACHOBJECTARBPROC glDetachObjectARB = nullptr;
    PFNGLLINKPROGRAMARBPROC glLinkProgramARB = nullptr;
    PFNGLUSEPROGRAMOBJECTARBPROC glUseProgramObjectARB = nullptr;
    PFNGLGETUNIFORMLOCATIONARBPROC glGetUniformLocationARB = nullptr;
    PFNGLUNIFORM1IARBPROC glUniform1iARB = nullptr;
    PFNGLUNIFORM1FARBPROC glUniform1fARB = nullptr;
    PFNGLUNIFORM4FARBPROC glUniform4fARB = nullptr;
    PFNGLUNIFORMMATRIX4FVARBPROC glUniformMatrix4fvARB = nullptr;

    // Framebuffer objects (slots 16-25).
    PFNGLGENFRAMEBUFFERSEXTPROC glGenFramebuffersEXT = nullptr;
    PFNGLGENRENDERBUFFERSEXTPROC glGenRenderbuffersEXT = nullptr;
    PFNGLBINDRENDERBUFFEREXTPROC glBindRenderbufferEXT = nullptr;
    PFNGLRENDERBUFFERSTORAGEEXTPROC glRenderbufferStorageEXT = nullptr;
    PFNGLDELETEFRAMEBUFFERSEXTPROC glDeleteFramebuffersEXT = nullptr;
    PFNGLDELETERENDERBUFFERSEXTPROC glDeleteRenderbuffersEXT = nullptr;
    PFNGLBINDFRAMEBUFFEREXTPROC glBindFramebufferEXT = nullptr;
    PFNGLFRAMEBUFFERTEXTURE2DEXTPROC glFramebufferTexture2DEXT = nullptr;
    PFNGLFRAMEBUFFERRENDERBUFFEREXTPROC glFramebufferRenderbufferEXT = nullptr;
    PFNGLCHECKFRAMEBUFFERSTATUSEXTPROC glCheckFramebufferStatusEXT = nullptr;

    // OpenGL 1.5 (slots 26-33).
    PFNGLACTIVETEXTUREPROC glActiveTexture = nullptr;
    PFNGLTEXIMAGE3DPROC glTexImage3D = nullptr;
    PFNGLGENBUFFERSPROC glGenBuffers = nullptr;
    PFNGLBINDBUFFERPROC glBindBuffer = nullptr;
    PFNGLBUFFERDATAPROC glBufferData = nullptr;
    PFNGLDELETEBUFFERSPROC glDeleteBuffers = nullptr;
    PFNGLMAPBUFFERPROC glMapBuffer = nullptr;
    PFNGLUNMAPBUFFERPROC glUnmapBuffer = nullptr;

    // Multitexture (slot 34, no group).
    PFNGLMULTITEXCOORD2FARBPROC glMultiTexCoord2fARB = nullptr;
};

// The one table of the process (a function-local static).
GLExtensionFunctions &getGLExtensionFunctions();

#endif // GLEXTENSIONFUNCTIONS_H
