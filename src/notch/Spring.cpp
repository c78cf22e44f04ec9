#include "Spring.h"

#include <cmath>
#include <numbers>

double Spring::value(double t) const
{
    if (t <= 0)
        return 0;
    const double w0 = 2 * std::numbers::pi / m_response;
    const double z = m_damping;
    if (z < 1) {
        const double wd = w0 * std::sqrt(1 - z * z);
        return 1 - std::exp(-z * w0 * t) * (std::cos(wd * t) + z * w0 / wd * std::sin(wd * t));
    }
    if (z == 1)
        return 1 - std::exp(-w0 * t) * (1 + w0 * t);
    const double s = w0 * std::sqrt(z * z - 1);
    const double r1 = -z * w0 + s;
    const double r2 = -z * w0 - s;
    return 1 - (r2 * std::exp(r1 * t) - r1 * std::exp(r2 * t)) / (r2 - r1);
}

double Spring::settlingTime(double tolerance) const
{
    const double w0 = 2 * std::numbers::pi / m_response;
    const double z = m_damping;
    if (z < 1) {
        // The oscillation's envelope: e^(−ζω₀t) / √(1−ζ²).
        return -std::log(tolerance * std::sqrt(1 - z * z)) / (z * w0);
    }
    // No overshoot: the motion is monotonic, so step until it is close enough.
    double t = 0;
    const double step = m_response / 1000;
    while (1 - value(t) > tolerance)
        t += step;
    return t;
}
