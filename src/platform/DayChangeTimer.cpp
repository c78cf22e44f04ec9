#include "DayChangeTimer.h"

#include "InotifyReader.h"

#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <ctime>

#include <sys/inotify.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {

// The zone file is replaced rather than edited by most tools (timedatectl, dpkg).
constexpr uint32_t zoneDirEvents = IN_CREATE | IN_MOVED_TO | IN_CLOSE_WRITE | IN_DELETE;
// Where the zone file is a symlink, its target can change while the link stays.
constexpr uint32_t zoneTargetEvents = IN_CLOSE_WRITE | IN_ATTRIB | IN_DELETE_SELF | IN_MOVE_SELF;

qint64 floorDiv(qint64 value, qint64 divisor)
{
    return value / divisor - (value % divisor < 0 ? 1 : 0);
}

} // namespace

struct DayChangeTimer::Private {
    int timerFd = -1;
    QSocketNotifier *timerNotifier = nullptr;
    QDateTime target;

    int zoneFd = -1;
    QSocketNotifier *zoneNotifier = nullptr;
    QByteArray zoneFile;
    QByteArray zoneName; // the zone file's name inside its folder
    int targetWatch = -1;

    void arm(const QDateTime &moment);
    void watchZoneTarget();
    [[nodiscard]] bool readZoneEvents();
};

void DayChangeTimer::Private::arm(const QDateTime &moment)
{
    target = QDateTime();
    if (timerFd < 0)
        return;
    // Zero would disarm the timer; anything in the past fires at once.
    const qint64 msecs = std::max<qint64>(moment.toMSecsSinceEpoch(), 1);
    itimerspec when{};
    when.it_value.tv_sec = static_cast<time_t>(floorDiv(msecs, 1000));
    when.it_value.tv_nsec = static_cast<long>((msecs - floorDiv(msecs, 1000) * 1000) * 1000000);
    const int flags = TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET;
    if (::timerfd_settime(timerFd, flags, &when, nullptr) == 0)
        target = QDateTime::fromMSecsSinceEpoch(msecs);
}

void DayChangeTimer::Private::watchZoneTarget()
{
    if (targetWatch >= 0)
        ::inotify_rm_watch(zoneFd, targetWatch);
    targetWatch = -1;
    // A plain file is seen being written by the folder watch.
    const QFileInfo info(QFile::decodeName(zoneFile));
    const QString resolved = info.isSymLink() ? info.canonicalFilePath() : QString();
    if (resolved.isEmpty())
        return;
    targetWatch =
        ::inotify_add_watch(zoneFd, QFile::encodeName(resolved).constData(), zoneTargetEvents);
}

bool DayChangeTimer::Private::readZoneEvents()
{
    bool changed = false;
    readInotifyEvents(zoneFd, 64, [&](const inotify_event &event, const char *name) {
        if (event.mask & IN_Q_OVERFLOW) {
            changed = true;
        } else if (event.wd == targetWatch) {
            if (event.mask & IN_IGNORED)
                targetWatch = -1;
            else
                changed = true;
        } else if (event.len > 0 && zoneName == name) {
            changed = true;
        }
    });
    return changed;
}

DayChangeTimer::DayChangeTimer(QObject *parent)
    : DayChangeTimer(QStringLiteral("/etc/localtime"), parent)
{}

DayChangeTimer::DayChangeTimer(const QString &zoneFile, QObject *parent)
    : QObject(parent), d(new Private)
{
    // Re-armed before the signal, so that a receiver calling armAt() has the last word.
    const auto fire = [this](const QDateTime &reached) {
        d->arm(nextMidnight(reached));
        emit dayMayHaveChanged();
    };

    d->timerFd = ::timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
    if (d->timerFd >= 0) {
        d->timerNotifier = new QSocketNotifier(d->timerFd, QSocketNotifier::Read, this);
        connect(d->timerNotifier, &QSocketNotifier::activated, this, [this, fire] {
            std::uint64_t expirations = 0;
            const ssize_t length = ::read(d->timerFd, &expirations, sizeof expirations);
            const QDateTime now = QDateTime::currentDateTime();
            if (length == ssize_t(sizeof expirations)) {
                // The moment was reached even if the clock reads a hair earlier.
                fire(d->target.isValid() ? std::max(now, d->target) : now);
            } else if (length < 0 && errno == ECANCELED) {
                // The clock was set, or the machine resumed: the day may differ.
                fire(now);
            }
        });
        d->arm(nextMidnight(QDateTime::currentDateTime()));
    }

    if (zoneFile.isEmpty())
        return;
    d->zoneFile = QFile::encodeName(zoneFile);
    const QFileInfo zoneInfo(zoneFile);
    d->zoneName = QFile::encodeName(zoneInfo.fileName());
    d->zoneFd = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (d->zoneFd < 0)
        return;
    if (::inotify_add_watch(d->zoneFd, QFile::encodeName(zoneInfo.absolutePath()).constData(),
                            zoneDirEvents | IN_ONLYDIR) < 0) {
        ::close(d->zoneFd);
        d->zoneFd = -1;
        return;
    }
    d->watchZoneTarget();
    d->zoneNotifier = new QSocketNotifier(d->zoneFd, QSocketNotifier::Read, this);
    connect(d->zoneNotifier, &QSocketNotifier::activated, this, [this, fire] {
        if (!d->readZoneEvents())
            return;
        d->watchZoneTarget();
        ::tzset();
        fire(QDateTime::currentDateTime());
    });
}

DayChangeTimer::~DayChangeTimer()
{
    delete d->timerNotifier;
    delete d->zoneNotifier;
    if (d->timerFd >= 0)
        ::close(d->timerFd);
    if (d->zoneFd >= 0)
        ::close(d->zoneFd);
    delete d;
}

QDateTime DayChangeTimer::nextMidnight(const QDateTime &now)
{
    if (!now.isValid())
        return {};
    // localtime_r() does not look at TZ or the zone file again by itself.
    ::tzset();
    const time_t seconds = static_cast<time_t>(floorDiv(now.toMSecsSinceEpoch(), 1000));
    tm local{};
    if (!::localtime_r(&seconds, &local))
        return now.addDays(1);
    local.tm_mday += 1;
    local.tm_hour = 0;
    local.tm_min = 0;
    local.tm_sec = 0;
    local.tm_isdst = -1;
    // mktime() normalises the day after the month's last and picks the offset in force then;
    // where a zone skips 00:00 it lands on the first moment that exists.
    const time_t midnight = ::mktime(&local);
    if (midnight == time_t(-1) || midnight <= seconds)
        return QDateTime::fromSecsSinceEpoch(seconds + 24 * 60 * 60);
    return QDateTime::fromSecsSinceEpoch(midnight);
}

void DayChangeTimer::armAt(const QDateTime &moment)
{
    d->arm(moment.isValid() ? moment : nextMidnight(QDateTime::currentDateTime()));
}

QDateTime DayChangeTimer::armedFor() const
{
    return d->target;
}
