#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// Chooses the run mode from the command line and runs it.
class Main {
public:
    enum class Mode { SelfTest, Snapshot, Resident };
    struct Choice {
        Mode mode = Mode::Resident;
        QString snapshotDir;
        friend bool operator==(const Choice &, const Choice &) = default;
    };

    Main() = delete;

    // The whole argument list, program path included. Matching is exact and case-sensitive;
    // anything unknown is ignored.
    [[nodiscard]] static Choice choose(const QStringList &arguments);

    static int exec(int argc, char **argv);
    // With the self-test replaced, so that its exit status can be checked end to end.
    static int exec(int argc, char **argv, const std::function<bool()> &selfTest);
};
