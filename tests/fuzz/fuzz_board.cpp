#include "model/Board.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

// Abort rather than report: libFuzzer keeps the input that got here.
void require(bool holds)
{
    if (!holds)
        __builtin_trap();
}

bool isSpaceOrTab(QChar c)
{
    return c == u' ' || c == u'\t';
}

bool sameContent(const Board &a, const Board &b)
{
    if (a.lanes().size() != b.lanes().size())
        return false;
    for (qsizetype i = 0; i < a.lanes().size(); ++i) {
        const Lane &x = a.lanes()[i];
        const Lane &y = b.lanes()[i];
        if (x.title() != y.title() || x.isComplete() != y.isComplete() ||
            x.cards().size() != y.cards().size())
            return false;
        for (qsizetype j = 0; j < x.cards().size(); ++j) {
            if (x.cards()[j].text() != y.cards()[j].text() ||
                x.cards()[j].extraLines() != y.cards()[j].extraLines())
                return false;
        }
    }
    return true;
}

// What parse can produce at all: one-line titles, card texts and continuation lines.
void checkShape(const Board &board)
{
    for (const LaneKind kind : LaneKind::allCases())
        require(board.laneIndex(kind).has_value());
    for (const Lane &lane : board.lanes()) {
        const QString &title = lane.title();
        require(!title.contains(u'\n'));
        require(title.isEmpty() || (!isSpaceOrTab(title.front()) && !isSpaceOrTab(title.back())));
        for (const Card &card : lane.cards()) {
            require(!card.text().contains(u'\n'));
            for (const QString &line : card.extraLines()) {
                require(!line.contains(u'\n'));
                require(line.startsWith(u'\t') || line.startsWith(u"  "));
            }
        }
    }
    if (const auto &block = board.settingsBlock())
        require(block->startsWith(u"%% kanban:settings"));
}

void check(QStringView text)
{
    const Board parsed = Board::parse(text);
    checkShape(parsed);

    const QString written = parsed.markdown();
    require(written.endsWith(u'\n'));

    const Board reread = Board::parse(written);
    require(sameContent(parsed, reread));
    require(reread.settingsBlock() == parsed.settingsBlock().value_or(Board::defaultSettings()));
    require(reread.markdown() == written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    check(QString::fromUtf8(reinterpret_cast<const char *>(data), qsizetype(size)));

    // The same bytes as UTF-16 also reach lone surrogates and code units that UTF-8 decoding
    // never yields.
    if (size >= sizeof(char16_t)) {
        QString units(qsizetype(size / sizeof(char16_t)), Qt::Uninitialized);
        std::memcpy(units.data(), data, size_t(units.size()) * sizeof(char16_t));
        check(units);
    }
    return 0;
}
