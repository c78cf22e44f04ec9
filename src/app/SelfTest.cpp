#include "SelfTest.h"

#include "model/Board.h"
#include "model/Shortcut.h"
#include "notes/QuickNoteFormat.h"
#include "platform/ShortcutKeys.h"

#include <QStringList>

#include <cstdio>
#include <cstdlib>

namespace {

QString linesWithFinalFeed(const QStringList &lines)
{
    return lines.join(u'\n') + u'\n';
}

QStringList titles(const Board &board)
{
    QStringList result;
    for (const Lane &lane : board.lanes())
        result.append(lane.title());
    return result;
}

QList<QStringList> cardTexts(const Board &board)
{
    QList<QStringList> result;
    for (const Lane &lane : board.lanes()) {
        QStringList texts;
        for (const Card &card : lane.cards())
            texts.append(card.text());
        result.append(texts);
    }
    return result;
}

} // namespace

SelfTest::Subjects SelfTest::Subjects::real()
{
    return {
        [](const QString &text) { return Board::parse(text); },
        [](const Board &board) { return board.markdown(); },
        QuickNoteFormat::toDisplay,
        QuickNoteFormat::toMarkdown,
        [](const Shortcut &shortcut) { return ShortcutKeys::label(shortcut); },
    };
}

QString SelfTest::boardFixture()
{
    QStringList lines = {
        u"---"_qs,
        {},
        u"kanban-plugin: board"_qs,
        {},
        u"---"_qs,
        {},
        u"## Doing"_qs,
        {},
        u"- [ ] Delay Alert Migration"_qs,
        u"\tsub note line"_qs,
        {},
        {},
        u"## Done"_qs,
        {},
        u"**Complete**"_qs,
        u"- [x] Earning Based Gigs"_qs,
        {},
        {},
        u"## Mentoring"_qs,
        {},
        u"- [ ] [[S3 Asset Manager]]"_qs,
        {},
        {},
        {},
        {},
    };
    lines += Board::defaultSettings().split(u'\n');
    return lines.join(u'\n');
}

bool SelfTest::run()
{
    return run(Subjects::real(), [](const QString &line) {
        const QByteArray bytes = line.toUtf8() + '\n';
        std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
    });
}

bool SelfTest::run(const Subjects &subjects, const std::function<void(const QString &)> &printLine)
{
    bool passed = true;
    const auto fail = [&](const QString &message) {
        passed = false;
        printLine(u"FAIL: "_qs + message);
    };

    const Board a = subjects.parse(boardFixture());
    const QString written = subjects.markdown(a);
    const Board b = subjects.parse(written);

    const QStringList titlesA = titles(a);
    if (titlesA != QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs, u"Mentoring"_qs}) {
        QStringList quoted;
        for (const QString &title : titlesA)
            quoted.append(u'"' + title + u'"');
        fail(u"lanes ["_qs + quoted.join(u", "_qs) + u']');
    }

    const QList<Card> doing = a.cards(LaneKind::Doing);
    if (doing.isEmpty() || doing.front().text() != u"Delay Alert Migration")
        fail(u"doing card"_qs);
    if (doing.isEmpty() || doing.front().extraLines() != QStringList{u"\tsub note line"_qs})
        fail(u"extra lines"_qs);

    // These two checks index the lanes directly: fewer lanes means a broken parser, not a
    // failed check.
    if (a.lanes().size() < 3)
        std::abort();
    if (!a.lanes()[2].isComplete())
        fail(u"done lane complete"_qs);
    if (a.lanes().size() < 4)
        std::abort();
    const QList<Card> &custom = a.lanes()[3].cards();
    if (custom.isEmpty() || custom.front().text() != u"[[S3 Asset Manager]]")
        fail(u"custom lane kept"_qs);

    if (titles(b) != titlesA)
        fail(u"round trip lanes"_qs);
    if (cardTexts(b) != cardTexts(a))
        fail(u"round trip cards"_qs);
    if (!written.contains(u"- [x] Earning Based Gigs"))
        fail(u"done written checked"_qs);
    if (b.settingsBlock() != a.settingsBlock())
        fail(u"settings kept"_qs);

    const QString markdownInput =
        linesWithFinalFeed({u"Standup"_qs, u"- first"_qs, u"  - nested"_qs, u"* star"_qs,
                            u"- [ ] task"_qs, u"not-a-bullet"_qs});
    const QString expectedDisplay =
        linesWithFinalFeed({u"Standup"_qs, u"\u2022 first"_qs, u"  \u2022 nested"_qs,
                            u"\u2022 star"_qs, u"\u2022 [ ] task"_qs, u"not-a-bullet"_qs});
    const QString expectedBack =
        linesWithFinalFeed({u"Standup"_qs, u"- first"_qs, u"  - nested"_qs, u"- star"_qs,
                            u"- [ ] task"_qs, u"not-a-bullet"_qs});
    const QString display = subjects.toDisplay(markdownInput);
    if (display != expectedDisplay)
        fail(u"bullets to display: "_qs + display);
    if (subjects.toMarkdown(display) != expectedBack)
        fail(u"bullets to markdown"_qs);

    const QString openLabel = subjects.label(Shortcut::defaultOpen());
    if (openLabel != u"\u2325N")
        fail(u"open label "_qs + openLabel);
    if (subjects.label(Shortcut::defaultSwitchTab()) != u"\u2303\u21E5")
        fail(u"switch label"_qs);

    printLine(passed ? u"selftest OK"_qs : u"selftest FAILED"_qs);
    return passed;
}
