#pragma once

#include <QHashFunctions>
#include <QString>
#include <QStringView>

#include <array>
#include <optional>

// The role of a lane. Never stored: always derived from the lane's title by match().
class LaneKind {
public:
    enum Value { Todo, Doing, Done };

    constexpr LaneKind(Value value) : m_value(value) {}

    [[nodiscard]] static constexpr std::array<LaneKind, 3> allCases()
    {
        return {Todo, Doing, Done};
    }
    [[nodiscard]] static std::optional<LaneKind> fromRawValue(QStringView raw);
    [[nodiscard]] static std::optional<LaneKind> match(QStringView title);

    [[nodiscard]] constexpr Value value() const { return m_value; }
    [[nodiscard]] QString rawValue() const;
    [[nodiscard]] QString id() const { return rawValue(); }
    [[nodiscard]] QString title() const;
    [[nodiscard]] constexpr LaneKind next() const
    {
        return m_value == Todo ? Doing : m_value == Doing ? Done : Todo;
    }

    friend constexpr bool operator==(LaneKind a, LaneKind b) { return a.m_value == b.m_value; }

private:
    Value m_value;
};

inline size_t qHash(LaneKind kind, size_t salt = 0) noexcept
{
    return qHash(static_cast<int>(kind.value()), salt);
}
