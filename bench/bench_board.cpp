#include "model/Board.h"

#include <QRandomGenerator>

#include <benchmark/benchmark.h>

#include <array>

namespace {

constexpr int cardCount = 10000;

// A large but ordinary board: four lanes, short tasks, a few notes, the usual settings block.
QString makeBoardText()
{
    static constexpr std::array<QStringView, 16> words{
        u"call", u"email", u"review", u"draft",     u"the", u"report", u"bank",    u"invoice",
        u"plan", u"week",  u"buy",    u"groceries", u"fix", u"bike",   u"meeting", u"notes",
    };
    static constexpr std::array<QStringView, 4> titles{u"To do", u"Doing", u"Done", u"Someday"};
    // A fixed start keeps the text, and so the figures, the same from run to run.
    QRandomGenerator rng(2024);

    QString text = QStringLiteral("---\n\nkanban-plugin: board\n\n---\n\n");
    for (const QStringView title : titles) {
        text += u"## ";
        text += title;
        text += u"\n\n";
        const bool done = title == u"Done";
        if (done)
            text += u"**Complete**\n";
        for (int i = 0; i < cardCount / int(titles.size()); ++i) {
            text += done ? u"- [x] " : u"- [ ] ";
            const int length = rng.bounded(20, 61);
            QString card;
            while (card.size() < length) {
                if (!card.isEmpty())
                    card += u' ';
                card += words[std::size_t(rng.bounded(int(words.size())))];
            }
            card.truncate(length);
            text += card;
            text += u'\n';
            if (rng.bounded(10) == 0) {
                text += u"\tsee the thread from Monday\n";
                if (rng.bounded(2) == 0)
                    text += u"  and ask Anna first\n";
            }
        }
        text += u"\n\n";
    }
    text += u'\n';
    text += Board::defaultSettings();
    text += u'\n';
    return text;
}

const QString &boardText()
{
    static const QString text = makeBoardText();
    return text;
}

void setBytes(benchmark::State &state)
{
    state.SetBytesProcessed(state.iterations() * boardText().size() * qsizetype(sizeof(QChar)));
}

void BM_ParseAndWrite(benchmark::State &state)
{
    const QString &text = boardText();
    for (auto _ : state) {
        const QString written = Board::parse(text).markdown();
        benchmark::DoNotOptimize(written.constData());
    }
    setBytes(state);
}
BENCHMARK(BM_ParseAndWrite);

void BM_Parse(benchmark::State &state)
{
    const QString &text = boardText();
    qsizetype cards = 0;
    for (auto _ : state) {
        Board board = Board::parse(text);
        benchmark::DoNotOptimize(board);
        cards = 0;
        for (const Lane &lane : board.lanes())
            cards += lane.cards().size();
    }
    setBytes(state);
    // Shown so that a generator that drifts away from the intended board is noticed.
    state.counters["cards"] = double(cards);
}
BENCHMARK(BM_Parse);

void BM_Write(benchmark::State &state)
{
    const Board board = Board::parse(boardText());
    for (auto _ : state) {
        const QString written = board.markdown();
        benchmark::DoNotOptimize(written.constData());
    }
    setBytes(state);
}
BENCHMARK(BM_Write);

// The floor for any line-based reader: splitting the same text and looking at every line.
void BM_PlainLineSplit(benchmark::State &state)
{
    const QString &text = boardText();
    for (auto _ : state) {
        const QList<QStringView> lines = QStringView(text).split(u'\n');
        qsizetype total = 0;
        for (const QStringView line : lines)
            total += line.size() + (line.isEmpty() ? 0 : line.front().unicode());
        benchmark::DoNotOptimize(total);
    }
    setBytes(state);
}
BENCHMARK(BM_PlainLineSplit);

} // namespace

BENCHMARK_MAIN();
