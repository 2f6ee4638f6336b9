#include "presets/vellfilterwidget.h"

#include "canvas/vellcanvas.h"
#include "document/vellcontextmanager.h"

#include <QKeyEvent>

bool VellFilterWidget::event(QEvent *event)
{
    VellContext *document = VellContextManager::getInstance()->getCurrentContext();
    VellCanvas *canvas = VellCanvas::getInstance();
    if (!document || !canvas)
        return QWidget::event(event);
    bool handled = false;
    switch (event->type()) {
    case QEvent::MouseButtonDblClick:
        canvas->setPreviewWhenApply(!canvas->isShowPreviewWhenApply());
        handled = true;
        break;
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
        if (static_cast<QKeyEvent *>(event)->key() == Qt::Key_Space) {
            // Held: the unfiltered layer; released: the preview again.
            canvas->setPreviewWhenApply(event->type() == QEvent::KeyRelease);
            handled = true;
        }
        break;
    default:
        break;
    }
    if (!handled)
        return QWidget::event(event);
    canvas->Render(document);
    canvas->update();
    return true;
}
