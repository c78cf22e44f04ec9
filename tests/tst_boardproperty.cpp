#include "model/Board.h"

#include <QRandomGenerator>
#include <QTest>

#include <array>
#include <optional>

namespace {

constexpr QStringView completeMarker = u"**Complete**";
constexpr QStringView settingsMarker = u"%% kanban:settings";
constexpr QStringView fence = u"---";

// Every run starts the generators from here unless TALLOWFERN_PROPERTY_START says otherwise, so a
// failure on one machine replays on another.
constexpr quint32 defaultStart = 0x7a11f3u;
constexpr int defaultRunsPerProfile = 400;

bool isSpaceOrTab(QChar c)
{
    return c == u' ' || c == u'\t';
}

bool isBlankOrBreak(QChar c)
{
    return isSpaceOrTab(c) || c == u'\r' || c == u'\n';
}

template <typename Pred> QStringView trimmedBy(QStringView s, Pred pred)
{
    while (!s.isEmpty() && pred(s.front()))
        s = s.sliced(1);
    while (!s.isEmpty() && pred(s.back()))
        s.chop(1);
    return s;
}

QStringView trimSpacesAndTabs(QStringView s)
{
    return trimmedBy(s, isSpaceOrTab);
}

// Readable in a failure message: line breaks, control characters and lone surrogates escaped.
QString escaped(QStringView s)
{
    QString out = u"\""_qs;
    for (qsizetype i = 0; i < s.size(); ++i) {
        const QChar c = s[i];
        if (c.isHighSurrogate() && i + 1 < s.size() && s[i + 1].isLowSurrogate()) {
            out += c;
            out += s[++i];
        } else if (c == u'\n') {
            out += u"\\n"_qs;
        } else if (c == u'\r') {
            out += u"\\r"_qs;
        } else if (c == u'\t') {
            out += u"\\t"_qs;
        } else if (c == u'\\' || c == u'"') {
            out += u'\\';
            out += c;
        } else if (c.unicode() < 0x20 || c.unicode() == 0x7f || c.isSurrogate() ||
                   c.category() == QChar::Other_Format || c.category() == QChar::Separator_Line ||
                   c.category() == QChar::Separator_Paragraph) {
            out += QStringLiteral("\\u%1").arg(uint(c.unicode()), 4, 16, QLatin1Char('0'));
        } else {
            out += c;
        }
    }
    out += u'"';
    return out;
}

QString describe(const std::optional<QString> &block)
{
    return block ? escaped(*block) : u"none"_qs;
}

// The first way in which got differs from want, ignoring card ids; empty when they agree.
QString difference(const Board &want, const Board &got)
{
    const QList<Lane> &a = want.lanes();
    const QList<Lane> &b = got.lanes();
    if (a.size() != b.size()) {
        QStringList wantTitles, gotTitles;
        for (const Lane &lane : a)
            wantTitles.append(escaped(lane.title()));
        for (const Lane &lane : b)
            gotTitles.append(escaped(lane.title()));
        return QStringLiteral("lanes [%1], expected [%2]")
            .arg(gotTitles.join(u", "), wantTitles.join(u", "));
    }
    for (qsizetype i = 0; i < a.size(); ++i) {
        const QString where = QStringLiteral("lane %1 %2: ").arg(i).arg(escaped(a[i].title()));
        if (a[i].title() != b[i].title())
            return where + u"title "_qs + escaped(b[i].title());
        if (a[i].isComplete() != b[i].isComplete())
            return where + (b[i].isComplete() ? u"complete"_qs : u"not complete"_qs);
        const QList<Card> &wantCards = a[i].cards();
        const QList<Card> &gotCards = b[i].cards();
        if (wantCards.size() != gotCards.size())
            return where + QStringLiteral("%1 cards, expected %2")
                               .arg(gotCards.size())
                               .arg(wantCards.size());
        for (qsizetype j = 0; j < wantCards.size(); ++j) {
            const QString card =
                where + QStringLiteral("card %1 %2: ").arg(j).arg(escaped(wantCards[j].text()));
            if (wantCards[j].text() != gotCards[j].text())
                return card + u"text "_qs + escaped(gotCards[j].text());
            if (wantCards[j].extraLines() != gotCards[j].extraLines()) {
                QStringList lines;
                for (const QString &line : gotCards[j].extraLines())
                    lines.append(escaped(line));
                return card + u"extra lines ["_qs + lines.join(u", ") + u']';
            }
        }
    }
    if (want.settingsBlock() != got.settingsBlock())
        return u"settings block "_qs + describe(got.settingsBlock()) + u", expected "_qs +
               describe(want.settingsBlock());
    return {};
}

// What writing a parsed board and reading it back must come to. Nothing is lost in writing, except
// that a board without a settings block gets the default one.
QString roundTripFailure(const Board &parsed)
{
    for (const LaneKind kind : LaneKind::allCases()) {
        if (!parsed.laneIndex(kind))
            return u"parsed board has no "_qs + kind.title() + u" lane"_qs;
    }
    const QString written = parsed.markdown();
    if (!written.endsWith(u'\n'))
        return u"written text does not end with a line feed: "_qs + escaped(written);
    const Board reread = Board::parse(written);
    const Board asWritten(parsed.lanes(),
                          parsed.settingsBlock().value_or(Board::defaultSettings()));
    if (const QString diff = difference(asWritten, reread); !diff.isEmpty())
        return u"read back differently: "_qs + diff + u"\nwritten: "_qs + escaped(written);
    const QString rewritten = reread.markdown();
    if (rewritten != written)
        return u"written text changed on the second round:\nfirst:  "_qs + escaped(written) +
               u"\nsecond: "_qs + escaped(rewritten);
    return {};
}

struct Profile {
    const char *name;
    double crlf;     // chance that a line ends "\r\n"; half the texts use half of it
    double settings; // chance of a settings block
    double unicode;  // chance that a fragment of text comes from outside ASCII
    double hostile;  // chance of near misses, control characters and things out of place
};

constexpr std::array<Profile, 5> profiles{{
    {"plain", 0.0, 0.3, 0.0, 0.0},
    {"crlf", 1.0, 0.5, 0.1, 0.05},
    {"settings", 0.2, 1.0, 0.1, 0.1},
    {"unicode", 0.1, 0.3, 0.7, 0.05},
    {"hostile", 0.4, 0.5, 0.3, 0.5},
}};

const QStringList &plainFragments()
{
    static const QStringList pool{
        u"Buy milk"_qs,       u"Call the bank"_qs,    u"Write the report"_qs, u"Review PR #42"_qs,
        u"Plan the week"_qs,  u"Water the plants"_qs, u"Email Anna"_qs,       u"Fix the bike"_qs,
        u"Read chapter 3"_qs, u"Book dentist"_qs,     u"(maybe)"_qs,          u"v2.0"_qs,
    };
    return pool;
}

const QStringList &unicodeFragments()
{
    static const QStringList pool{
        u"Café ☕"_qs,         u"日本語のメモ"_qs,
        u"ship it 🚀🔥"_qs,     u"👩‍💻 pairing"_qs,
        u"Ünïcödé"_qs,        u"עברית"_qs,
        u"مرحبا"_qs,          u"e\u0301 combining"_qs,
        u"🏳️‍🌈"_qs, u"\u200Bzero width"_qs,
        u"Straße"_qs,         u"Ωmega"_qs,
        u"\u00A0no-break"_qs, u"𝔘𝔫𝔦𝔠𝔬𝔡𝔢"_qs,
    };
    return pool;
}

// Fragments that look like syntax or are awkward as text. Never a line feed: that ends a line.
const QStringList &hostileFragments()
{
    static const QStringList pool{
        QString(),
        u" "_qs,
        u"  "_qs,
        u"\t"_qs,
        u"\r"_qs,
        u"a\rb"_qs,
        u"[ ]"_qs,
        u"[x]"_qs,
        u"- [ ] "_qs,
        u"- [X] "_qs,
        u"## "_qs,
        u"**Complete**"_qs,
        u"%% kanban:settings"_qs,
        u"---"_qs,
        u"```"_qs,
        u"%%"_qs,
        u"[[Daily note]]"_qs,
        u"@{2024-01-01}"_qs,
        u"<br>"_qs,
        u"\\"_qs,
        u"\u2028"_qs,
        u"\u0085"_qs,
        u"\v\f"_qs,
        u"\x1b[1m"_qs,
        QString(QChar(u'\0')),
        QString(QChar(char16_t(0xD800))),
        QString(QChar(char16_t(0xDC00))),
        QString(QChar(char16_t(0xFFFF))),
    };
    return pool;
}

const QStringList &laneTitles()
{
    static const QStringList pool{
        u"To do"_qs,       u"Doing"_qs,  u"Done"_qs,     u"Backlog"_qs,
        u"In progress"_qs, u"WIP"_qs,    u"Tasks"_qs,    u"Completed"_qs,
        u"Complete"_qs,    u"To-Do"_qs,  u"1. Doing"_qs, u"Done ✅"_qs,
        u"TODO"_qs,        u"Review"_qs, u"Someday"_qs,  u"Waiting on others"_qs,
        u"Errands"_qs,     u"#hash"_qs,  u"## twice"_qs, QString(),
    };
    return pool;
}

const QStringList &unicodeLaneTitles()
{
    static const QStringList pool{
        u"🚀 Launch"_qs, u"進行中"_qs, u"Erledigt"_qs,          u"Ça roule"_qs,
        u"Готово"_qs,   u"✅"_qs,      u"Doing 👩‍💻"_qs, u"Zoë's list"_qs,
    };
    return pool;
}

// Lines the format never reads: none starts a lane or a card, is indented, or is the marker.
const QStringList &junkLines()
{
    static const QStringList pool{
        u"#"_qs,
        u"##"_qs,
        u"##Doing"_qs,
        u"### Deeper"_qs,
        u" ## one space"_qs,
        u"-[ ] x"_qs,
        u"- [ ]x"_qs,
        u"- [] x"_qs,
        u"- [y] x"_qs,
        u"- [X]x"_qs,
        u"-  [ ] x"_qs,
        u"* [ ] star"_qs,
        u"+ [ ] plus"_qs,
        u"1. [ ] numbered"_qs,
        u"- [ ]"_qs,
        u"- [x]"_qs,
        u"- item"_qs,
        u" - [ ] one space"_qs,
        u"**complete**"_qs,
        u"**Complete**!"_qs,
        u"**Complete"_qs,
        u"Complete"_qs,
        u"__Complete__"_qs,
        u"%% kanban:setting"_qs,
        u"%%kanban:settings"_qs,
        u" %% kanban:settings"_qs,
        u"%%"_qs,
        u"kanban-plugin: board"_qs,
        u"> quoted"_qs,
        u"Some prose."_qs,
        u"| a | b |"_qs,
        u"----"_qs,
        u"--- x"_qs,
        u"\u00A0\u00A0no-break indent"_qs,
        u"\u3000ideographic space"_qs,
    };
    return pool;
}

enum class Role { Heading, Marker, Card, Extra, Ignored };

struct Line {
    QString content; // without its line feed
    Role role = Role::Ignored;
    QString value; // the title of a heading, the text of a card
    qsizetype offset = 0;
};

struct Sample {
    QString text;
    QList<Line> lines;
};

struct Coverage {
    int cards = 0;
    int extraLines = 0;
    int markers = 0;
    int settingsBlocks = 0;
    int frontMatters = 0;
    int carriageReturns = 0;
};

// What a line that is neither a heading nor a card means, going by its content alone.
Role looseRole(QStringView line)
{
    const QStringView core = trimSpacesAndTabs(line);
    if (core == completeMarker)
        return Role::Marker;
    if ((line.startsWith(u'\t') || line.startsWith(u"  ")) && !core.isEmpty())
        return Role::Extra;
    return Role::Ignored;
}

// The board a sample stands for, built from the role each line was generated with.
Board expectedBoard(const Sample &sample, Coverage &coverage)
{
    const QList<Line> &lines = sample.lines;
    qsizetype first = 0;
    if (!lines.isEmpty() && trimSpacesAndTabs(lines.front().content) == fence) {
        for (qsizetype i = 1; i < lines.size(); ++i) {
            if (trimSpacesAndTabs(lines[i].content) == fence) {
                first = i + 1;
                ++coverage.frontMatters;
                break;
            }
        }
    }

    qsizetype end = lines.size();
    std::optional<QString> settings;
    for (qsizetype i = first; i < lines.size(); ++i) {
        if (lines[i].content.startsWith(settingsMarker)) {
            settings = trimmedBy(QStringView(sample.text).sliced(lines[i].offset), isBlankOrBreak)
                           .toString();
            ++coverage.settingsBlocks;
            end = i;
            break;
        }
    }

    QList<Lane> lanes;
    for (qsizetype i = first; i < end; ++i) {
        const Line &line = lines[i];
        if (line.role == Role::Heading) {
            lanes.append(Lane(line.value));
            continue;
        }
        if (lanes.isEmpty())
            continue;
        QList<Card> &cards = lanes.back().cards();
        switch (line.role) {
        case Role::Marker:
            lanes.back().setComplete(true);
            ++coverage.markers;
            break;
        case Role::Card:
            cards.append(Card(line.value));
            ++coverage.cards;
            coverage.carriageReturns += line.value.endsWith(u'\r') ? 1 : 0;
            break;
        case Role::Extra:
            if (!cards.isEmpty()) {
                cards.back().appendExtraLine(line.content);
                ++coverage.extraLines;
            }
            break;
        case Role::Heading:
        case Role::Ignored:
            break;
        }
    }

    Board board(lanes, settings);
    board.ensureLanes();
    return board;
}

class BoardTextGenerator {
public:
    BoardTextGenerator(const Profile &profile, quint32 start) : m_profile(profile), m_rng(start) {}

    Sample next()
    {
        m_lines.clear();
        m_crChance = chance(0.5) ? m_profile.crlf : m_profile.crlf / 2;

        addFrontMatter();
        // Before the first heading nothing counts, whatever it looks like.
        for (int i = below(4); i > 0; --i)
            addStray();

        const int laneCount = chance(m_profile.hostile * 0.3) ? below(20) : below(7);
        int settingsBefore = -1;
        if (chance(m_profile.settings))
            settingsBefore = chance(m_profile.hostile) ? below(laneCount + 1) : laneCount;
        for (int lane = 0; lane < laneCount; ++lane) {
            if (lane == settingsBefore)
                addSettings();
            addLane();
        }
        if (settingsBefore == laneCount)
            addSettings();

        Sample sample;
        const bool finalLineFeed = chance(0.85);
        for (qsizetype i = 0; i < m_lines.size(); ++i) {
            m_lines[i].offset = sample.text.size();
            sample.text += m_lines[i].content;
            if (i + 1 < m_lines.size() || finalLineFeed)
                sample.text += u'\n';
        }
        sample.lines = std::move(m_lines);
        return sample;
    }

private:
    enum class Kind {
        Heading,
        Card,
        Loose, // a marker, a continuation or nothing, depending on its padding
        Junk,  // never read
        Any,   // settings lines: they only count when a stray fence hides the settings marker
    };

    bool chance(double p) { return m_rng.generateDouble() < p; }
    int below(int n) { return m_rng.bounded(n); }
    const QString &pick(const QStringList &pool) { return pool[below(int(pool.size()))]; }

    QString padding()
    {
        static const QStringList pool{QString(), u" "_qs, u"  "_qs, u"\t"_qs, u" \t "_qs};
        return chance(0.6) ? QString() : pick(pool);
    }

    QString fragment()
    {
        if (chance(m_profile.hostile))
            return pick(hostileFragments());
        if (chance(m_profile.unicode))
            return pick(unicodeFragments());
        return pick(plainFragments());
    }

    QString text()
    {
        if (chance(0.05))
            return {};
        QString s = chance(0.1) ? padding() : QString();
        for (int n = 1 + below(3); n > 0; --n) {
            s += fragment();
            if (n > 1)
                s += u' ';
        }
        if (chance(0.1))
            s += padding();
        if (chance(m_profile.hostile * 0.05))
            s = s.repeated(1 + below(300));
        return s;
    }

    void add(Kind kind, QString content)
    {
        if (chance(m_crChance))
            content += u'\r';
        if (kind == Kind::Any) {
            if (content.startsWith(u"## "))
                kind = Kind::Heading;
            else if (content.startsWith(u"- [ ] ") || content.startsWith(u"- [x] ") ||
                     content.startsWith(u"- [X] "))
                kind = Kind::Card;
            else
                kind = Kind::Loose;
        }
        Line line;
        switch (kind) {
        case Kind::Heading:
            line.role = Role::Heading;
            line.value = trimSpacesAndTabs(QStringView(content).sliced(3)).toString();
            break;
        case Kind::Card:
            line.role = Role::Card;
            line.value = content.sliced(6);
            break;
        case Kind::Loose:
            line.role = looseRole(content);
            break;
        case Kind::Junk:
        case Kind::Any:
            break;
        }
        line.content = std::move(content);
        m_lines.append(std::move(line));
    }

    void addHeading()
    {
        QString title;
        if (chance(m_profile.hostile * 0.5))
            title = text();
        else
            title = chance(m_profile.unicode) ? pick(unicodeLaneTitles()) : pick(laneTitles());
        add(Kind::Heading, u"## "_qs + padding() + title + padding());
    }

    void addCard()
    {
        static const QStringList prefixes{u"- [ ] "_qs, u"- [x] "_qs, u"- [X] "_qs};
        add(Kind::Card, pick(prefixes) + text());
    }

    void addContinuation()
    {
        static const QStringList indents{u"\t"_qs, u"  "_qs, u"    "_qs, u"\t\t"_qs, u"  \t "_qs};
        QString body = text();
        if (trimSpacesAndTabs(body).isEmpty())
            body += u"note";
        add(Kind::Loose, pick(indents) + body);
    }

    void addMarker() { add(Kind::Loose, padding() + completeMarker.toString() + padding()); }

    void addBlank()
    {
        static const QStringList pool{QString(), u" "_qs, u"  "_qs, u"\t"_qs, u"   \t"_qs};
        add(Kind::Loose, pick(pool));
    }

    void addJunk() { add(Kind::Junk, pick(junkLines())); }

    void addStray()
    {
        switch (below(6)) {
        case 0:
            addCard();
            break;
        case 1:
            addContinuation();
            break;
        case 2:
            addMarker();
            break;
        case 3:
            addBlank();
            break;
        default:
            addJunk();
            break;
        }
    }

    void addFence() { add(Kind::Loose, padding() + fence.toString() + padding()); }

    void addFrontMatter()
    {
        const int mode = below(10); // 0-2 none, 3-7 closed, 8 never closed, 9 not first
        if (mode < 3)
            return;
        if (mode == 9)
            addBlank();
        addFence();
        static const QStringList plain{u"kanban-plugin: board"_qs, QString(), u"tags: [daily]"_qs,
                                       u"date: 2024-05-01"_qs};
        for (int n = below(4); n > 0; --n) {
            if (!chance(m_profile.hostile)) {
                add(Kind::Junk, pick(plain));
                continue;
            }
            // Only ignored while the front matter is closed.
            switch (below(4)) {
            case 0:
                add(Kind::Heading, u"## Hidden"_qs);
                break;
            case 1:
                add(Kind::Card, u"- [ ] hidden card"_qs);
                break;
            case 2:
                addContinuation();
                break;
            default:
                add(Kind::Junk, settingsMarker.toString());
                break;
            }
        }
        if (mode != 8)
            addFence();
    }

    void addSettings()
    {
        static const QStringList suffixes{QString(), u" "_qs, u"\t"_qs, u" trailing"_qs};
        static const QStringList body{
            u"```"_qs,
            u"{\"kanban-plugin\":\"board\",\"list-collapse\":[false,true]}"_qs,
            u"%%"_qs,
            QString(),
            u"## Not a lane"_qs,
            u"- [ ] not a card"_qs,
            u"**Complete**"_qs,
            u"\t  "_qs,
            u"  indented"_qs,
        };
        static const QStringList trailing{QString(), u" "_qs, u"\t"_qs, u"\r"_qs};
        add(Kind::Junk, settingsMarker.toString() + pick(suffixes));
        for (int n = below(7); n > 0; --n)
            add(Kind::Any, chance(m_profile.hostile) ? text() : pick(body));
        for (int n = below(4); n > 0; --n)
            add(Kind::Any, pick(trailing));
    }

    void addLane()
    {
        addHeading();
        if (chance(0.5))
            addBlank();
        const int cards = below(8);
        const int markerAt = chance(0.35) ? below(cards + 1) : -1;
        for (int i = 0; i < cards; ++i) {
            if (i == markerAt)
                addMarker();
            if (chance(0.15))
                addBlank();
            if (chance(m_profile.hostile))
                addStray();
            addCard();
            if (chance(0.3)) {
                for (int n = 1 + below(3); n > 0; --n)
                    addContinuation();
            }
        }
        if (markerAt == cards)
            addMarker();
        for (int n = below(3); n > 0; --n)
            addBlank();
    }

    const Profile &m_profile;
    QRandomGenerator m_rng;
    double m_crChance = 0;
    QList<Line> m_lines;
};

QList<Lane> defaultLanes()
{
    return {Lane(u"To do"_qs), Lane(u"Doing"_qs), Lane(u"Done"_qs, {}, true)};
}

} // namespace

class TestBoardProperty : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        bool ok = false;
        const int runs = qEnvironmentVariableIntValue("TALLOWFERN_PROPERTY_RUNS", &ok);
        if (ok && runs > 0)
            m_runs = runs;
        const uint start = qEnvironmentVariable("TALLOWFERN_PROPERTY_START").toUInt(&ok, 0);
        if (ok)
            m_start = start;
        qInfo("%d texts per profile, generators start at %u (TALLOWFERN_PROPERTY_RUNS, "
              "TALLOWFERN_PROPERTY_START)",
              m_runs, m_start);
    }

    void roundTrip_data()
    {
        QTest::addColumn<int>("profile");
        for (int i = 0; i < int(profiles.size()); ++i)
            QTest::newRow(profiles[std::size_t(i)].name) << i;
    }

    void roundTrip()
    {
        QFETCH(int, profile);
        const quint32 start = m_start + quint32(profile);
        BoardTextGenerator generator(profiles[std::size_t(profile)], start);
        Coverage coverage;
        for (int run = 0; run < m_runs; ++run) {
            const Sample sample = generator.next();
            const Board parsed = Board::parse(sample.text);
            QString failure = difference(expectedBoard(sample, coverage), parsed);
            if (!failure.isEmpty())
                failure = u"parsed: "_qs + failure;
            else
                failure = roundTripFailure(parsed);
            if (!failure.isEmpty()) {
                QFAIL(qPrintable(QStringLiteral("text %1 from %2: %3\ninput: %4")
                                     .arg(run)
                                     .arg(start)
                                     .arg(failure, escaped(sample.text))));
            }
        }
        // Otherwise a generator that stopped producing these would leave the checks above idle.
        QVERIFY(coverage.cards > 0);
        QVERIFY(coverage.extraLines > 0);
        QVERIFY(coverage.markers > 0);
        QVERIFY(coverage.settingsBlocks > 0);
        QVERIFY(coverage.frontMatters > 0);
        if (profiles[std::size_t(profile)].crlf > 0)
            QVERIFY(coverage.carriageReturns > 0);
    }

    void emptyText()
    {
        const Board parsed = Board::parse(u"");
        QCOMPARE(difference(Board(defaultLanes()), parsed), QString());
        QCOMPARE(roundTripFailure(parsed), QString());
    }

    void onlySettingsBlock_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("block");
        const QString block = u"%% kanban:settings\n```\n{\"kanban-plugin\":\"board\"}\n```\n%%"_qs;
        QTest::newRow("trailing blank lines") << block + u"\n\n \n\t\n"_qs << block;
        QTest::newRow("no final line feed") << block << block;
        QTest::newRow("crlf") << u"%% kanban:settings\r\n```\r\n%%\r\n"_qs
                              << u"%% kanban:settings\r\n```\r\n%%"_qs;
        QTest::newRow("marker alone") << u"%% kanban:settings"_qs << u"%% kanban:settings"_qs;
        QTest::newRow("swallows lanes") << u"%% kanban:settings\n## Later\n- [ ] a\n"_qs
                                        << u"%% kanban:settings\n## Later\n- [ ] a"_qs;
    }

    void onlySettingsBlock()
    {
        QFETCH(QString, text);
        QFETCH(QString, block);
        const Board parsed = Board::parse(text);
        QCOMPARE(difference(Board(defaultLanes(), block), parsed), QString());
        QCOMPARE(roundTripFailure(parsed), QString());
    }

    void onlyFrontMatter_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("titles");
        const QStringList plain{u"To do"_qs, u"Doing"_qs, u"Done"_qs};
        QTest::newRow("closed") << u"---\n\nkanban-plugin: board\n\n---\n"_qs << plain;
        QTest::newRow("padded fences hide a heading") << u" --- \t\n## Hidden\n\t---"_qs << plain;
        QTest::newRow("never closed")
            << u"---\nkanban-plugin: board\n## Visible\n"_qs
            << QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs, u"Visible"_qs};
        QTest::newRow("fence with carriage return is no fence")
            << u"---\r\n## Visible\r\n---\r\n"_qs
            << QStringList{u"To do"_qs, u"Doing"_qs, u"Done"_qs, u"Visible\r"_qs};
    }

    void onlyFrontMatter()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, titles);
        const Board parsed = Board::parse(text);
        QStringList parsedTitles;
        for (const Lane &lane : parsed.lanes()) {
            parsedTitles.append(lane.title());
            QVERIFY(lane.cards().isEmpty());
        }
        QCOMPARE(parsedTitles, titles);
        QVERIFY(!parsed.settingsBlock());
        QCOMPARE(roundTripFailure(parsed), QString());
    }

private:
    int m_runs = defaultRunsPerProfile;
    quint32 m_start = defaultStart;
};

QTEST_GUILESS_MAIN(TestBoardProperty)
#include "tst_boardproperty.moc"
