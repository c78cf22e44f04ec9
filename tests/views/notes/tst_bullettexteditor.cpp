#include "IconProvider.h"

#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickTextDocument>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>
#include <QTextBlock>
#include <QTextDocument>
#include <QtQml/qqmlextensionplugin.h>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

// The quick note's editor in a real window: keys go in, the text and its undo steps come out.
class TestBulletTextEditor : public QObject {
    Q_OBJECT

    std::unique_ptr<QQuickView> m_view;

    [[nodiscard]] QQuickItem *editor() const { return m_view->rootObject(); }
    [[nodiscard]] QQuickItem *edit() const
    {
        return editor()->property("textItem").value<QQuickItem *>();
    }
    [[nodiscard]] QString text() const { return edit()->property("text").toString(); }
    [[nodiscard]] int cursor() const { return edit()->property("cursorPosition").toInt(); }

    void start(const QString &initial)
    {
        m_view = std::make_unique<QQuickView>();
        m_view->engine()->addImportPath(u"qrc:/qt/qml"_qs);
        IconProvider::install(m_view->engine());
        m_view->setInitialProperties({{u"text"_qs, initial}});
        m_view->setSource(QUrl(u"qrc:/qt/qml/Tallowfern/notes/BulletTextEditor.qml"_qs));
        QVERIFY2(m_view->status() == QQuickView::Ready,
                 qPrintable(m_view->errors().isEmpty() ? QString()
                                                       : m_view->errors().first().toString()));
        m_view->setResizeMode(QQuickView::SizeRootObjectToView);
        m_view->resize(400, 200);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
        m_view->requestActivate();
        edit()->forceActiveFocus();
        QVERIFY(edit()->hasActiveFocus());
    }

    void placeCursor(int position) { edit()->setProperty("cursorPosition", position); }
    void select(int from, int to)
    {
        QMetaObject::invokeMethod(edit(), "select", Q_ARG(int, from), Q_ARG(int, to));
    }
    void type(const QString &typed)
    {
        for (const QChar c : typed) {
            const auto key = c == u'-'   ? Qt::Key_Minus
                             : c == u'*' ? Qt::Key_Asterisk
                             : c == u' ' ? Qt::Key_Space
                                         : Qt::Key(c.toUpper().unicode());
            QTest::sendKeyEvent(QTest::Click, m_view.get(), key, QString(c), {});
        }
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(m_view.get(), key, modifiers);
    }
    // The undo key, as the user presses it.
    void undo() { key(Qt::Key_Z, Qt::ControlModifier); }

private slots:
    void cleanup() { m_view.reset(); }

    void typedMarkersBecomeBullets_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("shown");
        QTest::newRow("dash") << u"- "_qs << u"• "_qs;
        QTest::newRow("indented star") << u"  * "_qs << u"  • "_qs;
        QTest::newRow("then text") << u"- milk"_qs << u"• milk"_qs;
        QTest::newRow("dash inside a line") << u"a - b"_qs << u"a - b"_qs;
        QTest::newRow("dash without space") << u"-x"_qs << u"-x"_qs;
    }

    void typedMarkersBecomeBullets()
    {
        QFETCH(QString, typed);
        start(QString());
        QSignalSpy edited(editor(), SIGNAL(edited(QString)));
        type(typed);
        QTEST(text(), "shown");
        QCOMPARE(cursor(), int(text().size()));
        QCOMPARE(edited.size(), typed.size());
        QCOMPARE(edited.last().first().toString(), text());
    }

    void returnContinuesAndEnds()
    {
        start(u"  • buy milk"_qs);
        placeCursor(12);
        QSignalSpy edited(editor(), SIGNAL(edited(QString)));
        key(Qt::Key_Return);
        QCOMPARE(text(), u"  • buy milk\n  • "_qs);
        QCOMPARE(cursor(), int(text().size()));
        QCOMPARE(edited.size(), 1);
        // Return on the empty bullet ends the list: no bullet, no indent, no new line.
        key(Qt::Key_Return);
        QCOMPARE(text(), u"  • buy milk\n"_qs);
        QCOMPARE(edited.size(), 2);
        undo();
        QCOMPARE(text(), u"  • buy milk\n  • "_qs);
        undo();
        QCOMPARE(text(), u"  • buy milk"_qs);
    }

    void tabAndShiftTab()
    {
        start(u"• a"_qs);
        placeCursor(3);
        QSignalSpy edited(editor(), SIGNAL(edited(QString)));
        key(Qt::Key_Tab);
        QCOMPARE(text(), u"  • a"_qs);
        QCOMPARE(edited.size(), 1);
        QCOMPARE(edited.last().first().toString(), u"  • a"_qs);
        key(Qt::Key_Tab);
        QCOMPARE(text(), u"    • a"_qs);
        key(Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(text(), u"  • a"_qs);
        key(Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(text(), u"• a"_qs);
        // Nothing left to outdent, and no tab character either.
        key(Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(text(), u"• a"_qs);
        QCOMPARE(edited.size(), 4); // the swallowed Shift+Tab changed nothing
        undo();
        QCOMPARE(edited.size(), 5);
        QCOMPARE(text(), u"  • a"_qs);
        undo();
        QCOMPARE(text(), u"    • a"_qs);
    }

    void backspaceAfterTheBullet()
    {
        start(u"\t• x"_qs);
        placeCursor(3);
        QSignalSpy edited(editor(), SIGNAL(edited(QString)));
        key(Qt::Key_Backspace);
        QCOMPARE(text(), u"\tx"_qs);
        QCOMPARE(edited.size(), 1);
        undo();
        QCOMPARE(text(), u"\t• x"_qs);
    }

    // Off a bullet line the keys do what they always do.
    void plainLinesArePlain()
    {
        start(u"plain"_qs);
        placeCursor(5);
        key(Qt::Key_Tab);
        QCOMPARE(text(), u"plain\t"_qs);
        key(Qt::Key_Return);
        QCOMPARE(text(), u"plain\t\n"_qs);
        key(Qt::Key_Backspace);
        key(Qt::Key_Backspace);
        QCOMPARE(text(), u"plain"_qs);
    }

    void typedBulletUndoesToTheMarker()
    {
        start(QString());
        type(u"- "_qs);
        QCOMPARE(text(), u"• "_qs);
        undo();
        QCOMPARE(text(), u"- "_qs);
        key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(text(), u"• "_qs);
    }

    void returnOverASelection()
    {
        start(u"• abcd"_qs);
        select(3, 5);
        key(Qt::Key_Return);
        QCOMPARE(text(), u"• a\n• d"_qs);
        undo();
        QCOMPARE(text(), u"• abcd"_qs);
    }

    // A new text from outside replaces the editor's, without counting as an edit.
    void outsideTextReplaces()
    {
        start(u"old"_qs);
        QSignalSpy edited(editor(), SIGNAL(edited(QString)));
        editor()->setProperty("text", u"- new\n"_qs);
        QCOMPARE(text(), u"- new\n"_qs);
        QCOMPARE(edited.size(), 0);
    }

    // Every line is spaced, new lines too, and the spacing is no step to undo.
    void linesAreSpaced()
    {
        start(u"• one\n• two"_qs);
        QTextDocument *document =
            edit()->property("textDocument").value<QQuickTextDocument *>()->textDocument();
        const auto spacing = [&](int block) {
            const QTextBlockFormat format = document->findBlockByNumber(block).blockFormat();
            return format.lineHeightType() == QTextBlockFormat::LineDistanceHeight
                       ? format.lineHeight()
                       : -1.0;
        };
        QCOMPARE(spacing(0), 3.0);
        QCOMPARE(spacing(1), 3.0);
        QVERIFY(!edit()->property("canUndo").toBool());
        placeCursor(int(text().size()));
        key(Qt::Key_Return);
        QCOMPARE(document->blockCount(), 3);
        QCOMPARE(spacing(2), 3.0);
        editor()->setProperty("text", u"fresh\ntext"_qs);
        QCOMPARE(spacing(1), 3.0);
    }

    void focusIsReported()
    {
        start(QString());
        QSignalSpy focus(editor(), SIGNAL(focusReported(bool)));
        edit()->setFocus(false);
        QCOMPARE(focus.size(), 1);
        QCOMPARE(focus.first().first().toBool(), false);
        edit()->forceActiveFocus();
        QCOMPARE(focus.last().first().toBool(), true);
    }

    // Select all, copy, cut, paste, undo and redo work as in any text field.
    void standardEditingKeys()
    {
        start(u"one two"_qs);
        key(Qt::Key_A, Qt::ControlModifier);
        key(Qt::Key_C, Qt::ControlModifier);
        key(Qt::Key_End);
        key(Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(text(), u"one twoone two"_qs);
        key(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(text(), u"one two"_qs);
        key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(text(), u"one twoone two"_qs);
        key(Qt::Key_A, Qt::ControlModifier);
        key(Qt::Key_X, Qt::ControlModifier);
        QCOMPARE(text(), QString());
    }
};

QTEST_MAIN(TestBulletTextEditor)
#include "tst_bullettexteditor.moc"
