#include "notes/LineEndings.h"

#include <QTest>

class TestLineEndings : public QObject {
    Q_OBJECT

private slots:
    void unified_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("empty") << QString() << QString();
        QTest::newRow("line feeds") << u"a\nb\n"_qs << u"a\nb\n"_qs;
        QTest::newRow("CRLF") << u"a\r\nb\r\n"_qs << u"a\nb\n"_qs;
        QTest::newRow("CR") << u"a\rb\r"_qs << u"a\nb\n"_qs;
        QTest::newRow("paragraph separator") << u"a\u2029b"_qs << u"a\nb"_qs;
        QTest::newRow("mixed") << u"a\r\nb\nc\rd"_qs << u"a\nb\nc\nd"_qs;
        QTest::newRow("CR then CRLF") << u"a\r\r\nb"_qs << u"a\n\nb"_qs;
        // A line separator breaks no line here: the editor keeps it inside its line.
        QTest::newRow("line separator stays") << u"a\u2028b\r\n"_qs << u"a\u2028b\n"_qs;
        QTest::newRow("no-break space stays") << u"a\u00A0b\r\n"_qs << u"a\u00A0b\n"_qs;
    }
    void unified()
    {
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(LineEndings::unified(text), expected);
    }

    void restore_data()
    {
        QTest::addColumn<QString>("original");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("expected");
        QTest::newRow("line feeds stay") << u"a\nb\n"_qs << u"a\nx\nb\n"_qs << u"a\nx\nb\n"_qs;
        QTest::newRow("no original") << QString() << u"a\nb\n"_qs << u"a\nb\n"_qs;
        QTest::newRow("CRLF note stays CRLF")
            << u"- a\r\n- b\r\n"_qs << u"- a\n- b\n- c\n"_qs << u"- a\r\n- b\r\n- c\r\n"_qs;
        QTest::newRow("unchanged CRLF note")
            << u"a\r\nb\r\n"_qs << u"a\nb\n"_qs << u"a\r\nb\r\n"_qs;
        QTest::newRow("CR note") << u"a\rb\r"_qs << u"a\nB\n"_qs << u"a\rB\r"_qs;
        QTest::newRow("paragraph separators")
            << u"a\u2029b"_qs << u"a\nb\n"_qs << u"a\u2029b\u2029"_qs;
        // Untouched lines keep their own break; new and changed ones take the usual one.
        QTest::newRow("mixed, edit in the middle")
            << u"one\r\ntwo\nthree\r\nfour\r\nfive\n"_qs << u"one\ntwo\nTHREE\nfour\nfive\n"_qs
            << u"one\r\ntwo\nTHREE\r\nfour\r\nfive\n"_qs;
        QTest::newRow("mixed, line inserted at the top")
            << u"a\nb\r\nc\r\n"_qs << u"new\na\nb\nc\n"_qs << u"new\r\na\nb\r\nc\r\n"_qs;
        QTest::newRow("mixed, line removed")
            << u"a\rb\nc\r\nd\n"_qs << u"a\nc\nd\n"_qs << u"a\rc\r\nd\n"_qs;
        QTest::newRow("last line gains a break")
            << u"a\r\nb"_qs << u"a\nb\n"_qs << u"a\r\nb\r\n"_qs;
        QTest::newRow("emptied") << u"a\r\n"_qs << QString() << QString();
        QTest::newRow("blank lines")
            << u"\r\n\r\nx\r\n"_qs << u"\n\nx\ny\n"_qs << u"\r\n\r\nx\r\ny\r\n"_qs;
        QTest::newRow("equal counts: the first used wins")
            << u"a\r\nb\nc\r\nd\n"_qs << u"x\n"_qs << u"x\r\n"_qs;
    }
    void restore()
    {
        QFETCH(QString, original);
        QFETCH(QString, text);
        QFETCH(QString, expected);
        QCOMPARE(LineEndings::restore(text, original), expected);
        // Whatever the breaks, the text itself is what was given.
        QCOMPARE(LineEndings::unified(LineEndings::restore(text, original)), text);
    }
};

QTEST_APPLESS_MAIN(TestLineEndings)
#include "tst_lineendings.moc"
