// The store's folder scans with ten years of day boards: listing the board days (the calendar and
// the day picker ask on every draw) and finding the latest earlier board (each new day).
#include "store/BoardStore.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct TenYears {
    QTemporaryDir dir;
    std::unique_ptr<BoardStore> store;

    TenYears()
    {
        const QString vault = dir.filePath(QStringLiteral("vault"));
        const QString boards = vault + QStringLiteral("/01 Journal/Boards");
        QDir().mkpath(boards);
        const QByteArray text = Board::empty().markdown().toUtf8();
        QDate day = QDate::currentDate().addYears(-10);
        while (day < QDate::currentDate()) {
            QFile file(boards + u'/' + day.toString(u"yyyy-MM-dd") + QStringLiteral(".md"));
            if (file.open(QIODevice::WriteOnly))
                file.write(text);
            day = day.addDays(1);
        }
        qputenv("HOME", QFile::encodeName(dir.filePath(QStringLiteral("home"))));
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(dir.filePath(QStringLiteral("config"))));
        qputenv("XDG_STATE_HOME", QFile::encodeName(dir.filePath(QStringLiteral("state"))));
        qputenv("TALLOWFERN_VAULT", QFile::encodeName(vault));
        store = std::make_unique<BoardStore>();
    }
};

TenYears &fixture()
{
    static TenYears years;
    return years;
}

void BM_BoardDays(benchmark::State &state)
{
    BoardStore &store = *fixture().store;
    for (auto _ : state) {
        const QSet<QString> days = store.boardDays();
        benchmark::DoNotOptimize(days.size());
    }
}
BENCHMARK(BM_BoardDays)->Unit(benchmark::kMillisecond);

void BM_PreviousBoard(benchmark::State &state)
{
    BoardStore &store = *fixture().store;
    for (auto _ : state) {
        const auto previous = store.previousBoardPath();
        benchmark::DoNotOptimize(previous.has_value());
    }
}
BENCHMARK(BM_PreviousBoard)->Unit(benchmark::kMillisecond);

void BM_CanStepBack(benchmark::State &state)
{
    BoardStore &store = *fixture().store;
    for (auto _ : state)
        benchmark::DoNotOptimize(store.canStep(-1));
}
BENCHMARK(BM_CanStepBack)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv)
{
    // The store's watcher and day timer need an event dispatcher.
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
