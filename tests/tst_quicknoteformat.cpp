#include "notes/QuickNoteFormat.h"

#include <QTest>

class TestQuickNoteFormat : public QObject {
    Q_OBJECT

private slots:
    void toDisplay_data()
    {
        QTest::addColumn<QString>("markdown");
        QTest::addColumn<QString>("display");
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("indentation kept") << u"- a\n  * b\n\t- c"_qs << u"• a\n  • b\n\t• c"_qs;
        QTest::newRow("trailing newline kept") << u"- a\n"_qs << u"• a\n"_qs;
        QTest::newRow("no space after dash") << u"-x"_qs << u"-x"_qs;
        QTest::newRow("rule") << u"--- "_qs << u"--- "_qs;
        QTest::newRow("plus item") << u"+ x"_qs << u"+ x"_qs;
        QTest::newRow("numbered item") << u"1. x"_qs << u"1. x"_qs;
        QTest::newRow("task keeps its box") << u"- [ ] buy milk"_qs << u"• [ ] buy milk"_qs;
        QTest::newRow("done task") << u"- [x] done"_qs << u"• [x] done"_qs;
        QTest::newRow("only first marker") << u"- - a"_qs << u"• - a"_qs;
        QTest::newRow("dash at end of line") << u"-\n- a"_qs << u"-\n• a"_qs;
        QTest::newRow("dash then tab") << u"-\tx"_qs << u"-\tx"_qs;
        QTest::newRow("bold") << u"**bold**"_qs << u"**bold**"_qs;
        QTest::newRow("mid-line dash") << u"a - b"_qs << u"a - b"_qs;
        QTest::newRow("empty item") << u"- "_qs << u"• "_qs;
        QTest::newRow("mixed indentation") << u" \t * deep"_qs << u" \t • deep"_qs;
        QTest::newRow("bullet already") << u"• x"_qs << u"• x"_qs;
        QTest::newRow("every line") << u"- a\n- b\n- c"_qs << u"• a\n• b\n• c"_qs;
    }
    void toDisplay()
    {
        QFETCH(QString, markdown);
        QFETCH(QString, display);
        QCOMPARE(QuickNoteFormat::toDisplay(markdown), display);
    }

    void toMarkdown_data()
    {
        QTest::addColumn<QString>("display");
        QTest::addColumn<QString>("markdown");
        QTest::newRow("empty stays empty") << QString() << QString();
        QTest::newRow("newline appended") << u"• a\n  • b"_qs << u"- a\n  - b\n"_qs;
        QTest::newRow("no second newline") << u"• a\n"_qs << u"- a\n"_qs;
        QTest::newRow("plain text") << u"plain text"_qs << u"plain text\n"_qs;
        QTest::newRow("lone newline") << u"\n"_qs << u"\n"_qs;
        QTest::newRow("whitespace only is not trimmed") << u"  "_qs << u"  \n"_qs;
        QTest::newRow("bullet mid-line untouched") << u"a • b"_qs << u"a • b\n"_qs;
        QTest::newRow("bullet without space") << u"•x"_qs << u"•x\n"_qs;
        QTest::newRow("tab indentation") << u"\t• x"_qs << u"\t- x\n"_qs;
        QTest::newRow("task") << u"• [ ] buy milk"_qs << u"- [ ] buy milk\n"_qs;
    }
    void toMarkdown()
    {
        QFETCH(QString, display);
        QFETCH(QString, markdown);
        QCOMPARE(QuickNoteFormat::toMarkdown(display), markdown);
    }

    void starBecomesDash()
    {
        QCOMPARE(QuickNoteFormat::toMarkdown(QuickNoteFormat::toDisplay(u"* x"_qs)), u"- x\n"_qs);
    }

    void bulletLineInFileIsWrittenAsDash()
    {
        const QString file = u"• typed elsewhere\n"_qs;
        QCOMPARE(QuickNoteFormat::toMarkdown(QuickNoteFormat::toDisplay(file)),
                 u"- typed elsewhere\n"_qs);
    }
};

QTEST_APPLESS_MAIN(TestQuickNoteFormat)
#include "tst_quicknoteformat.moc"
