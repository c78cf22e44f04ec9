#include "TallowfernProcess.h"

#include "XServer.h"

#include <QDate>
#include <QDir>
#include <QFile>
#include <QTest>

namespace {

bool writeFile(const QString &path, const QByteArray &bytes)
{
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

QByteArray cards(const QStringList &titles, const char *mark)
{
    QByteArray lines;
    for (const QString &title : titles)
        lines += "- [" + QByteArray(mark) + "] " + title.toUtf8() + '\n';
    return lines;
}

} // namespace

TallowfernProcess::TallowfernProcess(const XServer &server) : m_server(server)
{
    for (const char *name : {"home", "config", "state", "data", "cache", "vault", "runtime"})
        QDir(m_dir.path()).mkpath(QString::fromLatin1(name));
    // Qt insists on a runtime folder that only its owner may enter.
    QFile::setPermissions(path(u"runtime"_qs),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

TallowfernProcess::~TallowfernProcess()
{
    stop();
}

QString TallowfernProcess::path(const QString &relative) const
{
    return QDir(m_dir.path()).filePath(relative);
}

QString TallowfernProcess::boardPath(const QDate &day) const
{
    return path(u"vault/01 Journal/Boards/%1.md"_qs.arg(day.toString(u"yyyy-MM-dd"_qs)));
}

void TallowfernProcess::writeTodayBoard(const QStringList &toDo, const QStringList &doing,
                                        const QStringList &done)
{
    const QString day = QDate::currentDate().toString(u"yyyy-MM-dd"_qs);
    const QByteArray board = "---\n\nkanban-plugin: board\n\n---\n\n"
                             "## To do\n\n" +
                             cards(toDo, " ") + "\n\n## Doing\n\n" + cards(doing, " ") +
                             "\n\n## Done\n\n" + cards(done, "x") +
                             "\n\n\n%% kanban:settings\n```\n"
                             "{\"kanban-plugin\":\"board\",\"list-collapse\":[false,false,false]}\n"
                             "```\n%%\n";
    writeFile(path(u"vault/01 Journal/Boards/%1.md"_qs.arg(day)), board);
}

QString TallowfernProcess::start()
{
    if (!m_dir.isValid())
        return u"no scratch folder"_qs;
    // Settings that exist keep the first-run welcome away, and without the morning greeting a new
    // day's board does not open the panel either.
    const QByteArray settings =
        "[General]\nvaultPath=" + path(u"vault"_qs).toUtf8() + "\nmorningBanner=false\n";
    if (!writeFile(path(u"config/Tallowfern/Tallowfern.conf"_qs), settings))
        return u"cannot write the settings"_qs;
    return launch(QIODevice::Truncate);
}

QString TallowfernProcess::restart()
{
    stop();
    return launch(QIODevice::Append);
}

QProcessEnvironment TallowfernProcess::environment() const
{
    QProcessEnvironment environment = m_server.clientEnvironment();
    environment.insert(u"HOME"_qs, path(u"home"_qs));
    environment.insert(u"XDG_CONFIG_HOME"_qs, path(u"config"_qs));
    environment.insert(u"XDG_STATE_HOME"_qs, path(u"state"_qs));
    environment.insert(u"XDG_DATA_HOME"_qs, path(u"data"_qs));
    environment.insert(u"XDG_CACHE_HOME"_qs, path(u"cache"_qs));
    environment.insert(u"XDG_RUNTIME_DIR"_qs, path(u"runtime"_qs));
    environment.insert(u"TALLOWFERN_VAULT"_qs, path(u"vault"_qs));
    environment.insert(u"QT_QPA_PLATFORM"_qs, u"xcb"_qs);
    // Without a bus of the test's, one that is not there: the app must not put its tray icon on
    // the user's desktop.
    environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_qs, m_sessionBus.isEmpty()
                                                           ? u"unix:path="_qs + path(u"no-bus"_qs)
                                                           : m_sessionBus);
    if (!m_loggingRules.isEmpty())
        environment.insert(u"QT_LOGGING_RULES"_qs, m_loggingRules);
    return environment;
}

QString TallowfernProcess::launch(QIODevice::OpenMode output)
{
    const QProcessEnvironment environment = this->environment();
    m_process.setProcessEnvironment(environment);
    m_process.setWorkingDirectory(path(u"home"_qs));
    m_process.setProcessChannelMode(QProcess::MergedChannels);
    m_process.setStandardOutputFile(path(u"output.log"_qs), output);
    m_process.start(QStringLiteral(TALLOWFERN_BINARY), {});
    if (!m_process.waitForStarted(10000))
        return u"the app did not start: "_qs + m_process.errorString();
    return {};
}

void TallowfernProcess::stop()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (!m_process.waitForFinished(5000)) {
        m_process.kill();
        m_process.waitForFinished(5000);
    }
}

int TallowfernProcess::waitForQuit(int timeoutMs)
{
    if (m_process.state() != QProcess::NotRunning && !m_process.waitForFinished(timeoutMs))
        return -1;
    return m_process.exitStatus() == QProcess::NormalExit ? m_process.exitCode() : -1;
}

xcb_window_t TallowfernProcess::waitForPanel(int timeoutMs) const
{
    xcb_window_t content = 0;
    const bool mapped = waitFor(
        [&] {
            content = m_server.findWindow(u"Tallowfern"_qs);
            return content != 0 && m_server.findWindow(u"Tallowfern Sensor"_qs) != 0;
        },
        timeoutMs);
    return mapped ? content : 0;
}

void TallowfernProcess::finish(std::unique_ptr<TallowfernProcess> &app)
{
    if (!app)
        return;
    if (QTest::currentTestFailed())
        qWarning().noquote() << "the app printed:\n" << app->output();
    const bool running = app->isRunning();
    app.reset();
    QVERIFY2(running, "the app quit on its own");
}

QString TallowfernProcess::output() const
{
    QFile file(path(u"output.log"_qs));
    return file.open(QIODevice::ReadOnly) ? QString::fromLocal8Bit(file.readAll()) : QString();
}
