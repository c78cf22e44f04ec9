#pragma once

#include <QDate>
#include <QDateTime>
#include <QSet>
#include <QString>

#include <optional>

// Boards and quick notes are files named after their day: "yyyy-MM-dd.md".
class DayFiles {
public:
    DayFiles() = delete;

    // The name a day's board and quick note go by: "yyyy-MM-dd".
    [[nodiscard]] static QString key(const QDate &day);
    // The key of the local day `moment` falls on.
    [[nodiscard]] static QString keyOf(const QDateTime &moment);
    [[nodiscard]] static std::optional<QDate> date(QStringView key);

    // The day keys among the "*.md" names of `folder`.
    [[nodiscard]] static QSet<QString> daysIn(const QString &folder);
    // The "*.md" file of `folder` whose name is the latest ten characters to sort before `day`;
    // any ten characters count, as they always have for the carry-over.
    [[nodiscard]] static std::optional<QString> latestBefore(const QString &folder,
                                                             const QString &day);
};
