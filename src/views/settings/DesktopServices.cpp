#include "DesktopServices.h"

namespace {

DesktopServices *installed = nullptr;

} // namespace

DesktopServices::~DesktopServices()
{
    if (installed == this)
        installed = nullptr;
}

DesktopServices *DesktopServices::current()
{
    return installed;
}

void DesktopServices::setCurrent(DesktopServices *services)
{
    installed = services;
}
