#pragma once

// A damped spring moving from 0 to 1 from rest, described the way designers tune it: the
// response (the period of the undamped oscillation, in seconds) and the damping fraction
// (1 settles without overshoot, less overshoots). ω₀ = 2π / response, ζ = damping fraction.
class Spring {
public:
    constexpr Spring(double response, double dampingFraction)
        : m_response(response), m_damping(dampingFraction)
    {}

    [[nodiscard]] constexpr double response() const { return m_response; }
    [[nodiscard]] constexpr double dampingFraction() const { return m_damping; }

    // Position at `seconds` after release: 0 at the start, tending to 1.
    [[nodiscard]] double value(double seconds) const;
    // When the motion stays within `tolerance` of the target from then on.
    [[nodiscard]] double settlingTime(double tolerance = 1e-3) const;

    friend constexpr bool operator==(const Spring &, const Spring &) = default;

private:
    double m_response;
    double m_damping;
};
