#pragma once

#include <QObject>
#include <QString>

#include <array>
#include <csignal>

class QSocketNotifier;

// The requests to end that reach a process as signals: SIGTERM (kill, systemd, the session
// ending), SIGINT (Ctrl+C in the terminal it was started from) and SIGHUP (that terminal or the
// session going away). The handler only writes the signal's number into a pipe; the thread that
// made the object reads it and emits quitRequested(), where quitting is safe.
//
// Each signal is caught once: the same signal again gets its default action and ends the
// process, should quitting hang. A signal that was ignored when the object was made (nohup, a
// background job of a script) stays ignored. One object at a time; its destructor gives the
// signals back as it found them.
class UnixSignals : public QObject {
    Q_OBJECT

public:
    static constexpr std::array handled{SIGTERM, SIGINT, SIGHUP};

    explicit UnixSignals(QObject *parent = nullptr);
    ~UnixSignals() override;
    UnixSignals(const UnixSignals &) = delete;
    UnixSignals &operator=(const UnixSignals &) = delete;

    // Whether `signal` reaches this object (until it has arrived once).
    [[nodiscard]] bool handles(int signal) const;
    // "SIGTERM" and the like, for the log.
    [[nodiscard]] static QString name(int signal);

signals:
    void quitRequested(int signal);

private:
    void readPipe();

    QSocketNotifier *m_notifier = nullptr;
    std::array<bool, handled.size()> m_taken{};
};
