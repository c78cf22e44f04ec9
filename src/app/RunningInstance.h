#pragma once

#include <QDBusConnection>
#include <QString>

#include <optional>

// Another Tallowfern already answering on the session bus: a second start hands over to it
// instead of putting a second notch on the screen.
class RunningInstance {
public:
    RunningInstance() = delete;

    [[nodiscard]] static bool exists(const QDBusConnection &bus);
    // Asks it to open its panel; what went wrong when it did not.
    [[nodiscard]] static std::optional<QString> handOver(const QDBusConnection &bus);
};
