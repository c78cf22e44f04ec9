#include "CardMarkup.h"

#include <QTest>

// How a card's Markdown is shown, and which of its links may be opened.
class TestCardMarkup : public QObject {
    Q_OBJECT

private slots:
    void line_data()
    {
        QTest::addColumn<QString>("text");
        // Pieces the rich text holds, in order; empty when the line stays plain text.
        QTest::addColumn<QStringList>("pieces");
        // Pieces it must not hold.
        QTest::addColumn<QStringList>("absent");
        const QStringList none;
        QTest::newRow("plain") << u"Buy milk"_qs << none << none;
        QTest::newRow("plain with angle brackets and ampersands")
            << u"a < b & c > d"_qs << none << none;
        QTest::newRow("snake_case is not emphasis")
            << u"rename some_long_name here"_qs << none << none;
        QTest::newRow("a lone star") << u"5 * 3 = 15"_qs << none << none;
        QTest::newRow("only digits is no tag") << u"issue #123"_qs << none << none;
        QTest::newRow("heading-like hash") << u"# not a tag"_qs << none << none;
        QTest::newRow("bold") << u"**Call** Sam"_qs << QStringList{u"<b>Call</b> Sam"_qs} << none;
        QTest::newRow("bold underscores")
            << u"__Call__ Sam"_qs << QStringList{u"<b>Call</b>"_qs} << none;
        QTest::newRow("italic") << u"an *idea* or _two_"_qs
                                << QStringList{u"<i>idea</i>"_qs, u"<i>two</i>"_qs} << none;
        QTest::newRow("bold within italic")
            << u"*very **much** so*"_qs << QStringList{u"<i>very <b>much</b> so</i>"_qs} << none;
        QTest::newRow("strike-through")
            << u"~~cancelled~~ moved"_qs << QStringList{u"<s>cancelled</s> moved"_qs} << none;
        QTest::newRow("code keeps its text")
            << u"run `make **all** <x>`"_qs << QStringList{u"make **all** &lt;x&gt;</code>"_qs}
            << QStringList{u"<b>"_qs};
        QTest::newRow("markup with html is escaped")
            << u"**x** <img src=a> & \"q\""_qs
            << QStringList{u"<b>x</b> &lt;img src=a&gt; &amp; &quot;q&quot;"_qs}
            << QStringList{u"<img"_qs};
        QTest::newRow("unclosed marks stay") << u"**open and ~~never closed"_qs << none << none;
        QTest::newRow("wiki link")
            << u"see [[Project Plan]]"_qs
            << QStringList{u"href=\"tallowfern-note:Project%20Plan\""_qs, u">Project Plan</a>"_qs}
            << none;
        QTest::newRow("wiki link with heading and alias")
            << u"[[Work/Plan#Goals|the goals]]"_qs
            << QStringList{u"href=\"tallowfern-note:Work/Plan\""_qs, u">the goals</a>"_qs} << none;
        QTest::newRow("embed") << u"![[Sketch.png]]"_qs
                               << QStringList{u"href=\"tallowfern-note:Sketch.png\""_qs} << none;
        QTest::newRow("web link") << u"[the site](https://example.org/a?b=1&c=2)"_qs
                                  << QStringList{u"href=\"https://example.org/a?b=1&amp;c=2\""_qs,
                                                 u">the site</a>"_qs}
                                  << none;
        QTest::newRow("mail link") << u"[Sam](mailto:sam@example.org)"_qs
                                   << QStringList{u"href=\"mailto:sam@example.org\""_qs} << none;
        QTest::newRow("obsidian link")
            << u"[n](obsidian://open?vault=V&file=N)"_qs
            << QStringList{u"href=\"obsidian://open?vault=V&amp;file=N\""_qs} << none;
        QTest::newRow("relative note link")
            << u"[plan](Work/Plan.md)"_qs
            << QStringList{u"href=\"tallowfern-note:Work/Plan.md\""_qs} << none;
        QTest::newRow("relative note link, encoded")
            << u"[plan](Work/My%20Plan.md)"_qs
            << QStringList{u"href=\"tallowfern-note:Work/My%20Plan.md\""_qs} << none;
        QTest::newRow("bare address, sentence ends")
            << u"read https://example.org/x_y."_qs
            << QStringList{u"href=\"https://example.org/x_y\""_qs,
                           u">https://example.org/x_y</a>."_qs}
            << none;
        QTest::newRow("bare address in brackets")
            << u"(https://example.org/a)"_qs << QStringList{u">https://example.org/a</a>)"_qs}
            << none;
        QTest::newRow("tag") << u"call #work/urgent now"_qs
                             << QStringList{u">#work/urgent</span> now"_qs} << none;
        QTest::newRow("date of the board's format")
            << u"due @{2025-03-07}"_qs << QStringList{u">2025-03-07</span>"_qs}
            << QStringList{u"@{"_qs};
        QTest::newRow("plain date")
            << u"2025-03-07 review"_qs << QStringList{u">2025-03-07</span> review"_qs} << none;
        QTest::newRow("line break of the board's format")
            << u"first<br>second"_qs << QStringList{u"first<br>second"_qs} << none;
        QTest::newRow("spaces are kept")
            << u"**a**   b"_qs << QStringList{u"white-space:pre-wrap"_qs, u"</b>   b"_qs} << none;

        // Links that could start a program or read a file stay text, as written.
        const QStringList noLink{u"<a "_qs};
        QTest::newRow("javascript") << u"[x](javascript:alert(1))"_qs
                                    << QStringList{u"[x](javascript:alert(1))"_qs} << noLink;
        QTest::newRow("file") << u"[x](file:///etc/passwd)"_qs
                              << QStringList{u"[x](file:///etc/passwd)"_qs} << noLink;
        QTest::newRow("custom scheme")
            << u"[x](steam://run/1)"_qs << QStringList{u"[x](steam://run/1)"_qs} << noLink;
        QTest::newRow("desktop entry")
            << u"[x](apps/evil.desktop)"_qs << QStringList{u"[x](apps/evil.desktop)"_qs} << noLink;
        QTest::newRow("absolute path") << u"[x](/usr/share/applications/a.desktop)"_qs
                                       << QStringList{u"[x](/usr/share"_qs} << noLink;
        QTest::newRow("out of the vault")
            << u"[x](../../.bashrc)"_qs << QStringList{u"[x](../../.bashrc)"_qs} << noLink;
        QTest::newRow("script in the vault")
            << u"[x](tools/run.sh)"_qs << QStringList{u"[x](tools/run.sh)"_qs} << noLink;
        QTest::newRow("bare custom scheme")
            << u"**see** ftp://host/x"_qs << QStringList{u"ftp://host/x"_qs} << noLink;
        QTest::newRow("http without a host")
            << u"[x](http:relative)"_qs << QStringList{u"[x](http:relative)"_qs} << noLink;
    }
    void line()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, pieces);
        QFETCH(QStringList, absent);
        const std::optional<QString> html = CardMarkup::line(text);
        if (pieces.isEmpty()) {
            QVERIFY2(!html, qPrintable(html.value_or(QString())));
            return;
        }
        QVERIFY(html);
        qsizetype from = 0;
        for (const QString &piece : std::as_const(pieces)) {
            const qsizetype at = html->indexOf(piece, from);
            QVERIFY2(at >= 0, qPrintable(u"\""_qs + piece + u"\" not in "_qs + *html));
            from = at + piece.size();
        }
        for (const QString &piece : std::as_const(absent))
            QVERIFY2(!html->contains(piece), qPrintable(*html));
    }

    void target_data()
    {
        QTest::addColumn<QString>("link");
        QTest::addColumn<int>("kind"); // -1 refused, 0 address, 1 note
        QTest::addColumn<QString>("value");
        QTest::newRow("https") << u"https://example.org/a"_qs << 0 << u"https://example.org/a"_qs;
        QTest::newRow("http") << u"http://example.org"_qs << 0 << u"http://example.org"_qs;
        QTest::newRow("mailto") << u"mailto:sam@example.org"_qs << 0
                                << u"mailto:sam@example.org"_qs;
        QTest::newRow("obsidian") << u"obsidian://open?vault=V"_qs << 0
                                  << u"obsidian://open?vault=V"_qs;
        QTest::newRow("note") << u"tallowfern-note:Work/My%20Plan"_qs << 1 << u"Work/My Plan"_qs;
        QTest::newRow("note out of the vault") << u"tallowfern-note:../x"_qs << -1 << QString();
        QTest::newRow("note at the root") << u"tallowfern-note:/etc/passwd"_qs << -1 << QString();
        QTest::newRow("empty note") << u"tallowfern-note:"_qs << -1 << QString();
        QTest::newRow("javascript") << u"javascript:alert(1)"_qs << -1 << QString();
        QTest::newRow("file") << u"file:///etc/passwd"_qs << -1 << QString();
        QTest::newRow("smb") << u"smb://host/share"_qs << -1 << QString();
        QTest::newRow("a path") << u"/usr/share/applications/x.desktop"_qs << -1 << QString();
        QTest::newRow("https without a host") << u"https:///x"_qs << -1 << QString();
        QTest::newRow("mailto without an address") << u"mailto:"_qs << -1 << QString();
    }
    void target()
    {
        QFETCH(QString, link);
        QFETCH(int, kind);
        QFETCH(QString, value);
        const auto target = CardMarkup::target(link);
        if (kind < 0) {
            QVERIFY(!target);
            return;
        }
        QVERIFY(target);
        QCOMPARE(int(target->kind), kind == 0 ? int(CardMarkup::Target::Kind::Url)
                                              : int(CardMarkup::Target::Kind::Note));
        QCOMPARE(target->value, value);
    }

    // The lines under a card: indentation as steps, list markers as bullets, emphasis shown.
    void detail()
    {
        QCOMPARE(CardMarkup::detail({}), QString());
        QCOMPARE(CardMarkup::detail({u"  "_qs, QString()}), QString());
        const QStringList lines{u"\t- first <sub>"_qs, u"\t\t- [ ] deeper"_qs, u""_qs,
                                u"\t\t- [x] ticked"_qs, u"\tnote with **bold** #tag"_qs};
        QCOMPARE(CardMarkup::detailLineCount(lines), 4);
        const QString html = CardMarkup::detail(lines);
        const QString step(3, QChar::Nbsp);
        const QStringList pieces{u"• first &lt;sub&gt;<br>"_qs, step + u"☐ deeper<br>"_qs,
                                 step + u"☑ ticked<br>"_qs, u"note with <b>bold</b>"_qs,
                                 u">#tag</span>"_qs};
        qsizetype from = 0;
        for (const QString &piece : pieces) {
            const qsizetype at = html.indexOf(piece, from);
            QVERIFY2(at >= 0, qPrintable(u"\""_qs + piece + u"\" not in "_qs + html));
            from = at + piece.size();
        }
        QVERIFY(!html.contains(u"<br><br>"_qs));
    }
};

QTEST_APPLESS_MAIN(TestCardMarkup)
#include "tst_cardmarkup.moc"
