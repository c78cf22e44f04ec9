#pragma once

#include <QString>

#include <functional>

class Board;
class Shortcut;

// Checks the board format, the bullet conversion and the default shortcut labels without any
// window, settings or vault.
class SelfTest {
public:
    // What the checks exercise; replaceable so that the checks themselves can be tested.
    struct Subjects {
        std::function<Board(const QString &)> parse;
        std::function<QString(const Board &)> markdown;
        std::function<QString(const QString &)> toDisplay;
        std::function<QString(const QString &)> toMarkdown;
        std::function<QString(const Shortcut &)> label;

        [[nodiscard]] static Subjects real();
    };

    SelfTest() = delete;

    [[nodiscard]] static QString boardFixture();

    // Prints the report to standard output; true when every check passed.
    static bool run();
    static bool run(const Subjects &subjects,
                    const std::function<void(const QString &)> &printLine);
};
