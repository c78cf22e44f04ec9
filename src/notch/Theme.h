#pragma once

#include "model/LaneKind.h"
#include "notch/Spring.h"

#include <QColor>
#include <QEasingCurve>

// The panel's palette and motion. No view defines colours or springs of its own.
class Theme {
public:
    Theme() = delete;

    static inline const QColor panel = QColor::fromRgbF(0, 0, 0);
    static inline const QColor surface = QColor::fromRgbF(1, 1, 1, 0.06f);
    static inline const QColor surfaceHover = QColor::fromRgbF(1, 1, 1, 0.1f);
    static inline const QColor hairline = QColor::fromRgbF(1, 1, 1, 0.07f);
    static inline const QColor text = QColor::fromRgbF(1, 1, 1, 0.92f);
    static inline const QColor secondary = QColor::fromRgbF(1, 1, 1, 0.5f);
    static inline const QColor accent = QColor::fromRgbF(0.47f, 0.84f, 0.8f);
    [[nodiscard]] static QColor lane(LaneKind kind);

    // Opening, and the open content's entrance.
    static constexpr Spring open{0.42, 0.78};
    // Tab changes, banners, small state changes.
    static constexpr Spring snappy{0.3, 0.82};
    // Closing the panel.
    static constexpr Spring close{0.34, 0.9};
    // A named spring over its settling time, for Qt Quick animations that run for
    // settlingTime(). An easing curve holds a plain function, so only named springs have one;
    // any other spring gets an ease-out.
    [[nodiscard]] static QEasingCurve easingCurve(const Spring &spring);

    // The tab content fades in while growing from this scale.
    static constexpr double tabSwapScale = 0.985;
};
