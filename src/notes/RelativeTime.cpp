#include "RelativeTime.h"

#include <unicode/locid.h>
#include <unicode/reldatefmt.h>
#include <unicode/unistr.h>

#include <cmath>

namespace {

struct Offset {
    double amount;
    URelativeDateTimeUnit unit;
};

// The largest unit that has passed at least once, in whole units. Under a day it counts
// seconds, minutes or hours; beyond, calendar days, weeks, months and years.
Offset offsetBetween(const QDateTime &moment, const QDateTime &now)
{
    const qint64 seconds = moment.secsTo(now); // positive for the past
    const qint64 magnitude = std::abs(seconds);
    const double sign = seconds > 0 ? -1.0 : 1.0;
    if (magnitude < 60)
        return {sign * double(magnitude), UDAT_REL_UNIT_SECOND};
    if (magnitude < 3600)
        return {sign * double(magnitude / 60), UDAT_REL_UNIT_MINUTE};
    if (magnitude < 86400)
        return {sign * double(magnitude / 3600), UDAT_REL_UNIT_HOUR};

    const QDate from = moment.toLocalTime().date();
    const QDate to = now.toLocalTime().date();
    const qint64 days = std::abs(from.daysTo(to));
    int months = (to.year() - from.year()) * 12 + (to.month() - from.month());
    if (seconds > 0 && to.day() < from.day())
        --months;
    if (seconds < 0 && to.day() > from.day())
        ++months;
    months = std::abs(months);
    if (months >= 12)
        return {sign * double(months / 12), UDAT_REL_UNIT_YEAR};
    if (months >= 1)
        return {sign * double(months), UDAT_REL_UNIT_MONTH};
    if (days >= 7)
        return {sign * double(days / 7), UDAT_REL_UNIT_WEEK};
    return {sign * double(std::max<qint64>(days, 1)), UDAT_REL_UNIT_DAY};
}

} // namespace

QString RelativeTime::describe(const QDateTime &moment, const QDateTime &now, const QLocale &locale)
{
    if (!moment.isValid() || !now.isValid())
        return {};
    const Offset offset = offsetBetween(moment, now);
    UErrorCode status = U_ZERO_ERROR;
    // The C locale has no words of its own; English stands in, as for the rest of the panel.
    const QString name = locale.language() == QLocale::C ? u"en_US"_qs : locale.name();
    const icu::Locale icuLocale(name.toLatin1().constData());
    icu::RelativeDateTimeFormatter formatter(icuLocale, nullptr, UDAT_STYLE_LONG,
                                             UDISPCTX_CAPITALIZATION_NONE, status);
    if (U_FAILURE(status))
        return {};
    icu::UnicodeString text;
    formatter.format(offset.amount, offset.unit, text, status);
    if (U_FAILURE(status))
        return {};
    return QString(reinterpret_cast<const QChar *>(text.getBuffer()), text.length());
}
