#include "DayFiles.h"

#include <QFile>

#include <algorithm>
#include <dirent.h>
#include <string_view>

namespace {

// Calls `visit` with the base name of every "*.md" entry of a folder, straight from the
// directory: these folders hold a file a day, and the calendar lists them on every draw.
template <typename Visit> void forEachMarkdownName(const QString &folder, Visit visit)
{
    DIR *dir = ::opendir(QFile::encodeName(folder).constData());
    if (!dir)
        return;
    while (const dirent *entry = ::readdir(dir)) {
        const std::string_view name(entry->d_name);
        if (name.size() > 3 && name.ends_with(".md"))
            visit(name.substr(0, name.size() - 3));
    }
    ::closedir(dir);
}

char16_t unit(QChar c)
{
    return c.unicode();
}

char16_t unit(char c)
{
    return static_cast<unsigned char>(c);
}

// Parsed by hand: the calendar asks for every file of the folder on each draw, and a
// format-driven parse costs microseconds a name.
template <typename Text> std::optional<QDate> parseDayKey(const Text &key)
{
    if (key.size() != 10 || unit(key[4]) != u'-' || unit(key[7]) != u'-')
        return std::nullopt;
    const auto number = [&](int from, int count) {
        int value = 0;
        for (int i = from; i < from + count; ++i) {
            const char16_t c = unit(key[i]);
            if (c < u'0' || c > u'9')
                return -1;
            value = value * 10 + (c - u'0');
        }
        return value;
    };
    const int year = number(0, 4), month = number(5, 2), day = number(8, 2);
    if (year < 0 || month < 0 || day < 0)
        return std::nullopt;
    const QDate parsed(year, month, day);
    if (!parsed.isValid())
        return std::nullopt;
    return parsed;
}

} // namespace

QString DayFiles::key(const QDate &day)
{
    return day.toString(u"yyyy-MM-dd");
}

QString DayFiles::keyOf(const QDateTime &moment)
{
    return key(moment.toLocalTime().date());
}

std::optional<QDate> DayFiles::date(QStringView key)
{
    return parseDayKey(key);
}

QSet<QString> DayFiles::daysIn(const QString &folder)
{
    QSet<QString> days;
    days.reserve(512);
    forEachMarkdownName(folder, [&](std::string_view base) {
        if (parseDayKey(base))
            days.insert(QString::fromLatin1(base.data(), 10));
    });
    return days;
}

std::optional<QString> DayFiles::latestBefore(const QString &folder, const QString &day)
{
    const QByteArray dayBytes = day.toUtf8();
    QString best;
    QByteArray bestBytes;
    forEachMarkdownName(folder, [&](std::string_view base) {
        // Ten characters take at most 40 bytes; anything longer cannot qualify.
        if (base.size() < 10 || base.size() > 40)
            return;
        const QByteArrayView bytes(base.data(), qsizetype(base.size()));
        const bool ascii = std::all_of(base.begin(), base.end(),
                                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
        if (ascii) {
            // Plain ASCII compares the same as text, without decoding a name a day.
            if (base.size() == 10 && bytes < QByteArrayView(dayBytes) &&
                (best.isEmpty() || bytes > QByteArrayView(bestBytes))) {
                bestBytes = bytes.toByteArray();
                best = QString::fromLatin1(bestBytes);
            }
            return;
        }
        const QString name = QFile::decodeName(bytes.toByteArray());
        if (name.size() == 10 && name < day && (best.isEmpty() || name > best)) {
            best = name;
            bestBytes = name.toUtf8();
        }
    });
    if (best.isEmpty())
        return std::nullopt;
    return folder + u'/' + best + u".md"_qs;
}
