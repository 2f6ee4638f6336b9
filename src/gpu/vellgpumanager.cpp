#include "gpu/vellgpumanager.h"

#include "foundation/vellglobalsettings.h"

#include <QGuiApplication>
#include <QOffscreenSurface>
#include <QOpenGLContext>

#include <memory>

namespace {

// The vendor memory-information queries (kilobytes).
const GLenum kNvxTotalMemory = 0x9048;       // GL_GPU_MEMORY_INFO_TOTAL_AVAILABLE_MEMORY_NVX
const GLenum kNvxAvailableMemory = 0x9049;   // GL_GPU_MEMORY_INFO_CURRENT_AVAILABLE_VIDMEM_NVX
const GLenum kAtiTextureFreeMemory = 0x87FC; // GL_TEXTURE_FREE_MEMORY_ATI

VellGpuManager::MemoryFigure &memoryOverride()
{
    static VellGpuManager::MemoryFigure figure;
    return figure;
}

QString glString(GLenum name)
{
    const GLubyte *text = glGetString(name);
    return text ? QString::fromLatin1(reinterpret_cast<const char *>(text)) : QString();
}

// Asks the driver for an integer query whose buffer is pre-set to -1, so a
// driver that ignores the query yields -1. The error such a driver raises is
// read here so it does not surface in an unrelated later check. The ATI query
// writes four values; the first is the free texture memory.
unsigned int queryMemory(GLenum name)
{
    if (!QOpenGLContext::currentContext())
        return VellGpuManager::kUnknownMemory;
    GLint values[4] = {-1, -1, -1, -1};
    glGetIntegerv(name, values);
    for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; ++i) {
    }
    return static_cast<unsigned int>(values[0]);
}

} // namespace

VellGpuManager *VellGpuManager::instance = nullptr;

VellGpuManager *VellGpuManager::getInstance()
{
    if (!instance) {
        instance = new VellGpuManager;
    } else if (!instance->initialized && QOpenGLContext::currentContext()) {
        instance->init();
    }
    return instance;
}

VellGpuManager::VellGpuManager()
{
    init();
    // The settings sit on a lower floor and cannot ask the driver themselves.
    VellGlobalSettings::setGpuMemoryFigure([] {
        return static_cast<int>(VellGpuManager::getInstance()->getAvailableMemory());
    });
}

void VellGpuManager::init()
{
    if (QOpenGLContext::currentContext()) {
        readDriver();
        return;
    }

    // No context yet: borrow a temporary one. That needs a GUI application
    // whose platform offers GL; a plain QCoreApplication cannot make one.
    if (!qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        return;
    QOffscreenSurface surface;
    surface.create();
    std::unique_ptr<QOpenGLContext> context(new QOpenGLContext);
    if (!surface.isValid() || !context->create() || !context->makeCurrent(&surface))
        return;
    readDriver();
    context->doneCurrent();
}

void VellGpuManager::readDriver()
{
    vendor = glString(GL_VENDOR);
    version = glString(GL_VERSION).toLower();
    glslVersion = glString(GL_SHADING_LANGUAGE_VERSION).toLower();
    versionNumber = parseVersion(version);
    glslVersionNumber = parseVersion(glslVersion);
    renderer = cutRenderer(glString(GL_RENDERER));
    GLint maxSize = -1;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
    maxTextureWidth = maxTextureHeight = maxSize;
    initialized = true;
}

unsigned int VellGpuManager::getAvailableMemory() const
{
    const MemoryFigure &figure = memoryOverride();
    if (figure)
        return figure();
    const QString upper = vendor.toUpper();
    if (upper.contains(QLatin1String("NVIDIA")))
        return queryMemory(kNvxAvailableMemory);
    if (upper.contains(QLatin1String("AMD")) || upper.contains(QLatin1String("ATI")))
        return queryMemory(kAtiTextureFreeMemory);
    return kUnknownMemory;
}

unsigned int VellGpuManager::getTotalMemory() const
{
    if (vendor.toUpper().contains(QLatin1String("NVIDIA")))
        return queryMemory(kNvxTotalMemory);
    return kUnknownMemory;
}

float VellGpuManager::parseVersion(const QString &text)
{
    QString number = text.section(QLatin1Char(' '), 0, 0);
    if (number.count(QLatin1Char('.')) >= 2)
        number.truncate(number.lastIndexOf(QLatin1Char('.')));
    return number.toFloat();   // 0 when not a number
}

QString VellGpuManager::cutRenderer(const QString &text)
{
    const int slash = text.indexOf(QLatin1Char('/'));
    return slash < 0 ? text : text.left(slash);
}

VellGpuManager::MemoryFigure VellGpuManager::setAvailableMemoryOverride(MemoryFigure figure)
{
    MemoryFigure previous = memoryOverride();
    memoryOverride() = std::move(figure);
    return previous;
}
