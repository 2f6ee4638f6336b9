#include "tools/velluicontroller.h"

VellUIController *VellUIController::instance = nullptr;

VellUIController *VellUIController::getInstance(QObject *parent)
{
    if (!instance)
        instance = new VellUIController(parent);
    return instance;
}

VellUIController::~VellUIController()
{
    if (instance == this)
        instance = nullptr;
}
