#pragma once

#include <QDateTime>
#include <QLocale>
#include <QString>

// "2 hours ago", "yesterday", "last week": how long ago a moment was, in words of the user's
// language (ICU's relative date formatting), naming the day or week where the language has a
// name for it.
class RelativeTime {
public:
    RelativeTime() = delete;

    [[nodiscard]] static QString describe(const QDateTime &moment, const QDateTime &now,
                                          const QLocale &locale = QLocale());
};
