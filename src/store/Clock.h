#pragma once

#include <QDateTime>

// Where the store learns the time, so that day changes can be tested without waiting.
class Clock {
public:
    virtual ~Clock() = default;
    [[nodiscard]] virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock {
public:
    [[nodiscard]] QDateTime now() const override { return QDateTime::currentDateTime(); }
};
