#pragma once

#include <QString>

#include <optional>

// The outliner rules of the quick-note editor, on display text (bullets shown as "•"). Each
// takes the text and the selection and says which edit to make; the editor applies it through
// its own insert and remove, so that every edit can be undone like typing. Positions and lengths
// are in UTF-16 code units, as QString counts them.
class BulletEditing {
public:
    BulletEditing() = delete;

    // Replace `length` units from `start` with `text`.
    struct Edit {
        int start = 0;
        int length = 0;
        QString text;
        friend bool operator==(const Edit &, const Edit &) = default;
    };

    // A line that starts, after its indentation, with "• ".
    struct BulletLine {
        int start = 0;  // where the line begins
        int length = 0; // the whole line, with its line feed if it has one
        QString indent; // the leading spaces and tabs
        QString rest;   // after "• ", without the line feed
        friend bool operator==(const BulletLine &, const BulletLine &) = default;
    };

    enum class Command { Newline, Tab, Backtab, DeleteBackward };

    // What the editor does with a command: `handled` false leaves it to the text field's own
    // behaviour; true with no edit swallows it.
    struct Outcome {
        bool handled = false;
        std::optional<Edit> edit;
        friend bool operator==(const Outcome &, const Outcome &) = default;
    };

    static constexpr QChar bullet = QChar(0x2022);

    // After a change: "- " or "* " just typed at the start of a line (after its indentation)
    // becomes "• ". Only for a caret, not a selection.
    [[nodiscard]] static std::optional<Edit> typedBullet(const QString &text, int selectionStart,
                                                         int selectionEnd);

    // The bullet line the selection is on, judged by the line the selection begins on.
    [[nodiscard]] static std::optional<BulletLine> bulletLine(const QString &text,
                                                              int selectionStart, int selectionEnd);

    [[nodiscard]] static Outcome handle(const QString &text, int selectionStart, int selectionEnd,
                                        Command command);

    // Applies an edit to a string, for callers without a text item and for tests.
    [[nodiscard]] static QString apply(const QString &text, const Edit &edit);
};
