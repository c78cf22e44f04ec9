#pragma once

#include <QMetaType>
#include <QString>

#include <optional>

// The morning greeting raised when a new day's board is made.
class Greeting {
    Q_GADGET
    Q_PROPERTY(int carried READ carried CONSTANT)
    Q_PROPERTY(QString fromDay READ fromDayText CONSTANT)

public:
    Greeting() = default;
    Greeting(int carried, std::optional<QString> fromDay)
        : m_carried(carried), m_fromDay(std::move(fromDay))
    {}

    // Cards carried over into the new board.
    [[nodiscard]] int carried() const { return m_carried; }
    // The day key of the board they came from; absent without a readable earlier board.
    [[nodiscard]] const std::optional<QString> &fromDay() const { return m_fromDay; }

    friend bool operator==(const Greeting &, const Greeting &) = default;

private:
    [[nodiscard]] QString fromDayText() const { return m_fromDay.value_or(QString()); }

    int m_carried = 0;
    std::optional<QString> m_fromDay;
};

Q_DECLARE_METATYPE(Greeting)
