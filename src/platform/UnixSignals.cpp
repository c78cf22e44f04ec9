#include "UnixSignals.h"

#include "PlatformLog.h"

#include <QPointer>
#include <QSocketNotifier>

#include <atomic>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace {

// Both ends stay open for the life of the process: a handler still running on another thread
// while the object goes must never write into a descriptor that has been reused since.
std::atomic<int> writeEnd{-1};
static_assert(std::atomic<int>::is_always_lock_free, "read inside a signal handler");
int readEnd = -1;

const UnixSignals *holder = nullptr;
std::array<struct sigaction, UnixSignals::handled.size()> previous{};

void onSignal(int signal)
{
    const int savedErrno = errno;
    const auto byte = static_cast<unsigned char>(signal);
    // A full pipe already holds a request to quit.
    [[maybe_unused]] const ssize_t written =
        ::write(writeEnd.load(std::memory_order_relaxed), &byte, 1);
    errno = savedErrno;
}

bool openPipe()
{
    if (readEnd >= 0)
        return true;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC | O_NONBLOCK) != 0)
        return false;
    readEnd = ends[0];
    writeEnd.store(ends[1]);
    return true;
}

bool ignored(const struct sigaction &action)
{
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

} // namespace

UnixSignals::UnixSignals(QObject *parent) : QObject(parent)
{
    if (holder != nullptr) {
        qCWarning(lcPlatform, "the signals to end are already caught elsewhere in this process");
        return;
    }
    if (!openPipe()) {
        qCWarning(lcPlatform, "no pipe for the signals to end (%s): they end the app at once",
                  std::strerror(errno));
        return;
    }
    // What an earlier object left unread is not for this one.
    unsigned char stale[64];
    while (::read(readEnd, stale, sizeof stale) > 0) {
    }
    holder = this;
    m_notifier = new QSocketNotifier(readEnd, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &UnixSignals::readPipe);

    for (std::size_t i = 0; i < handled.size(); ++i) {
        const int signal = handled[i];
        if (::sigaction(signal, nullptr, &previous[i]) == 0 && ignored(previous[i])) {
            qCDebug(lcPlatform, "%s was ignored at start and stays so", qPrintable(name(signal)));
            continue;
        }
        struct sigaction action {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        // Calls that the signal interrupts carry on; the signal itself is caught only once.
        action.sa_flags = SA_RESTART | SA_RESETHAND;
        if (::sigaction(signal, &action, nullptr) == 0)
            m_taken[i] = true;
        else
            qCWarning(lcPlatform, "cannot catch %s: %s", qPrintable(name(signal)),
                      std::strerror(errno));
    }
}

UnixSignals::~UnixSignals()
{
    if (holder != this)
        return;
    for (std::size_t i = 0; i < handled.size(); ++i) {
        if (m_taken[i])
            ::sigaction(handled[i], &previous[i], nullptr);
    }
    holder = nullptr;
}

bool UnixSignals::handles(int signal) const
{
    for (std::size_t i = 0; i < handled.size(); ++i) {
        if (handled[i] != signal || !m_taken[i])
            continue;
        struct sigaction current {};
        return ::sigaction(signal, nullptr, &current) == 0 &&
               (current.sa_flags & SA_SIGINFO) == 0 && current.sa_handler == onSignal;
    }
    return false;
}

QString UnixSignals::name(int signal)
{
    switch (signal) {
    case SIGTERM:
        return u"SIGTERM"_qs;
    case SIGINT:
        return u"SIGINT"_qs;
    case SIGHUP:
        return u"SIGHUP"_qs;
    default:
        return u"signal "_qs + QString::number(signal);
    }
}

void UnixSignals::readPipe()
{
    unsigned char bytes[16];
    ssize_t count = 0;
    const QPointer<UnixSignals> self(this);
    while ((count = ::read(readEnd, bytes, sizeof bytes)) > 0) {
        for (ssize_t i = 0; i < count && self; ++i)
            emit quitRequested(bytes[i]);
        if (!self)
            return;
    }
}
