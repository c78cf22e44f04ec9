#include "app/Main.h"

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

Q_DECLARE_METATYPE(Main::Mode)

namespace {

struct Run {
    int exitCode = -1;
    bool finished = false;
    QByteArray out;
    QByteArray err;
};

// Runs the binary; a process still running after `wait` ms is a resident app and gets ended.
Run runBinary(const QString &binary, const QStringList &arguments, int wait,
              const QProcessEnvironment &environment = QProcessEnvironment::systemEnvironment())
{
    QProcess process;
    process.setProcessEnvironment(environment);
    process.start(binary, arguments);
    Run run;
    if (!process.waitForStarted(10000))
        return run;
    run.finished = process.waitForFinished(wait);
    if (!run.finished) {
        process.kill();
        process.waitForFinished(10000);
    } else {
        run.exitCode = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    }
    run.out = process.readAllStandardOutput();
    run.err = process.readAllStandardError();
    return run;
}

} // namespace

class TestMain : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_scratch;

private slots:
    void choose_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Main::Mode>("mode");
        QTest::addColumn<QString>("dir");
        const QString bin = u"/usr/bin/tallowfern"_qs;
        QTest::newRow("nothing") << QStringList{bin} << Main::Mode::Resident << QString();
        QTest::newRow("empty list") << QStringList() << Main::Mode::Resident << QString();
        QTest::newRow("selftest") << QStringList{bin, u"--selftest"_qs} << Main::Mode::SelfTest
                                  << QString();
        QTest::newRow("selftest wins over snapshot")
            << QStringList{bin, u"--snapshot"_qs, u"dir"_qs, u"--selftest"_qs}
            << Main::Mode::SelfTest << QString();
        QTest::newRow("selftest as the program path")
            << QStringList{u"--selftest"_qs} << Main::Mode::SelfTest << QString();
        QTest::newRow("snapshot") << QStringList{bin, u"--snapshot"_qs, u"out"_qs}
                                  << Main::Mode::Snapshot << u"out"_qs;
        QTest::newRow("first snapshot wins")
            << QStringList{bin, u"--snapshot"_qs, u"a"_qs, u"--snapshot"_qs, u"b"_qs}
            << Main::Mode::Snapshot << u"a"_qs;
        QTest::newRow("directory taken as given")
            << QStringList{bin, u"--snapshot"_qs, u"--selftes"_qs} << Main::Mode::Snapshot
            << u"--selftes"_qs;
        QTest::newRow("snapshot after other arguments")
            << QStringList{bin, u"-v"_qs, u"--snapshot"_qs, u" my dir "_qs} << Main::Mode::Snapshot
            << u" my dir "_qs;
        QTest::newRow("snapshot last is ignored")
            << QStringList{bin, u"--snapshot"_qs} << Main::Mode::Resident << QString();
        QTest::newRow("equals form is unknown")
            << QStringList{bin, u"--snapshot=dir"_qs} << Main::Mode::Resident << QString();
        QTest::newRow("case matters")
            << QStringList{bin, u"--SELFTEST"_qs, u"--Snapshot"_qs, u"x"_qs} << Main::Mode::Resident
            << QString();
        QTest::newRow("whole strings only")
            << QStringList{bin, u" --selftest"_qs} << Main::Mode::Resident << QString();

        QTest::newRow("help") << QStringList{bin, u"--help"_qs} << Main::Mode::Help << QString();
        QTest::newRow("short help") << QStringList{bin, u"-h"_qs} << Main::Mode::Help << QString();
        QTest::newRow("help among unknown ones")
            << QStringList{bin, u"-v"_qs, u"--help"_qs, u"x"_qs} << Main::Mode::Help << QString();
        QTest::newRow("version") << QStringList{bin, u"--version"_qs} << Main::Mode::Version
                                 << QString();
        QTest::newRow("selftest wins over help") << QStringList{bin, u"--help"_qs, u"--selftest"_qs}
                                                 << Main::Mode::SelfTest << QString();
        QTest::newRow("snapshot wins over help")
            << QStringList{bin, u"--help"_qs, u"--snapshot"_qs, u"out"_qs} << Main::Mode::Snapshot
            << u"out"_qs;
        QTest::newRow("help wins over version")
            << QStringList{bin, u"--version"_qs, u"-h"_qs} << Main::Mode::Help << QString();
        QTest::newRow("version wins over commands")
            << QStringList{bin, u"--quit"_qs, u"--version"_qs} << Main::Mode::Version << QString();
        QTest::newRow("help wins over a task's text")
            << QStringList{bin, u"--add-task"_qs, u"--help"_qs} << Main::Mode::Help << QString();
        QTest::newRow("equals form of help is unknown")
            << QStringList{bin, u"--help=all"_qs, u"--HELP"_qs, u"-help"_qs} << Main::Mode::Resident
            << QString();
    }
    void choose()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Main::Mode, mode);
        QFETCH(QString, dir);
        const Main::Choice choice = Main::choose(arguments);
        QCOMPARE(choice.mode, mode);
        QCOMPARE(choice.snapshotDir, dir);
        QCOMPARE(choice.taskText, QString());
    }

    void chooseCommand_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<Main::Mode>("mode");
        QTest::addColumn<QString>("text");
        const QString bin = u"/usr/bin/tallowfern"_qs;
        QTest::newRow("toggle") << QStringList{bin, u"--toggle"_qs} << Main::Mode::Toggle
                                << QString();
        QTest::newRow("open") << QStringList{bin, u"--open"_qs} << Main::Mode::Open << QString();
        QTest::newRow("close") << QStringList{bin, u"--close"_qs} << Main::Mode::Close << QString();
        QTest::newRow("quit") << QStringList{bin, u"--quit"_qs} << Main::Mode::Quit << QString();
        QTest::newRow("add task") << QStringList{bin, u"--add-task"_qs, u"Call the bank"_qs}
                                  << Main::Mode::AddTask << u"Call the bank"_qs;
        QTest::newRow("text taken as given") << QStringList{bin, u"--add-task"_qs, u"  --open "_qs}
                                             << Main::Mode::AddTask << u"  --open "_qs;
        QTest::newRow("option as the text") << QStringList{bin, u"--add-task"_qs, u"--quit"_qs}
                                            << Main::Mode::AddTask << u"--quit"_qs;
        QTest::newRow("blank text is still a text")
            << QStringList{bin, u"--add-task"_qs, QString()} << Main::Mode::AddTask << QString();
        QTest::newRow("add task without text")
            << QStringList{bin, u"--add-task"_qs} << Main::Mode::NewTask << QString();
        QTest::newRow("add task last, after another command")
            << QStringList{bin, u"--open"_qs, u"--add-task"_qs} << Main::Mode::Open << QString();
        QTest::newRow("first command wins")
            << QStringList{bin, u"--close"_qs, u"--open"_qs, u"--quit"_qs} << Main::Mode::Close
            << QString();
        QTest::newRow("first command wins over a later task")
            << QStringList{bin, u"--toggle"_qs, u"--add-task"_qs, u"x"_qs} << Main::Mode::Toggle
            << QString();
        QTest::newRow("task first wins")
            << QStringList{bin, u"--add-task"_qs, u"x"_qs, u"--toggle"_qs} << Main::Mode::AddTask
            << u"x"_qs;
        QTest::newRow("after unknown arguments")
            << QStringList{bin, u"-v"_qs, u"--open=now"_qs, u"--open"_qs} << Main::Mode::Open
            << QString();
        QTest::newRow("selftest wins over commands")
            << QStringList{bin, u"--quit"_qs, u"--selftest"_qs} << Main::Mode::SelfTest
            << QString();
        QTest::newRow("snapshot wins over commands")
            << QStringList{bin, u"--open"_qs, u"--snapshot"_qs, u"out"_qs} << Main::Mode::Snapshot
            << QString();
        QTest::newRow("snapshot last leaves the command")
            << QStringList{bin, u"--open"_qs, u"--snapshot"_qs} << Main::Mode::Open << QString();
        QTest::newRow("task text is no snapshot folder")
            << QStringList{bin, u"--add-task"_qs, u"--snapshot"_qs} << Main::Mode::AddTask
            << u"--snapshot"_qs;
        QTest::newRow("case matters")
            << QStringList{bin, u"--Open"_qs, u"--QUIT"_qs, u"--add-Task"_qs}
            << Main::Mode::Resident << QString();
    }
    void chooseCommand()
    {
        QFETCH(QStringList, arguments);
        QFETCH(Main::Mode, mode);
        QFETCH(QString, text);
        const Main::Choice choice = Main::choose(arguments);
        QCOMPARE(choice.mode, mode);
        QCOMPARE(choice.taskText, text);
    }

    void selfTestBinary_data()
    {
        QTest::addColumn<bool>("withDisplay");
        QTest::newRow("offscreen") << true;
        QTest::newRow("no display at all") << false;
    }
    void selfTestBinary()
    {
        QFETCH(bool, withDisplay);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        if (!withDisplay) {
            for (const QString &name : {u"DISPLAY"_qs, u"WAYLAND_DISPLAY"_qs, u"QT_QPA_PLATFORM"_qs,
                                        u"XDG_RUNTIME_DIR"_qs, u"DBUS_SESSION_BUS_ADDRESS"_qs})
                environment.remove(name);
            // No home, settings or vault either.
            environment.insert(u"HOME"_qs, m_scratch.filePath(u"missing-home"_qs));
            environment.remove(u"TALLOWFERN_VAULT"_qs);
        }
        const Run run = runBinary(TALLOWFERN_BINARY, {u"--selftest"_qs}, 20000, environment);
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QByteArray("selftest OK\n"));
        QCOMPARE(run.err, QByteArray());
        QVERIFY(!QFileInfo::exists(m_scratch.filePath(u"missing-home"_qs)));
    }

    void selfTestWinsOverSnapshot()
    {
        const QString dir = m_scratch.filePath(u"never-made"_qs);
        const Run run =
            runBinary(TALLOWFERN_BINARY, {u"--snapshot"_qs, dir, u"--selftest"_qs}, 20000);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QByteArray("selftest OK\n"));
        QVERIFY(!QFileInfo::exists(dir));
    }

    void failingSelfTestExitsWithOne()
    {
        const Run run = runBinary(FAILING_SELFTEST_BINARY, {u"--selftest"_qs}, 20000);
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 1);
        QCOMPARE(run.out, QByteArray("FAIL: done lane complete\nFAIL: done written checked\n"
                                     "selftest FAILED\n"));
        QCOMPARE(run.err, QByteArray());
    }

    void firstSnapshotDirectoryWins()
    {
        const QString a = m_scratch.filePath(u"a"_qs);
        const QString b = m_scratch.filePath(u"b"_qs);
        const Run run =
            runBinary(TALLOWFERN_BINARY, {u"--snapshot"_qs, a, u"--snapshot"_qs, b}, 20000);
        QVERIFY(run.finished);
        QCOMPARE(run.exitCode, 0);
        QVERIFY(QFileInfo(a).isDir());
        QVERIFY(!QFileInfo::exists(b));
    }

    void residentModeKeepsRunning_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::newRow("no arguments") << QStringList();
        QTest::newRow("snapshot as the last argument") << QStringList{u"--snapshot"_qs};
        QTest::newRow("unknown arguments")
            << QStringList{u"--Help"_qs, u"--snapshot=x"_qs, u"-v"_qs, u"--quit=now"_qs};
    }
    void residentModeKeepsRunning()
    {
        QFETCH(QStringList, arguments);
        QTemporaryDir cwd;
        QProcess process;
        process.setWorkingDirectory(cwd.path());
        process.start(TALLOWFERN_BINARY, arguments);
        QVERIFY(process.waitForStarted(10000));
        // The resident app lives until it is told to quit; the other modes end by themselves.
        QVERIFY(!process.waitForFinished(1500));
        QCOMPARE(process.state(), QProcess::Running);
        process.kill();
        process.waitForFinished(10000);
        QCOMPARE(process.readAllStandardOutput(), QByteArray());
        QVERIFY(QDir(cwd.path()).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestMain)
#include "tst_main.moc"
