#include "platform/UnixSignals.h"

#include <QCoreApplication>
#include <QSignalSpy>
#include <QTest>
#include <QThread>

#include <csignal>
#include <thread>

#include <unistd.h>

namespace {

enum class Sender { SameThread, OtherThread, Process };

struct sigaction actionOf(int signal)
{
    struct sigaction action {};
    ::sigaction(signal, nullptr, &action);
    return action;
}

bool isDefault(int signal)
{
    const struct sigaction action = actionOf(signal);
    return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_DFL;
}

void setDisposition(int signal, void (*handler)(int))
{
    struct sigaction action {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    ::sigaction(signal, &action, nullptr);
}

volatile sig_atomic_t ownHandlerRan = 0;

void ownHandler(int)
{
    ownHandlerRan = 1;
}

} // namespace

Q_DECLARE_METATYPE(Sender)

class TestUnixSignals : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { qRegisterMetaType<Sender>(); }

    // Whatever ran the tests may have left SIGHUP or SIGINT ignored (nohup, a background job),
    // which UnixSignals would keep; every test starts from the default.
    void init()
    {
        for (const int signal : UnixSignals::handled)
            setDisposition(signal, SIG_DFL);
    }
    void cleanup() { init(); }

    void signalReachesTheMainThread_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<Sender>("sender");
        for (const int signal : UnixSignals::handled) {
            const QByteArray name = UnixSignals::name(signal).toLatin1();
            QTest::addRow("%s raised on the main thread", name.constData())
                << signal << Sender::SameThread;
            QTest::addRow("%s raised on another thread", name.constData())
                << signal << Sender::OtherThread;
            QTest::addRow("%s sent to the process", name.constData()) << signal << Sender::Process;
        }
    }
    void signalReachesTheMainThread()
    {
        QFETCH(int, signal);
        QFETCH(Sender, sender);
        const UnixSignals signals_;
        QVERIFY(signals_.handles(signal));
        QSignalSpy spy(&signals_, &UnixSignals::quitRequested);
        QList<QThread *> threads;
        connect(&signals_, &UnixSignals::quitRequested, this,
                [&threads] { threads.append(QThread::currentThread()); });

        switch (sender) {
        case Sender::SameThread:
            QCOMPARE(::raise(signal), 0);
            break;
        case Sender::OtherThread: {
            // raise() is directed at the calling thread: the handler runs there.
            int result = -1;
            std::thread other([&result, signal] { result = ::raise(signal); });
            other.join();
            QCOMPARE(result, 0);
            break;
        }
        case Sender::Process:
            QCOMPARE(::kill(::getpid(), signal), 0);
            break;
        }
        QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 1, 10000);
        QCOMPARE(spy.at(0).at(0).toInt(), signal);
        QCOMPARE(threads, QList<QThread *>{QCoreApplication::instance()->thread()});
        // Caught once: the same signal again would end the process, should quitting hang.
        QVERIFY(!signals_.handles(signal));
        QVERIFY(isDefault(signal));
        // The others are still caught.
        for (const int other : UnixSignals::handled) {
            if (other != signal)
                QVERIFY2(signals_.handles(other), qPrintable(UnixSignals::name(other)));
        }
    }

    void severalSignalsArriveInOrder()
    {
        const UnixSignals signals_;
        QSignalSpy spy(&signals_, &UnixSignals::quitRequested);
        QCOMPARE(::raise(SIGHUP), 0);
        QCOMPARE(::raise(SIGTERM), 0);
        QCOMPARE(::raise(SIGINT), 0);
        QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 3, 10000);
        QCOMPARE(spy.at(0).at(0).toInt(), SIGHUP);
        QCOMPARE(spy.at(1).at(0).toInt(), SIGTERM);
        QCOMPARE(spy.at(2).at(0).toInt(), SIGINT);
    }

    void ignoredAtStartStaysIgnored()
    {
        setDisposition(SIGHUP, SIG_IGN);
        const UnixSignals signals_;
        QVERIFY(!signals_.handles(SIGHUP));
        QVERIFY(signals_.handles(SIGTERM));
        QSignalSpy spy(&signals_, &UnixSignals::quitRequested);
        QCOMPARE(::raise(SIGHUP), 0);
        // Had SIGHUP been caught, it would come first through the same pipe.
        QCOMPARE(::raise(SIGTERM), 0);
        QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 1, 10000);
        QCOMPARE(spy.at(0).at(0).toInt(), SIGTERM);
        QVERIFY(actionOf(SIGHUP).sa_handler == SIG_IGN);
    }

    void destructionGivesTheSignalsBack()
    {
        setDisposition(SIGTERM, ownHandler);
        ownHandlerRan = 0;
        {
            const UnixSignals signals_;
            QVERIFY(signals_.handles(SIGTERM));
            QVERIFY(actionOf(SIGTERM).sa_handler != ownHandler);
        }
        QVERIFY(actionOf(SIGTERM).sa_handler == ownHandler);
        QVERIFY(isDefault(SIGINT));
        QVERIFY(isDefault(SIGHUP));
        QCOMPARE(::raise(SIGTERM), 0);
        QCOMPARE(ownHandlerRan, sig_atomic_t(1));
    }

    // A signal that came for an object that is gone does not reach the next one.
    void nothingLeftOverForTheNext()
    {
        {
            const UnixSignals first;
            QCOMPARE(::raise(SIGTERM), 0);
        }
        const UnixSignals second;
        QSignalSpy spy(&second, &UnixSignals::quitRequested);
        QCOMPARE(::raise(SIGINT), 0);
        QTRY_COMPARE_WITH_TIMEOUT(spy.size(), 1, 10000);
        QCOMPARE(spy.at(0).at(0).toInt(), SIGINT);
    }

    void oneObjectAtATime()
    {
        const UnixSignals first;
        QTest::ignoreMessage(QtWarningMsg,
                             "the signals to end are already caught elsewhere in this process");
        const UnixSignals second;
        QVERIFY(!second.handles(SIGTERM));
        QSignalSpy firstSpy(&first, &UnixSignals::quitRequested);
        QSignalSpy secondSpy(&second, &UnixSignals::quitRequested);
        QCOMPARE(::raise(SIGTERM), 0);
        QTRY_COMPARE_WITH_TIMEOUT(firstSpy.size(), 1, 10000);
        QCOMPARE(secondSpy.size(), 0);
        QVERIFY(first.handles(SIGINT));
    }

    void names_data()
    {
        QTest::addColumn<int>("signal");
        QTest::addColumn<QString>("name");
        QTest::newRow("SIGTERM") << int(SIGTERM) << u"SIGTERM"_qs;
        QTest::newRow("SIGINT") << int(SIGINT) << u"SIGINT"_qs;
        QTest::newRow("SIGHUP") << int(SIGHUP) << u"SIGHUP"_qs;
        QTest::newRow("other") << int(SIGUSR1) << u"signal "_qs + QString::number(SIGUSR1);
    }
    void names()
    {
        QFETCH(int, signal);
        QFETCH(QString, name);
        QCOMPARE(UnixSignals::name(signal), name);
    }
};

QTEST_GUILESS_MAIN(TestUnixSignals)
#include "tst_unixsignals.moc"
