#pragma once

#include <QDate>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>

#include <xcb/xcb.h>

#include <memory>

class XServer;

// The real binary on a private X server, with a scratch home, config, state and vault, set up so
// that it starts closed: its settings exist (no first-run welcome) and the morning greeting is off.
class TallowfernProcess {
public:
    explicit TallowfernProcess(const XServer &server);
    ~TallowfernProcess();
    TallowfernProcess(const TallowfernProcess &) = delete;
    TallowfernProcess &operator=(const TallowfernProcess &) = delete;

    // Where the board of `day` lives in the scratch vault.
    [[nodiscard]] QString boardPath(const QDate &day) const;
    // Today's board (by local date) with these open cards; call before start().
    void writeTodayBoard(const QStringList &toDo, const QStringList &doing,
                         const QStringList &done = {});
    // The session bus the app talks to; by default one that is not there, so that nothing reaches
    // the user's desktop. Call before start().
    void setSessionBus(const QString &address) { m_sessionBus = address; }
    // QT_LOGGING_RULES for the app, for what only its log shows. Call before start().
    void setLoggingRules(const QString &rules) { m_loggingRules = rules; }
    // What the app is started with: the server's display, the scratch folders and the bus.
    [[nodiscard]] QProcessEnvironment environment() const;
    // An empty string on success, otherwise what went wrong.
    [[nodiscard]] QString start();
    // Quits and starts again with the same home, config and vault, keeping the settings the app
    // has written since; the same result as start().
    [[nodiscard]] QString restart();
    void stop();
    // Waits for it to quit by itself: its exit code, or -1 when it crashed or still runs after
    // `timeoutMs`.
    [[nodiscard]] int waitForQuit(int timeoutMs = 10000);
    // The scratch folder holding home, config, state and vault.
    [[nodiscard]] QString root() const { return m_dir.path(); }
    [[nodiscard]] bool isRunning() const { return m_process.state() == QProcess::Running; }
    [[nodiscard]] qint64 processId() const { return m_process.processId(); }
    // Waits until the panel's two windows are mapped; the content window, or 0 when they never
    // were.
    [[nodiscard]] xcb_window_t waitForPanel(int timeoutMs = 15000) const;
    // At the end of a test: what the app printed when the test failed, a check that it did not
    // quit on its own, and then it is stopped.
    static void finish(std::unique_ptr<TallowfernProcess> &app);
    // Everything it printed so far.
    [[nodiscard]] QString output() const;

private:
    [[nodiscard]] QString path(const QString &relative) const;
    [[nodiscard]] QString launch(QIODevice::OpenMode output);

    const XServer &m_server;
    QTemporaryDir m_dir;
    QProcess m_process;
    QString m_sessionBus;
    QString m_loggingRules;
};
