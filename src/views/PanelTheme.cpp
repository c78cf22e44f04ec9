#include "PanelTheme.h"

#include "notch/Theme.h"

#include <cmath>

namespace {

int milliseconds(const Spring &spring)
{
    return int(std::ceil(spring.settlingTime() * 1000));
}

} // namespace

PanelTheme::PanelTheme(QObject *parent) : QObject(parent) {}

QColor PanelTheme::panel()
{
    return Theme::panel;
}

QColor PanelTheme::surface()
{
    return Theme::surface;
}

QColor PanelTheme::surfaceHover()
{
    return Theme::surfaceHover;
}

QColor PanelTheme::hairline()
{
    return Theme::hairline;
}

QColor PanelTheme::text()
{
    return Theme::text;
}

QColor PanelTheme::secondary()
{
    return Theme::secondary;
}

QColor PanelTheme::accent()
{
    return Theme::accent;
}

QColor PanelTheme::laneTodo()
{
    return Theme::lane(LaneKind::Todo);
}

QColor PanelTheme::laneDoing()
{
    return Theme::lane(LaneKind::Doing);
}

QColor PanelTheme::laneDone()
{
    return Theme::lane(LaneKind::Done);
}

QColor PanelTheme::lane(const QString &kind)
{
    const auto role = LaneKind::fromRawValue(kind);
    return role ? Theme::lane(*role) : secondary();
}

QColor PanelTheme::shadow()
{
    return QColor::fromRgbF(0, 0, 0);
}

QColor PanelTheme::ringTrack()
{
    return QColor::fromRgbF(1, 1, 1, 0.12f);
}

QColor PanelTheme::badgeSymbol()
{
    return QColor::fromRgbF(0, 0, 0, 0.75f);
}

QColor PanelTheme::toolTip()
{
    return QColor::fromRgbF(0.16f, 0.16f, 0.16f);
}

QColor PanelTheme::warning()
{
    return QColor::fromRgbF(1.0f, 0.56f, 0.47f);
}

QColor PanelTheme::switchOff()
{
    return QColor::fromRgbF(1, 1, 1, 0.14f);
}

QColor PanelTheme::knob()
{
    return Qt::white;
}

int PanelTheme::openDuration()
{
    return milliseconds(Theme::open);
}

QEasingCurve PanelTheme::openEasing()
{
    return Theme::easingCurve(Theme::open);
}

int PanelTheme::snappyDuration()
{
    return milliseconds(Theme::snappy);
}

QEasingCurve PanelTheme::snappyEasing()
{
    return Theme::easingCurve(Theme::snappy);
}

int PanelTheme::closeDuration()
{
    return milliseconds(Theme::close);
}

QEasingCurve PanelTheme::closeEasing()
{
    return Theme::easingCurve(Theme::close);
}

qreal PanelTheme::tabSwapScale()
{
    return Theme::tabSwapScale;
}
