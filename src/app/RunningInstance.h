#pragma once

#include <QDBusConnection>
#include <QString>
#include <QVariantList>

#include <optional>

// Another Tallowfern already answering on the session bus: a second start hands over to it
// instead of putting a second notch on the screen, and the command line's commands go to it.
class RunningInstance {
public:
    enum class Outcome {
        Done,
        NotRunning, // nothing answers to the name; nothing was started either
        Failed,     // it refused, or did not answer in time
    };
    struct Answer {
        Outcome outcome = Outcome::Done;
        QString error; // why, when it failed: one line
    };

    RunningInstance() = delete;

    [[nodiscard]] static bool exists(const QDBusConnection &bus);
    // Calls `method` of the running app. Never has the bus start one: a command for the app must
    // not be what starts it.
    [[nodiscard]] static Answer call(const QDBusConnection &bus, const QString &method,
                                     const QVariantList &arguments = {});
    // Asks it to open its panel (or to do `method`); what went wrong when it did not.
    [[nodiscard]] static std::optional<QString> handOver(const QDBusConnection &bus,
                                                         const QString &method = u"Open"_qs);
};
