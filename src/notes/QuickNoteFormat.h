#pragma once

#include <QString>

// The quick note is edited with real bullets ("• ") and stored with Markdown list markers.
class QuickNoteFormat {
public:
    QuickNoteFormat() = delete;

    // "- " or "* " after a line's indentation becomes "• "; nothing else changes.
    [[nodiscard]] static QString toDisplay(const QString &markdown);
    // "• " after a line's indentation becomes "- "; a non-empty result ends with a line feed.
    [[nodiscard]] static QString toMarkdown(const QString &display);
};
