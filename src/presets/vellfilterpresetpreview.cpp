#include "presets/vellfilterpresetpreview.h"

void VellFilterPresetPreview::enterEvent(QEvent *event)
{
    QPushButton::enterEvent(event);
    emit enteredIn();
}

void VellFilterPresetPreview::leaveEvent(QEvent *event)
{
    QPushButton::leaveEvent(event);
    emit leftOut();
}
