#include "DesktopSession.h"

QStringList DesktopSession::desktops()
{
    return qEnvironmentVariable("XDG_CURRENT_DESKTOP").split(u':', Qt::SkipEmptyParts);
}

bool DesktopSession::isGnome()
{
    return desktops().contains(u"GNOME"_qs, Qt::CaseInsensitive);
}

bool DesktopSession::isKde()
{
    return desktops().contains(u"KDE"_qs, Qt::CaseInsensitive);
}

bool DesktopSession::keepsTopCentre()
{
    const QStringList names = desktops();
    return isGnome() || names.contains(u"Pantheon"_qs, Qt::CaseInsensitive);
}

DesktopSession::Compositor DesktopSession::compositor()
{
    // The compositors set these for their clients whatever XDG_CURRENT_DESKTOP says.
    if (qEnvironmentVariableIsSet("SWAYSOCK"))
        return Compositor::Sway;
    if (qEnvironmentVariableIsSet("HYPRLAND_INSTANCE_SIGNATURE"))
        return Compositor::Hyprland;
    const QStringList names = desktops();
    if (names.contains(u"sway"_qs, Qt::CaseInsensitive))
        return Compositor::Sway;
    if (names.contains(u"river"_qs, Qt::CaseInsensitive))
        return Compositor::River;
    if (names.contains(u"Hyprland"_qs, Qt::CaseInsensitive))
        return Compositor::Hyprland;
    return Compositor::Other;
}
