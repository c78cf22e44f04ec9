#include "notes/BulletEditing.h"

#include <QTest>

namespace {

// Text with the selection marked: "|" for a caret, "[" and "]" around a selection.
struct Marked {
    QString text;
    int start = 0;
    int end = 0;
};

Marked unmark(QString marked)
{
    Marked result;
    const qsizetype caret = marked.indexOf(u'|');
    if (caret >= 0) {
        marked.remove(caret, 1);
        result.start = result.end = int(caret);
    } else {
        const qsizetype open = marked.indexOf(u'[');
        marked.remove(open, 1);
        const qsizetype close = marked.indexOf(u']');
        marked.remove(close, 1);
        result.start = int(open);
        result.end = int(close);
    }
    result.text = marked;
    return result;
}

using Command = BulletEditing::Command;

} // namespace

Q_DECLARE_METATYPE(BulletEditing::Command)

class TestBulletEditing : public QObject {
    Q_OBJECT

private slots:
    void typedBullet_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("after"); // "" when nothing changes

        QTest::newRow("dash and space") << u"- |"_qs << u"• "_qs;
        QTest::newRow("star, indented") << u"  * |"_qs << u"  • "_qs;
        QTest::newRow("after a tab") << u"\t- |"_qs << u"\t• "_qs;
        QTest::newRow("on a later line") << u"first\n- |"_qs << u"first\n• "_qs;
        QTest::newRow("line below stays") << u"- |\nnext"_qs << u"• \nnext"_qs;
        QTest::newRow("dash alone") << u"-|"_qs << QString();
        QTest::newRow("dash without space") << u"-x|"_qs << QString();
        QTest::newRow("in the middle of a line") << u"a - |"_qs << QString();
        QTest::newRow("right after text") << u"a- |"_qs << QString();
        QTest::newRow("two spaces") << u"-  |"_qs << QString();
        QTest::newRow("after a bullet") << u"• - |"_qs << QString();
        QTest::newRow("caret not after the space") << u"- |x"_qs << u"• x"_qs;
        QTest::newRow("a selection") << u"[- ]"_qs << QString();
        QTest::newRow("plus sign") << u"+ |"_qs << QString();
        QTest::newRow("empty text") << u"|"_qs << QString();
    }

    void typedBullet()
    {
        QFETCH(QString, typed);
        QFETCH(QString, after);
        const Marked m = unmark(typed);
        const auto edit = BulletEditing::typedBullet(m.text, m.start, m.end);
        if (after.isEmpty()) {
            QVERIFY(!edit);
            return;
        }
        QVERIFY(edit);
        QCOMPARE(edit->length, 1);
        QCOMPARE(BulletEditing::apply(m.text, *edit), after);
        // One character for one: the caret stays right after the space.
        QCOMPARE(edit->text.size(), 1);
    }

    void bulletLine_data()
    {
        QTest::addColumn<QString>("marked");
        QTest::addColumn<bool>("isBullet");
        QTest::addColumn<int>("start");
        QTest::addColumn<int>("length");
        QTest::addColumn<QString>("indent");
        QTest::addColumn<QString>("rest");

        QTest::newRow("plain bullet") << u"• a|"_qs << true << 0 << 3 << QString() << u"a"_qs;
        QTest::newRow("with line feed") << u"• a|\nb"_qs << true << 0 << 4 << QString() << u"a"_qs;
        QTest::newRow("second line") << u"x\n  • b|"_qs << true << 2 << 5 << u"  "_qs << u"b"_qs;
        QTest::newRow("tab indent") << u"\t• x|"_qs << true << 0 << 4 << u"\t"_qs << u"x"_qs;
        QTest::newRow("empty bullet") << u"• |"_qs << true << 0 << 2 << QString() << QString();
        QTest::newRow("no space after") << u"•x|"_qs << false << 0 << 0 << QString() << QString();
        QTest::newRow("text before") << u"a • b|"_qs << false << 0 << 0 << QString() << QString();
        QTest::newRow("plain line") << u"plain|"_qs << false << 0 << 0 << QString() << QString();
        QTest::newRow("caret at start") << u"|• a"_qs << true << 0 << 3 << QString() << u"a"_qs;
        QTest::newRow("two lines selected")
            << u"• a[b\nc]d"_qs << true << 0 << 7 << QString() << u"ab\ncd"_qs;
        QTest::newRow("selection ending at a line start")
            << u"• [ab\n]c"_qs << true << 0 << 5 << QString() << u"ab"_qs;
    }

    void bulletLine()
    {
        QFETCH(QString, marked);
        const Marked m = unmark(marked);
        const auto line = BulletEditing::bulletLine(m.text, m.start, m.end);
        QFETCH(bool, isBullet);
        QCOMPARE(line.has_value(), isBullet);
        if (!line)
            return;
        QTEST(line->start, "start");
        QTEST(line->length, "length");
        QTEST(line->indent, "indent");
        QTEST(line->rest, "rest");
    }

    void commands_data()
    {
        QTest::addColumn<QString>("before");
        QTest::addColumn<BulletEditing::Command>("command");
        QTest::addColumn<bool>("handled");
        QTest::addColumn<QString>("after"); // the text after the edit; same as before for none

        QTest::newRow("return continues the bullet")
            << u"  • buy milk|"_qs << Command::Newline << true << u"  • buy milk\n  • "_qs;
        QTest::newRow("return in the middle splits")
            << u"• ab|cd"_qs << Command::Newline << true << u"• ab\n• cd"_qs;
        QTest::newRow("return over a selection")
            << u"• a[bc]d"_qs << Command::Newline << true << u"• a\n• d"_qs;
        QTest::newRow("return on an empty bullet ends the list")
            << u"  • |"_qs << Command::Newline << true << QString();
        QTest::newRow("empty bullet keeps its line break")
            << u"x\n  • |\ny"_qs << Command::Newline << true << u"x\n\ny"_qs;
        QTest::newRow("blank rest counts as empty")
            << u"• \t |"_qs << Command::Newline << true << QString();
        QTest::newRow("return after a surrogate pair")
            << u"• 🌱|"_qs << Command::Newline << true << u"• 🌱\n• "_qs;
        QTest::newRow("tab indents") << u"• a|"_qs << Command::Tab << true << u"  • a"_qs;
        QTest::newRow("tab indents again") << u"  • a|"_qs << Command::Tab << true << u"    • a"_qs;
        QTest::newRow("tab with a selection") << u"• [a]"_qs << Command::Tab << true << u"  • a"_qs;
        QTest::newRow("tab on a later line")
            << u"x\n• a|"_qs << Command::Tab << true << u"x\n  • a"_qs;
        QTest::newRow("backtab outdents")
            << u"    • a|"_qs << Command::Backtab << true << u"  • a"_qs;
        QTest::newRow("backtab at no indent is swallowed")
            << u"• a|"_qs << Command::Backtab << true << u"• a"_qs;
        QTest::newRow("backtab removes a tab")
            << u"\t• a|"_qs << Command::Backtab << true << u"• a"_qs;
        QTest::newRow("backtab removes at most two")
            << u" \t • a|"_qs << Command::Backtab << true << u" • a"_qs;
        QTest::newRow("backspace after the bullet")
            << u"\t• |x"_qs << Command::DeleteBackward << true << u"\tx"_qs;
        QTest::newRow("backspace elsewhere on a bullet line")
            << u"• x|"_qs << Command::DeleteBackward << false << u"• x"_qs;
        QTest::newRow("backspace with a selection")
            << u"[• ]x"_qs << Command::DeleteBackward << false << u"• x"_qs;
        QTest::newRow("plain line return")
            << u"plain|"_qs << Command::Newline << false << u"plain"_qs;
        QTest::newRow("plain line tab") << u"plain|"_qs << Command::Tab << false << u"plain"_qs;
        QTest::newRow("plain line backtab")
            << u"  plain|"_qs << Command::Backtab << false << u"  plain"_qs;
        QTest::newRow("plain line backspace")
            << u"- |"_qs << Command::DeleteBackward << false << u"- "_qs;
    }

    void commands()
    {
        QFETCH(QString, before);
        QFETCH(BulletEditing::Command, command);
        const Marked m = unmark(before);
        const BulletEditing::Outcome outcome =
            BulletEditing::handle(m.text, m.start, m.end, command);
        QTEST(outcome.handled, "handled");
        const QString after = outcome.edit ? BulletEditing::apply(m.text, *outcome.edit) : m.text;
        QTEST(after, "after");
        if (!outcome.handled)
            QVERIFY(!outcome.edit);
    }
};

QTEST_GUILESS_MAIN(TestBulletEditing)
#include "tst_bulletediting.moc"
