#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>
#include <QUrl>

#include <optional>

// How a card's Markdown reads on the board: inline emphasis, code, strike-through, links, tags
// and dates as rich text for a Qt Quick Text, and the lines written under the card in Obsidian
// as a dimmed block. Display only: the card's text itself is never touched.
//
// Boards come from shared and synced vaults, so a link is made clickable only for the schemes
// that cannot start a program here (http, https, mailto, obsidian) and for notes of the vault;
// anything else stays text and never reaches the desktop's opener.
class CardMarkup {
public:
    CardMarkup() = delete;

    // Rich text for one line, or nothing when the line has no markup at all, so that plain
    // cards stay cheap plain text.
    [[nodiscard]] static std::optional<QString> line(QStringView text);
    // The lines under a card as one block of rich text: indentation kept as steps, list markers
    // and task boxes as bullets; empty when there are none.
    [[nodiscard]] static QString detail(const QStringList &lines);
    // The lines under a card that show anything.
    [[nodiscard]] static qsizetype detailLineCount(const QStringList &lines);

    // What activating a link of line() or detail() opens.
    struct Target {
        enum class Kind { Url, Note };
        Kind kind;
        // The address for Url; the note's name or path in the vault for Note.
        QString value;
    };
    // Nothing for anything line() and detail() never make, or that is not safe to open.
    [[nodiscard]] static std::optional<Target> target(const QString &link);
    // Whether a URL may be handed to the desktop's opener.
    [[nodiscard]] static bool isSafeUrl(const QUrl &url);

    // The link form of a note of the vault.
    static constexpr QStringView noteScheme = u"tallowfern-note";
};
