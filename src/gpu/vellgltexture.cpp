#include "gpu/vellgltexture.h"

#include "foundation/velllog.h"
#include "foundation/vellmemory.h"
#include "foundation/vellmessagebox.h"
#include "foundation/vellrecovery.h"

#include <QOpenGLContext>

namespace {

VellGLTexture::AllocationErrorHook &errorHook()
{
    static VellGLTexture::AllocationErrorHook hook;
    return hook;
}

GLenum readAllocationError()
{
    const GLenum reported = glGetError();
    const VellGLTexture::AllocationErrorHook &hook = errorHook();
    return hook ? hook(reported) : reported;
}

// Sets one pixel-store alignment for a transfer and gives the caller's value
// back afterwards, so tightly packed one-byte rows do not change how others
// upload.
class AlignmentScope
{
public:
    AlignmentScope(GLenum name, GLint value) : name(name)
    {
        glGetIntegerv(name, &previous);
        glPixelStorei(name, value);
    }
    ~AlignmentScope() { glPixelStorei(name, previous); }
    Q_DISABLE_COPY(AlignmentScope)

private:
    GLenum name;
    GLint previous = 4;
};

} // namespace

VellGLTexture::AllocationErrorHook VellGLTexture::setAllocationErrorHook(AllocationErrorHook hook)
{
    AllocationErrorHook previous = errorHook();
    errorHook() = std::move(hook);
    return previous;
}

VellGLTexture::VellGLTexture()
{
    if (!QOpenGLContext::currentContext()) {
        failedFlag = true;
        VellLog::Instance()->Log("Texture requested without a current GL context\n");
        return;
    }
    glGenTextures(1, &id);
    glFinish();
}

VellGLTexture::~VellGLTexture()
{
    if (!id)
        return;
    if (!QOpenGLContext::currentContext()) {
        // Deleting without a context is undefined; the name dies with its context.
        VellLog::Instance()->Log("Texture %u deleted without a current GL context\n", id);
        return;
    }
    glDeleteTextures(1, &id);
    glFinish();
}

void VellGLTexture::bind()
{
}

void VellGLTexture::unbind()
{
}

bool VellGLTexture::failed() const
{
    return failedFlag;
}

bool VellGLTexture::operator==(const VellGLTexture &other) const
{
    return type == other.type && size == other.size && width == other.width
           && height == other.height && format == other.format;
}

void VellGLTexture::ChangeHandle(VellGLTexture *other)
{
    if (!other || other == this || !(*this == *other) || !QOpenGLContext::currentContext())
        return;
    if (id) {
        glDeleteTextures(1, &id);
        glFinish();
    }
    id = other->id;
    other->id = 0;
}

void VellGLTexture::setGeometry(int w, int h, int bytesPerPixel)
{
    width = qMax(0, w);
    height = qMax(0, h);
    widthF = width;
    heightF = height;
    size = static_cast<unsigned int>(quint64(width) * quint64(height) * quint64(bytesPerPixel));
}

void VellGLTexture::specify(GLint internalFormat, GLenum pixelFormat, GLenum pixelType,
                            const void *pixels, bool linear)
{
    if (!id)
        return;

    // Asks the current document to give back history first when the machine
    // itself is short of memory or disk.
    VellMemory::clearMemory();

    AlignmentScope unpack(GL_UNPACK_ALIGNMENT, 1);
    glBindTexture(GL_TEXTURE_2D, id);
    glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, width, height, 0, pixelFormat, pixelType,
                 pixels);
    GLenum error = readAllocationError();
    if (error == GL_OUT_OF_MEMORY) {
        VellLog::Instance()->Log("Video memory exhausted by a %dx%d texture, recovering\n",
                                 width, height);
        // Without a current document both actions do nothing and the retry
        // fails like the first attempt.
        VellRecovery::clearHistory();
        VellRecovery::dropInactiveTextures();
        glBindTexture(GL_TEXTURE_2D, id);
        glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, width, height, 0, pixelFormat, pixelType,
                     pixels);
        error = readAllocationError();
        if (error == GL_OUT_OF_MEMORY) {
            VellMessageBox::about(tr("Error"), tr("Out of memory!"));
            QCoreApplication::quit();
        }
    }
    if (error != GL_NO_ERROR) {
        if (error != GL_OUT_OF_MEMORY)
            VellLog::Instance()->Log("Texture storage of %dx%d refused, GL error %u\n", width,
                                     height, error);
        // A refused call leaves whatever storage was there before; replace it
        // by none and say so, so that no caller transfers pixels the texture
        // does not hold.
        glTexImage2D(GL_TEXTURE_2D, 0, internalFormat, 0, 0, 0, pixelFormat, pixelType, nullptr);
        failedFlag = true;
        width = height = 0;
        widthF = heightF = 0.0;
        size = 0;
    } else {
        failedFlag = false;
    }

    const GLint filter = linear ? GL_LINEAR : GL_NEAREST;
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, filter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, filter);
    glBindTexture(GL_TEXTURE_2D, 0);
}

void VellGLTexture::download(GLenum pixelFormat, GLenum pixelType, void *pixels, int rowAlignment)
{
    AlignmentScope pack(GL_PACK_ALIGNMENT, rowAlignment);
    glGetTexImage(GL_TEXTURE_2D, 0, pixelFormat, pixelType, pixels);
}
