#pragma once

#include <QString>
#include <QStringList>

#include <functional>

// Chooses the run mode from the command line and runs it.
class Main {
public:
    enum class Mode {
        SelfTest,
        Snapshot,
        Help,
        Version,
        // Commands for the running app; each fails when none runs.
        Open,
        Close,
        Toggle,
        Quit,
        AddTask,
        // The panel opened ready to type a task; starts the app when none runs.
        NewTask,
        Resident,
    };
    struct Choice {
        Mode mode = Mode::Resident;
        QString snapshotDir;
        QString taskText;
        friend bool operator==(const Choice &, const Choice &) = default;
    };

    Main() = delete;

    // The whole argument list, program path included. Matching is exact and case-sensitive;
    // anything unknown is ignored. An option's value is the next argument, whatever it looks like.
    [[nodiscard]] static Choice choose(const QStringList &arguments);
    // What --help prints.
    [[nodiscard]] static QString usage();

    static int exec(int argc, char **argv);
    // With the self-test replaced, so that its exit status can be checked end to end.
    static int exec(int argc, char **argv, const std::function<bool()> &selfTest);
};
