#include "Theme.h"

QColor Theme::lane(LaneKind kind)
{
    switch (kind.value()) {
    case LaneKind::Todo:
        return QColor::fromRgbF(0.55f, 0.66f, 1.0f);
    case LaneKind::Doing:
        return QColor::fromRgbF(1.0f, 0.74f, 0.32f);
    case LaneKind::Done:
        return QColor::fromRgbF(0.42f, 0.86f, 0.56f);
    }
    Q_UNREACHABLE();
    return {};
}

namespace {

template <const Spring &spring> qreal ease(qreal progress)
{
    if (progress >= 1)
        return 1;
    return spring.value(progress * spring.settlingTime());
}

} // namespace

QEasingCurve Theme::easingCurve(const Spring &spring)
{
    QEasingCurve curve;
    if (spring == open)
        curve.setCustomType(ease<open>);
    else if (spring == snappy)
        curve.setCustomType(ease<snappy>);
    else if (spring == close)
        curve.setCustomType(ease<close>);
    else
        curve.setType(QEasingCurve::OutCubic);
    return curve;
}
