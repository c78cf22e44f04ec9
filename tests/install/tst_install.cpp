// Tallowfern as a desktop installs it: the files `cmake --install` puts into a prefix, the Debian
// package CPack makes of them, and, as root, that package installed on this machine, started from
// the application menu and again at login.

#include "support/TrayMenu.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusContext>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDate>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QImageReader>
#include <QMap>
#include <QProcess>
#include <QRegularExpression>
#include <QSet>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QXmlStreamReader>

#include <csignal>
#include <sys/types.h>
#include <unistd.h>

namespace {

const QString appId = u"io.tallowfern.Tallowfern"_qs;
const QString installedBinary = u"/usr/bin/tallowfern"_qs;
const QList<int> iconSizes{16, 22, 24, 32, 48, 64, 128, 256, 512};

struct Run {
    int code = -1;
    QByteArray out;
    QByteArray err;

    [[nodiscard]] QByteArray report() const
    {
        return "exit " + QByteArray::number(code) + "\n" + out + err;
    }
};

Run run(const QString &program, const QStringList &arguments,
        const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment(),
        int timeoutMs = 180000)
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    Run result;
    if (!process.waitForStarted(10000)) {
        result.err = "cannot start " + program.toUtf8() + ": " + process.errorString().toUtf8();
        return result;
    }
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished(5000);
        result.err = program.toUtf8() + " did not finish\n";
    }
    result.out = process.readAllStandardOutput();
    result.err += process.readAllStandardError();
    if (process.exitStatus() == QProcess::NormalExit)
        result.code = process.exitCode();
    return result;
}

// Every file below `root`, by its path relative to it.
QSet<QString> filesBelow(const QString &root)
{
    QSet<QString> files;
    QDirIterator it(root, QDir::Files | QDir::Hidden | QDir::System, QDirIterator::Subdirectories);
    while (it.hasNext())
        files.insert(QDir(root).relativeFilePath(it.next()));
    return files;
}

// What an install puts below its prefix, and nothing else.
QSet<QString> expectedFiles()
{
    QSet<QString> files{
        u"bin/tallowfern"_qs,
        u"share/applications/%1.desktop"_qs.arg(appId),
        u"share/metainfo/%1.metainfo.xml"_qs.arg(appId),
        u"share/dbus-1/services/%1.service"_qs.arg(appId),
        u"share/icons/hicolor/scalable/apps/%1.svg"_qs.arg(appId),
    };
    for (int size : iconSizes)
        files.insert(u"share/icons/hicolor/%1x%1/apps/%2.png"_qs.arg(size).arg(appId));
    return files;
}

// The keys of one group of a desktop entry or D-Bus service file.
QMap<QString, QString> readGroup(const QString &path, QStringView group)
{
    QMap<QString, QString> keys;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return keys;
    bool inGroup = false;
    for (const QByteArray &raw : file.readAll().split('\n')) {
        const QString line = QString::fromUtf8(raw).trimmed();
        if (line.isEmpty() || line.startsWith(u'#'))
            continue;
        if (line.startsWith(u'[')) {
            inGroup = line == u'[' + group.toString() + u']';
            continue;
        }
        const qsizetype equals = line.indexOf(u'=');
        if (inGroup && equals > 0)
            keys.insert(line.first(equals).trimmed(), line.sliced(equals + 1).trimmed());
    }
    return keys;
}

// The fields of a package's control file; continuation lines are joined.
QMap<QString, QString> controlFields(const QByteArray &text)
{
    QMap<QString, QString> fields;
    QString last;
    for (const QByteArray &raw : text.split('\n')) {
        const QString line = QString::fromUtf8(raw);
        if (line.startsWith(u' ') && !last.isEmpty()) {
            fields[last] += u'\n' + line.trimmed();
        } else if (const qsizetype colon = line.indexOf(u':'); colon > 0) {
            last = line.first(colon);
            fields.insert(last, line.sliced(colon + 1).trimmed());
        }
    }
    return fields;
}

// The package names in a Depends field, alternatives included, without versions.
QSet<QString> dependencyNames(const QString &depends)
{
    QSet<QString> names;
    for (const QString &clause : depends.split(u',')) {
        for (QString alternative : clause.split(u'|')) {
            alternative = alternative.trimmed();
            const qsizetype end = alternative.indexOf(QRegularExpression(u"[ (:]"_qs));
            names.insert(end < 0 ? alternative : alternative.first(end));
        }
    }
    return names;
}

bool isGone(pid_t pid)
{
    QFile stat(u"/proc/%1/stat"_qs.arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return true;
    // "pid (name) state ...": a zombie has ended and only waits for whoever reaps it.
    const QByteArray text = stat.readAll();
    const qsizetype close = text.lastIndexOf(')');
    return close < 0 || text.mid(close + 2, 1) == "Z";
}

// A process of `binary` with `marker` in its environment. Launchers do not hand back the PID of
// what they start, so the test recognises its instances by their private vault.
struct Instance {
    pid_t pid = 0;
    QString binary;
    QByteArray marker;

    [[nodiscard]] bool isRunning() const
    {
        if (pid <= 0 || isGone(pid) ||
            QFileInfo(u"/proc/%1/exe"_qs.arg(pid)).symLinkTarget() != binary)
            return false;
        QFile environ(u"/proc/%1/environ"_qs.arg(pid));
        return environ.open(QIODevice::ReadOnly) && environ.readAll().split('\0').contains(marker);
    }
    [[nodiscard]] QByteArray commandName() const
    {
        QFile cmdline(u"/proc/%1/cmdline"_qs.arg(pid));
        return cmdline.open(QIODevice::ReadOnly) ? cmdline.readAll().split('\0').value(0)
                                                 : QByteArray();
    }
    // Asks it to end, and makes it if it does not; true once it is gone.
    bool stop() const
    {
        for (int signal : {SIGTERM, SIGKILL}) {
            if (!isRunning())
                return true;
            ::kill(pid, signal);
            for (int i = 0; i < 100 && isRunning(); ++i)
                QTest::qWait(50);
        }
        return !isRunning();
    }
    bool operator==(const Instance &other) const = default;
};

QList<Instance> findInstances(const QString &binary, const QByteArray &marker)
{
    QList<Instance> found;
    const QStringList entries = QDir(u"/proc"_qs).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString &entry : entries) {
        bool ok = false;
        const Instance instance{entry.toInt(&ok), binary, marker};
        if (ok && instance.isRunning())
            found.append(instance);
    }
    return found;
}

// What a failing QML import or view would print.
bool showsQmlTrouble(const QByteArray &output)
{
    return output.contains("is not installed") || output.contains("qrc:/qt/qml/") ||
           output.contains("Component is not ready");
}

// A user of the installed app: scratch home, configuration, data, runtime folder and vault.
class User {
public:
    User()
    {
        for (const char *name : {"home", "config", "xdg", "data", "state", "cache", "vault"})
            QDir(m_dir.path()).mkpath(QString::fromLatin1(name));
        QDir(m_dir.path()).mkpath(u"runtime"_qs);
        // Qt insists on a runtime folder that only its owner may enter.
        QFile::setPermissions(path(u"runtime"_qs),
                              QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    [[nodiscard]] QString path(const QString &relative) const
    {
        return QDir(m_dir.path()).filePath(relative);
    }
    [[nodiscard]] QByteArray vaultMarker() const
    {
        return "TALLOWFERN_VAULT=" + QFile::encodeName(path(u"vault"_qs));
    }
    [[nodiscard]] QString boards() const { return path(u"vault/01 Journal/Boards"_qs); }
    // Today's board, checked on both sides of a midnight that may fall in between.
    [[nodiscard]] bool hasTodaysBoard(const QDate &startDay) const
    {
        for (const QDate &day : {startDay, QDate::currentDate()}) {
            if (QFileInfo::exists(boards() + u'/' + day.toString(u"yyyy-MM-dd"_qs) + u".md"_qs))
                return true;
        }
        return false;
    }

    // A desktop session's environment for this user on the test's X server. `bus` is the session
    // bus; an address where none listens keeps the app off every bus.
    [[nodiscard]] QProcessEnvironment environment(const QString &bus) const
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"QT_QPA_PLATFORM", "QML_IMPORT_PATH", "QML2_IMPORT_PATH",
                                 "QT_PLUGIN_PATH", "LD_LIBRARY_PATH"})
            environment.remove(QString::fromLatin1(name));
        environment.insert(u"HOME"_qs, path(u"home"_qs));
        environment.insert(u"XDG_CONFIG_HOME"_qs, path(u"config"_qs));
        // Only this user's autostart folder: nothing else installed on the machine starts.
        environment.insert(u"XDG_CONFIG_DIRS"_qs, path(u"xdg"_qs));
        environment.insert(u"XDG_DATA_HOME"_qs, path(u"data"_qs));
        environment.insert(u"XDG_DATA_DIRS"_qs, u"/usr/local/share:/usr/share"_qs);
        environment.insert(u"XDG_STATE_HOME"_qs, path(u"state"_qs));
        environment.insert(u"XDG_CACHE_HOME"_qs, path(u"cache"_qs));
        environment.insert(u"XDG_RUNTIME_DIR"_qs, path(u"runtime"_qs));
        environment.insert(u"TALLOWFERN_VAULT"_qs, path(u"vault"_qs));
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_qs, bus);
        return environment;
    }
    [[nodiscard]] QString noBus() const { return u"unix:path="_qs + path(u"no-bus"_qs); }

    [[nodiscard]] QByteArray log(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

private:
    QTemporaryDir m_dir;
};

} // namespace

class TestInstall : public QObject {
    Q_OBJECT

    QTemporaryDir m_work;
    FakeWatcher m_watcher;
    QString m_deb;
    bool m_packageInstalled = false;
    // What the launchers started, to end whatever a failed check left running.
    QList<Instance> m_started;

    [[nodiscard]] QString prefix(const QString &relative = {}) const
    {
        return QDir::cleanPath(m_work.filePath(u"root/"_qs + relative));
    }

    int trayItem(const QString &label)
    {
        return TrayMenu::find(TrayMenu::items(m_watcher.itemService), label).id;
    }
    void click(int id) { TrayMenu::click(m_watcher.itemService, id); }

    // The one running instance of `binary` started for `user`, if there is exactly one.
    Instance instanceOf(const User &user, const QString &binary = installedBinary)
    {
        const QList<Instance> found = findInstances(binary, user.vaultMarker());
        for (const Instance &instance : found) {
            if (!m_started.contains(instance))
                m_started.append(instance);
        }
        return found.size() == 1 ? found.first() : Instance();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_work.isValid());
        for (const char *tool : {"desktop-file-validate", "appstreamcli", "dpkg-deb",
                                 "dpkg-shlibdeps", "readelf", "gio", "dex"}) {
            QVERIFY2(!QStandardPaths::findExecutable(QString::fromLatin1(tool)).isEmpty(),
                     qPrintable(u"%1 is missing: tools/dev test installs it"_qs.arg(
                         QString::fromLatin1(tool))));
        }
        if (qEnvironmentVariableIsEmpty("DISPLAY"))
            QFAIL("needs an X server: run under xvfb-run (tools/dev test does)");
        QDBusConnection bus = QDBusConnection::sessionBus();
        if (!bus.isConnected())
            QFAIL("needs a private session bus: run under dbus-run-session (its CTest entry does)");
        QVERIFY(bus.registerObject(u"/StatusNotifierWatcher"_qs, &m_watcher,
                                   QDBusConnection::ExportAllContents));
        QVERIFY(bus.registerService(u"org.kde.StatusNotifierWatcher"_qs));
    }

    void installsEveryFileIntoPrefix()
    {
        const Run install =
            run(QStringLiteral(CMAKE_COMMAND),
                {u"--install"_qs, QStringLiteral(BUILD_DIR), u"--prefix"_qs, prefix()});
        QVERIFY2(install.code == 0, install.report().constData());
        QCOMPARE(filesBelow(prefix()), expectedFiles());
        QVERIFY(QFileInfo(prefix(u"bin/tallowfern"_qs)).isExecutable());
    }

    void iconIsRenderedAtEverySize()
    {
        for (int size : iconSizes) {
            const QString path =
                prefix(u"share/icons/hicolor/%1x%1/apps/%2.png"_qs.arg(size).arg(appId));
            QImageReader reader(path);
            QCOMPARE(reader.format(), QByteArray("png"));
            const QImage image = reader.read();
            QVERIFY2(!image.isNull(), qPrintable(path + u": "_qs + reader.errorString()));
            QCOMPARE(image.size(), QSize(size, size));
            // Drawn, on a tile with rounded corners.
            QCOMPARE(qAlpha(image.pixel(size / 2, size / 2)), 255);
            QCOMPARE(qAlpha(image.pixel(0, 0)), 0);
        }
        QFile svg(prefix(u"share/icons/hicolor/scalable/apps/%1.svg"_qs.arg(appId)));
        QVERIFY(svg.open(QIODevice::ReadOnly));
        QXmlStreamReader xml(&svg);
        QVERIFY(xml.readNextStartElement());
        QCOMPARE(xml.name().toString(), u"svg"_qs);
    }

    void desktopEntryValidates()
    {
        const QString path = prefix(u"share/applications/%1.desktop"_qs.arg(appId));
        const Run validate = run(u"desktop-file-validate"_qs, {path});
        QVERIFY2(validate.code == 0, validate.report().constData());
        QVERIFY2(validate.out.isEmpty(), validate.out.constData());

        const QMap<QString, QString> entry = readGroup(path, u"Desktop Entry");
        QCOMPARE(entry.value(u"Type"_qs), u"Application"_qs);
        QCOMPARE(entry.value(u"Name"_qs), u"Tallowfern"_qs);
        QCOMPARE(entry.value(u"Icon"_qs), appId);
        QCOMPARE(entry.value(u"Terminal"_qs), u"false"_qs);
        QCOMPARE(entry.value(u"StartupNotify"_qs), u"false"_qs);
        QVERIFY(!entry.value(u"Comment"_qs).isEmpty());
        QVERIFY(!entry.value(u"Categories"_qs).isEmpty());
        QVERIFY(!entry.value(u"Keywords"_qs).isEmpty());
        // The app has no org.freedesktop.Application interface to be activated through.
        QVERIFY(!entry.contains(u"DBusActivatable"_qs));
        // Found on PATH, which leads to the binary installed beside it.
        QCOMPARE(entry.value(u"Exec"_qs), u"tallowfern"_qs);
        QVERIFY(QFileInfo(prefix(u"bin/"_qs + entry.value(u"Exec"_qs))).isExecutable());

        // What the menu offers beside starting it: the command line's commands.
        QCOMPARE(entry.value(u"Actions"_qs), u"AddTask;Quit;"_qs);
        const QMap<QString, QString> addTask = readGroup(path, u"Desktop Action AddTask");
        QCOMPARE(addTask.value(u"Name"_qs), u"Add Task\u2026"_qs);
        QCOMPARE(addTask.value(u"Exec"_qs), u"tallowfern --add-task"_qs);
        const QMap<QString, QString> quit = readGroup(path, u"Desktop Action Quit");
        QCOMPARE(quit.value(u"Name"_qs), u"Quit Tallowfern"_qs);
        QCOMPARE(quit.value(u"Exec"_qs), u"tallowfern --quit"_qs);
    }

    void metainfoValidates()
    {
        const QString path = prefix(u"share/metainfo/%1.metainfo.xml"_qs.arg(appId));
        const Run validate = run(u"appstreamcli"_qs, {u"validate"_qs, u"--no-net"_qs, path});
        QVERIFY2(validate.code == 0, validate.report().constData());

        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QXmlStreamReader xml(&file);
        QMap<QString, QStringList> texts;
        QStringList releases;
        QString launchable;
        while (!xml.atEnd()) {
            if (xml.readNext() != QXmlStreamReader::StartElement)
                continue;
            const QString name = xml.name().toString();
            if (name == u"release") {
                releases.append(xml.attributes().value(u"version"_qs).toString());
            } else if (name == u"launchable") {
                QCOMPARE(xml.attributes().value(u"type"_qs).toString(), u"desktop-id"_qs);
                launchable = xml.readElementText();
            } else if (name == u"id" || name == u"binary" || name == u"dbus") {
                texts[name].append(xml.readElementText());
            }
        }
        QVERIFY2(!xml.hasError(), qPrintable(xml.errorString()));
        QCOMPARE(texts.value(u"id"_qs), QStringList{appId});
        QCOMPARE(launchable, appId + u".desktop"_qs);
        QCOMPARE(texts.value(u"binary"_qs), QStringList{u"tallowfern"_qs});
        QCOMPARE(texts.value(u"dbus"_qs), QStringList{appId});
        QCOMPARE(releases, QStringList{QStringLiteral(TALLOWFERN_VERSION)});
    }

    // A session bus that reads the installed service files starts the app when its name is called.
    void dbusServiceStartsInstalledBinary()
    {
        const QString services = prefix(u"share/dbus-1/services"_qs);
        const QMap<QString, QString> service =
            readGroup(services + u"/%1.service"_qs.arg(appId), u"D-BUS Service");
        QCOMPARE(service.value(u"Name"_qs), appId);
        QCOMPARE(service.value(u"Exec"_qs), prefix(u"bin/tallowfern"_qs));

        User user;
        const QString config = user.path(u"bus.conf"_qs);
        QFile file(config);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(
            "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
            " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig>\n<type>session</type>\n<listen>unix:dir=" +
            QFile::encodeName(user.path(u"runtime"_qs)) + "</listen>\n<servicedir>" +
            QFile::encodeName(services) +
            "</servicedir>\n<auth>EXTERNAL</auth>\n<policy context=\"default\">\n"
            "<allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
            "<allow eavesdrop=\"true\"/>\n<allow own=\"*\"/>\n</policy>\n</busconfig>\n");
        file.close();
        // Services started by the bus get its environment: this user's session.
        QProcess daemon;
        daemon.setProcessEnvironment(user.environment(user.noBus()));
        daemon.start(u"dbus-daemon"_qs,
                     {u"--nofork"_qs, u"--print-address"_qs, u"--config-file="_qs + config});
        QVERIFY2(daemon.waitForStarted(10000), qPrintable(daemon.errorString()));
        QTRY_VERIFY_WITH_TIMEOUT(daemon.canReadLine(), 10000);
        const QString address = QString::fromUtf8(daemon.readLine().trimmed());
        {
            QDBusConnection bus = QDBusConnection::connectToBus(address, u"activation"_qs);
            QVERIFY2(bus.isConnected(), qPrintable(bus.lastError().message()));
            // Nobody has the name yet: the bus starts the service to deliver the call.
            const QDate day = QDate::currentDate();
            bus.send(QDBusMessage::createMethodCall(appId, u"/io/tallowfern/Tallowfern"_qs,
                                                    u"org.freedesktop.DBus.Peer"_qs, u"Ping"_qs));
            Instance app;
            const QString binary = prefix(u"bin/tallowfern"_qs);
            QTRY_VERIFY_WITH_TIMEOUT((app = instanceOf(user, binary)).pid != 0, 20000);
            QTRY_VERIFY_WITH_TIMEOUT(user.hasTodaysBoard(day), 20000);
            QVERIFY(app.stop());
        }
        QDBusConnection::disconnectFromBus(u"activation"_qs);
        daemon.terminate();
        QVERIFY(daemon.waitForFinished(10000));
    }

    void installedBinaryPassesSelfTest()
    {
        const Run selfTest = run(prefix(u"bin/tallowfern"_qs), {u"--selftest"_qs});
        QVERIFY2(selfTest.code == 0, selfTest.report().constData());
        QCOMPARE(selfTest.out, QByteArray("selftest OK\n"));
    }

    // Beside the installed binary there is no QML folder of the build: its views come from the
    // binary itself, and it links no library by a path into the build.
    void installedBinaryRunsOutsideBuildTree()
    {
        const Run dynamic = run(u"readelf"_qs, {u"--dynamic"_qs, prefix(u"bin/tallowfern"_qs)});
        QVERIFY2(dynamic.code == 0, dynamic.report().constData());
        QVERIFY2(!dynamic.out.contains(BUILD_DIR), dynamic.out.constData());
        QVERIFY(!dynamic.out.contains("RPATH") && !dynamic.out.contains("RUNPATH"));

        User user;
        QProcess app;
        // On the test's bus: its tray icon comes up after the panel and its views are built.
        app.setProcessEnvironment(
            user.environment(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS")));
        app.setProcessChannelMode(QProcess::MergedChannels);
        app.setWorkingDirectory(user.path(u"home"_qs));
        m_watcher.itemService.clear();
        const QDate day = QDate::currentDate();
        app.start(prefix(u"bin/tallowfern"_qs), {});
        QVERIFY2(app.waitForStarted(10000), qPrintable(app.errorString()));
        QTRY_VERIFY_WITH_TIMEOUT(
            !m_watcher.itemService.isEmpty() || app.state() != QProcess::Running, 20000);
        QTRY_VERIFY_WITH_TIMEOUT(user.hasTodaysBoard(day) || app.state() != QProcess::Running,
                                 20000);
        const bool running = app.state() == QProcess::Running;
        app.terminate();
        if (!app.waitForFinished(5000)) {
            app.kill();
            app.waitForFinished(5000);
        }
        const QByteArray output = app.readAll();
        QVERIFY2(running, output.constData());
        QVERIFY2(!m_watcher.itemService.isEmpty(), output.constData());
        QVERIFY2(user.hasTodaysBoard(day), output.constData());
        QVERIFY2(!showsQmlTrouble(output), output.constData());
    }

    void packageBuilds()
    {
        const QString folder = m_work.filePath(u"package"_qs);
        const Run cpack = run(QStringLiteral(CPACK_COMMAND),
                              {u"-G"_qs, u"DEB"_qs, u"--config"_qs,
                               QStringLiteral(BUILD_DIR "/CPackConfig.cmake"), u"-B"_qs, folder});
        QVERIFY2(cpack.code == 0, cpack.report().constData());
        const QStringList debs = QDir(folder).entryList({u"tallowfern_*.deb"_qs}, QDir::Files);
        QCOMPARE(debs.size(), 1);
        m_deb = QDir(folder).filePath(debs.first());
    }

    void packageFields()
    {
        QVERIFY2(!m_deb.isEmpty(), "no package was built");
        const Run field = run(u"dpkg-deb"_qs, {u"--field"_qs, m_deb});
        QVERIFY2(field.code == 0, field.report().constData());
        const QMap<QString, QString> fields = controlFields(field.out);
        QCOMPARE(fields.value(u"Package"_qs), u"tallowfern"_qs);
        QVERIFY2(fields.value(u"Version"_qs).startsWith(QStringLiteral(TALLOWFERN_VERSION "-")),
                 qPrintable(fields.value(u"Version"_qs)));
        QCOMPARE(fields.value(u"Section"_qs), u"utils"_qs);
        QVERIFY(!fields.value(u"Maintainer"_qs).isEmpty());
        QVERIFY(!fields.value(u"Description"_qs).isEmpty());
        const Run arch = run(u"dpkg"_qs, {u"--print-architecture"_qs});
        QCOMPARE(fields.value(u"Architecture"_qs), QString::fromUtf8(arch.out.trimmed()));

        const QSet<QString> depends = dependencyNames(fields.value(u"Depends"_qs));
        // The libraries it links, found by dpkg-shlibdeps, and what it only loads at run time.
        for (const QString &name :
             {u"libqt6core6"_qs, u"libqt6gui6"_qs, u"libqt6widgets6"_qs, u"libqt6qml6"_qs,
              u"libqt6quick6"_qs, u"libqt6dbus6"_qs, u"libqt6svg6"_qs, u"qml6-module-qtquick"_qs,
              u"qml6-module-qtqml"_qs, u"qml6-module-qtqml-models"_qs,
              u"qml6-module-qtqml-workerscript"_qs, u"xdg-utils"_qs}) {
            QVERIFY2(depends.contains(name), qPrintable(name + u" missing from Depends: "_qs +
                                                        fields.value(u"Depends"_qs)));
        }
    }

    void packageContents()
    {
        QVERIFY2(!m_deb.isEmpty(), "no package was built");
        const Run contents = run(u"dpkg-deb"_qs, {u"--contents"_qs, m_deb});
        QVERIFY2(contents.code == 0, contents.report().constData());
        QSet<QString> files;
        for (const QByteArray &line : contents.out.split('\n')) {
            const QList<QByteArray> columns = line.simplified().split(' ');
            if (columns.size() < 6 || !line.startsWith('-'))
                continue;
            QCOMPARE(columns.at(1), QByteArray("root/root"));
            files.insert(QString::fromUtf8(columns.last()));
        }
        QSet<QString> expected;
        for (const QString &file : expectedFiles())
            expected.insert(u"./usr/"_qs + file);
        QCOMPARE(files, expected);

        // Inside the package, D-Bus starts the binary where the package puts it.
        const QString unpacked = m_work.filePath(u"unpacked"_qs);
        const Run extract = run(u"dpkg-deb"_qs, {u"--extract"_qs, m_deb, unpacked});
        QVERIFY2(extract.code == 0, extract.report().constData());
        const QMap<QString, QString> service = readGroup(
            unpacked + u"/usr/share/dbus-1/services/%1.service"_qs.arg(appId), u"D-BUS Service");
        QCOMPARE(service.value(u"Exec"_qs), installedBinary);
    }

    void packageInstalls()
    {
        if (::geteuid() != 0)
            QSKIP("installing the package on this machine needs root; CI runs as root");
        QVERIFY2(!m_deb.isEmpty(), "no package was built");
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"DEBIAN_FRONTEND"_qs, u"noninteractive"_qs);
        // Over whatever an interrupted run may have left.
        const QStringList install{u"install"_qs,
                                  u"-y"_qs,
                                  u"--reinstall"_qs,
                                  u"--no-install-recommends"_qs,
                                  u"-o"_qs,
                                  u"DPkg::Lock::Timeout=300"_qs,
                                  m_deb};
        // Everything it depends on is already here (tools/dev installs it), so apt installs the
        // package alone and downloads nothing.
        const Run plan = run(u"apt-get"_qs, QStringList{u"--simulate"_qs} + install, environment);
        QVERIFY2(plan.code == 0, plan.report().constData());
        QStringList others;
        for (const QByteArray &line : plan.out.split('\n')) {
            if (line.startsWith("Inst ") && !line.startsWith("Inst tallowfern "))
                others.append(QString::fromUtf8(line));
        }
        QVERIFY2(others.isEmpty(),
                 qPrintable(u"not installed by tools/dev: "_qs + others.join(u"; ")));

        m_packageInstalled = true;
        const Run installed = run(u"apt-get"_qs, install, environment, 400000);
        QVERIFY2(installed.code == 0, installed.report().constData());
        const Run status = run(u"dpkg-query"_qs, {u"-W"_qs, u"-f=${Status}"_qs, u"tallowfern"_qs});
        QCOMPARE(status.out, QByteArray("install ok installed"));

        const Run selfTest = run(installedBinary, {u"--selftest"_qs});
        QVERIFY2(selfTest.code == 0, selfTest.report().constData());
        QCOMPARE(selfTest.out, QByteArray("selftest OK\n"));
    }

    // Started from the application menu as a desktop does it, then switched to Launch at Login
    // from its tray menu and started again the way a session starts autostart entries.
    void startsFromMenuAndAtLogin()
    {
        if (::geteuid() != 0)
            QSKIP("installing the package on this machine needs root; CI runs as root");
        QVERIFY2(m_packageInstalled, "the package is not installed");

        User user;
        const QString entry = u"/usr/share/applications/%1.desktop"_qs.arg(appId);
        QProcess menu;
        // On the test's private bus, where the test plays the panel that shows the tray icon.
        menu.setProcessEnvironment(
            user.environment(qEnvironmentVariable("DBUS_SESSION_BUS_ADDRESS")));
        menu.setWorkingDirectory(user.path(u"home"_qs));
        menu.setProcessChannelMode(QProcess::MergedChannels);
        // The app inherits the output: its messages land in the same file.
        menu.setStandardOutputFile(user.path(u"menu.log"_qs));
        m_watcher.itemService.clear();
        const QDate day = QDate::currentDate();
        menu.start(u"gio"_qs, {u"launch"_qs, entry});
        QVERIFY(menu.waitForFinished(30000));
        QVERIFY2(menu.exitStatus() == QProcess::NormalExit && menu.exitCode() == 0,
                 user.log(u"menu.log"_qs).constData());

        Instance app;
        QTRY_VERIFY2_WITH_TIMEOUT((app = instanceOf(user)).pid != 0,
                                  user.log(u"menu.log"_qs).constData(), 20000);
        // Started as the entry says, through PATH.
        QCOMPARE(app.commandName(), QByteArray("tallowfern"));
        QTRY_VERIFY2_WITH_TIMEOUT(user.hasTodaysBoard(day), user.log(u"menu.log"_qs).constData(),
                                  20000);

        // Launch at Login, from the tray menu of the app the menu started.
        QTRY_VERIFY_WITH_TIMEOUT(!m_watcher.itemService.isEmpty(), 20000);
        int login = 0;
        QTRY_VERIFY_WITH_TIMEOUT((login = trayItem(u"Launch at Login"_qs)) != 0, 10000);
        click(login);
        const QString autostart = user.path(u"config/autostart/%1.desktop"_qs.arg(appId));
        QTRY_VERIFY_WITH_TIMEOUT(QFileInfo::exists(autostart), 10000);
        QCOMPARE(readGroup(autostart, u"Desktop Entry").value(u"Exec"_qs), installedBinary);
        QCOMPARE(readGroup(autostart, u"Desktop Entry").value(u"Icon"_qs), appId);
        const Run validate = run(u"desktop-file-validate"_qs, {autostart});
        QVERIFY2(validate.code == 0, validate.report().constData());

        // Quit from the tray, as the user would before logging out.
        const int quit = trayItem(u"Quit Tallowfern"_qs);
        QVERIFY(quit != 0);
        click(quit);
        QTRY_VERIFY_WITH_TIMEOUT(!app.isRunning(), 10000);
        const QByteArray menuLog = user.log(u"menu.log"_qs);
        QVERIFY2(!showsQmlTrouble(menuLog), menuLog.constData());

        // The next login: the session starts the autostart entries of this user, and the new
        // instance makes today's board again.
        QVERIFY(QDir(user.boards()).removeRecursively());
        QProcess session;
        session.setProcessEnvironment(user.environment(user.noBus()));
        session.setWorkingDirectory(user.path(u"home"_qs));
        session.setProcessChannelMode(QProcess::MergedChannels);
        session.setStandardOutputFile(user.path(u"login.log"_qs));
        const QDate loginDay = QDate::currentDate();
        session.start(u"dex"_qs, {u"--autostart"_qs, u"--environment"_qs, u"X-Generic"_qs});
        QVERIFY(session.waitForFinished(30000));
        QVERIFY2(session.exitStatus() == QProcess::NormalExit && session.exitCode() == 0,
                 user.log(u"login.log"_qs).constData());
        QTRY_VERIFY2_WITH_TIMEOUT((app = instanceOf(user)).pid != 0,
                                  user.log(u"login.log"_qs).constData(), 20000);
        QCOMPARE(app.commandName(), installedBinary.toUtf8());
        QTRY_VERIFY2_WITH_TIMEOUT(user.hasTodaysBoard(loginDay),
                                  user.log(u"login.log"_qs).constData(), 20000);
        QVERIFY(app.stop());
        const QByteArray loginLog = user.log(u"login.log"_qs);
        QVERIFY2(!showsQmlTrouble(loginLog), loginLog.constData());
    }

    void cleanupTestCase()
    {
        bool stopped = true;
        for (const Instance &instance : std::as_const(m_started))
            stopped = instance.stop() && stopped;
        const Run status = run(u"dpkg-query"_qs, {u"-W"_qs, u"-f=${Status}"_qs, u"tallowfern"_qs});
        if (m_packageInstalled && status.code == 0 && !status.out.endsWith(" not-installed")) {
            QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
            environment.insert(u"DEBIAN_FRONTEND"_qs, u"noninteractive"_qs);
            const Run remove = run(
                u"apt-get"_qs,
                {u"remove"_qs, u"-y"_qs, u"-o"_qs, u"DPkg::Lock::Timeout=300"_qs, u"tallowfern"_qs},
                environment, 400000);
            QVERIFY2(remove.code == 0, remove.report().constData());
            QVERIFY(!QFileInfo::exists(installedBinary));
        }
        QVERIFY(stopped);
    }
};

QTEST_GUILESS_MAIN(TestInstall)
#include "tst_install.moc"
