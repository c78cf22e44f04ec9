#include "atomicwrite_texts.h"
#include "io/TextFile.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>

#include <chrono>
#include <thread>

class TestAtomicWriteCrash : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QStandardPaths::setTestModeEnabled(true); }

    // A writer killed at any moment leaves the old board or the new one, whole.
    void killedWriterLeavesAWholeBoard_data()
    {
        QTest::addColumn<QStringList>("mode");
        QTest::newRow("atomic write") << QStringList();
        QTest::newRow("guarded replace") << QStringList{u"guarded"_qs};
    }
    void killedWriterLeavesAWholeBoard()
    {
        QFETCH(QStringList, mode);
        constexpr int rounds = 200;
        const QByteArray boardA = AtomicWriteTexts::boardA();
        const QByteArray boardB = AtomicWriteTexts::boardB();
        QVERIFY(boardA.size() > 40 * 1024 && boardB.size() > 70 * 1024);

        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath(u"board.md"_qs);
        QCOMPARE(TextFile::writeAtomically(path, boardB).value_or(u"written"_qs), u"written"_qs);

        bool fixed = false;
        const quint32 start =
            quint32(qEnvironmentVariableIntValue("TALLOWFERN_CRASH_RANDOM_START", &fixed));
        const quint32 randomStart = fixed ? start : QRandomGenerator::system()->generate();
        qInfo("random start value %u (set TALLOWFERN_CRASH_RANDOM_START to repeat a run)",
              randomStart);
        QRandomGenerator random(randomStart);

        int foundA = 0;
        int foundB = 0;
        int leftovers = 0;
        QElapsedTimer timer;
        timer.start();
        for (int round = 0; round < rounds; ++round) {
            QProcess child;
            child.start(QStringLiteral(ATOMIC_WRITE_CHILD), QStringList{path} + mode);
            QVERIFY2(child.waitForStarted(10000), qPrintable(child.errorString()));
            while (!child.canReadLine())
                QVERIFY2(child.waitForReadyRead(10000), "the writer never started writing");
            const auto delay = std::chrono::microseconds(random.bounded(30001));
            std::this_thread::sleep_for(delay);
            child.kill();
            QVERIFY(child.waitForFinished(10000));
            QVERIFY2(child.exitStatus() == QProcess::CrashExit,
                     qPrintable(u"the writer stopped by itself: "_qs +
                                QString::fromLocal8Bit(child.readAllStandardError())));

            QFile file(path);
            QVERIFY(file.open(QIODevice::ReadOnly));
            const QByteArray content = file.readAll();
            if (content == boardA)
                ++foundA;
            else if (content == boardB)
                ++foundB;
            else
                QFAIL(qPrintable(
                    u"round %1, killed after %2 µs: %3 bytes that are neither board"_qs.arg(round)
                        .arg(delay.count())
                        .arg(content.size())));

            const QStringList names = QDir(dir.path())
                                          .entryList(QDir::AllEntries | QDir::Hidden |
                                                     QDir::System | QDir::NoDotAndDotDot);
            for (const QString &name : names) {
                if (name == u"board.md")
                    continue;
                // Whatever a killed writer leaves behind must be something watchers skip.
                QVERIFY2(TextFile::isTemporaryName(name), qPrintable(name));
                ++leftovers;
                QVERIFY(QFile::remove(dir.filePath(name)));
            }
        }
        qInfo("%d rounds in %lld ms: board A %d times, board B %d times, %d temporary files left",
              rounds, timer.elapsed(), foundA, foundB, leftovers);
        // Both boards and some leftovers show that kills landed at different points of a write.
        QVERIFY(foundA > 0);
        QVERIFY(foundB > 0);
        QVERIFY(leftovers > 0);
    }
};

QTEST_GUILESS_MAIN(TestAtomicWriteCrash)
#include "tst_atomicwrite_crash.moc"
