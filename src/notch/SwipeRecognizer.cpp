#include "SwipeRecognizer.h"

#include <cmath>

void SwipeRecognizer::reset()
{
    m_active = false;
    m_decided = false;
    m_x = 0;
    m_y = 0;
}

SwipeRecognizer::Device SwipeRecognizer::deviceOf(Device reported, bool wayland,
                                                  Qt::ScrollPhase phase, QPoint pixelDelta)
{
    if (!wayland)
        return reported;
    return phase != Qt::NoScrollPhase || !pixelDelta.isNull() ? Device::TouchPad : Device::Mouse;
}

std::optional<int> SwipeRecognizer::feed(const Sample &sample)
{
    // Momentum is the desktop's coasting after the fingers lifted, not a gesture.
    if (sample.phase == Qt::ScrollMomentum)
        return std::nullopt;
    const bool phased = sample.phase != Qt::NoScrollPhase;
    // A wheel never swipes, however it is tilted. Without phases only a device known to be a
    // touchpad can; with them, the compositor has said that fingers are on a surface.
    if (sample.device == Device::Mouse || (!phased && sample.device != Device::TouchPad)) {
        reset();
        return std::nullopt;
    }

    const bool begins = phased ? sample.phase == Qt::ScrollBegin
                               : !m_active || sample.time - m_last > gapMs || sample.time < m_last;
    m_last = sample.time;
    if (begins) {
        reset();
        m_active = true;
    }
    if (phased && sample.phase == Qt::ScrollEnd) {
        reset();
        return std::nullopt;
    }
    if (!m_active || m_decided)
        return std::nullopt;

    const QPointF travel = !sample.pixelDelta.isNull() ? QPointF(sample.pixelDelta)
                                                       : QPointF(sample.angleDelta) / anglePerPixel;
    m_x += travel.x();
    m_y += travel.y();
    if (std::abs(m_y) >= threshold && std::abs(m_y) * dominance >= std::abs(m_x)) {
        // A vertical scroll: nothing it drifts into later makes it a swipe.
        m_decided = true;
        return std::nullopt;
    }
    if (std::abs(m_x) < threshold || std::abs(m_y) * dominance >= std::abs(m_x))
        return std::nullopt;
    m_decided = true;
    // Natural scrolling reports the fingers' sense the other way round.
    const qreal distance = sample.inverted ? -m_x : m_x;
    return distance > 0 ? 1 : -1;
}
