#include "IconProvider.h"
#include "notch/NotchModel.h"
#include "store/BoardStore.h"
#include "store/VaultNotes.h"
#include "support/PanelView.h"
#include "support/QuickItems.h"
#include "support/StoreFixture.h"
#include "support/ViewFixture.h"

#include <QAbstractItemModel>
#include <QQmlEngine>
#include <QQuickItem>
#include <QQuickView>
#include <QSemaphore>
#include <QSignalSpy>
#include <QTest>
#include <QUrl>
#include <QtQml/qqmlextensionplugin.h>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

namespace {

QSemaphore walkStarted;
QSemaphore walkMayGo;

void heldWalk()
{
    walkStarted.release();
    walkMayGo.acquire();
}

} // namespace

using QuickItems::findItem;
using QuickItems::shown;

// The Notes tab in a real window over a store on a scratch vault.
class TestNotesView : public QObject, protected ViewFixture {
    Q_OBJECT

    QString notePath() const { return m_scratch->notes() + u"/2025-03-07.md"_qs; }

    void start()
    {
        makeStore();
        show();
        // The list fills once the vault has been walked.
        QTRY_VERIFY(!list()->property("loading").toBool());
    }
    void show()
    {
        showView(u"notes/NotesView.qml"_qs, QSize(760, 300));
        activateView();
    }
    // The tab as it is made, not shown yet.
    void makeView()
    {
        m_view = panelView(u"notes/NotesView.qml"_qs, m_model.get(), m_store.get(), Qt::black);
        QVERIFY2(m_view->status() == QQuickView::Ready, qPrintable(loadErrors(*m_view)));
        m_view->resize(760, 300);
    }
    // A click below the note's last line: the caret goes to its end.
    void clickBelowTheText()
    {
        QQuickItem *box = editor()->parentItem()->parentItem();
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {},
                          box->mapToScene(QPointF(box->width() / 2, box->height() - 12)).toPoint());
        QVERIFY(editor()->hasActiveFocus());
    }

    [[nodiscard]] QQuickItem *item(const QString &name) const
    {
        return findItem(m_view->rootObject(), name);
    }
    [[nodiscard]] QObject *list() const
    {
        return m_view->rootObject()->property("notes").value<QObject *>();
    }
    [[nodiscard]] QQuickItem *editor() const { return item(u"noteEditor"_qs); }
    void click(QQuickItem *target)
    {
        QVERIFY(target);
        QTest::mouseClick(
            m_view.get(), Qt::LeftButton, {},
            target->mapToScene(QPointF(target->width() / 2, target->height() / 2)).toPoint());
    }
    void type(const QString &typed)
    {
        for (const QChar c : typed) {
            const auto key = c == u'-'   ? Qt::Key_Minus
                             : c == u' ' ? Qt::Key_Space
                                         : Qt::Key(c.toUpper().unicode());
            QTest::sendKeyEvent(QTest::Click, m_view.get(), key, QString(c), {});
        }
    }
    void key(Qt::Key key) { QTest::keyClick(m_view.get(), key); }

private slots:
    void initTestCase() { useTimeZone("Europe/Berlin"); }

    void init()
    {
        freshVault();
        Scratch::write(m_scratch->vault() + u"/Inbox.md"_qs, "x\n");
        Scratch::write(m_scratch->vault() + u"/Projects/Garden plan.md"_qs, "x\n");
        Scratch::write(m_scratch->vault() + u"/Projects/Kitchen.md"_qs, "x\n");
    }

    void cleanup() { closeView(); }

    void placeholderFollowsTheText()
    {
        start();
        QQuickItem *placeholder = item(u"notePlaceholder"_qs);
        QVERIFY(shown(placeholder));
        QCOMPARE(placeholder->property("text").toString(),
                 u"Jot something down. Start a line with “- ” for bullets."_qs);
        click(editor());
        type(u"x"_qs);
        QVERIFY(!shown(placeholder));
        key(Qt::Key_Backspace);
        QVERIFY(shown(placeholder));
    }

    // A click anywhere in the note's box, even well below its text, puts the caret in the note.
    void clickBelowTheTextFocusesTheNote()
    {
        start();
        QQuickItem *box = editor()->parentItem()->parentItem();
        const QPoint nearBottom =
            box->mapToScene(QPointF(box->width() / 2, box->height() - 12)).toPoint();
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, nearBottom);
        QVERIFY(editor()->hasActiveFocus());
        type(u"x"_qs);
        QCOMPARE(editor()->property("text").toString(), u"x"_qs);
    }

    // Typed bullets are saved as Markdown half a second after the last key.
    void typingSavesMarkdown()
    {
        start();
        click(editor());
        type(u"- a"_qs);
        key(Qt::Key_Return);
        key(Qt::Key_Tab);
        type(u"b"_qs);
        QCOMPARE(editor()->property("text").toString(), u"• a\n  • b"_qs);
        QVERIFY(!QFile::exists(notePath()));
        QTRY_COMPARE_WITH_TIMEOUT(Scratch::read(notePath()), QByteArray("- a\n  - b\n"), 2000);
        QVERIFY(item(u"savedLabel"_qs)->property("text").toString().startsWith(u"Saved "));
    }

    // Undo and redo through the tab, whose every edit goes round through the store and back.
    void undoAndRedoInTheTab()
    {
        start();
        click(editor());
        type(u"abc de"_qs);
        const auto text = [this] { return editor()->property("text").toString(); };
        QCOMPARE(text(), u"abc de"_qs);
        QStringList undone;
        for (int press = 0; press < 10 && !text().isEmpty(); ++press) {
            const QString before = text();
            QTest::keyClick(m_view.get(), Qt::Key_Z, Qt::ControlModifier);
            // Every press takes back something the user typed.
            QVERIFY2(text() != before, qPrintable(u"press %1 changed nothing"_qs.arg(press + 1)));
            QVERIFY(u"abc de"_qs.startsWith(text()));
            undone.append(text());
        }
        QCOMPARE(text(), QString());
        // Redo brings back the same steps in the opposite order.
        QStringList redone;
        for (qsizetype i = 0; i < undone.size(); ++i) {
            QTest::keyClick(m_view.get(), Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
            redone.prepend(text());
        }
        QCOMPARE(text(), u"abc de"_qs);
        undone.removeLast();
        undone.prepend(u"abc de"_qs);
        QCOMPARE(redone, undone);
    }

    // Leaving the tab writes a pending save at once.
    void leavingFlushes()
    {
        start();
        click(editor());
        type(u"quick"_qs);
        m_view.reset();
        QCOMPARE(Scratch::read(notePath()), QByteArray("quick\n"));
    }

    void noteIsLoadedWithBullets()
    {
        Scratch::write(notePath(), "- milk\n  * eggs\n");
        start();
        QCOMPARE(editor()->property("text").toString(), u"• milk\n  • eggs\n"_qs);
        QVERIFY(!shown(item(u"notePlaceholder"_qs)));
    }

    void searchNarrowsTheList()
    {
        start();
        QCOMPARE(item(u"listHeader"_qs)->property("text").toString(), u"Recent"_qs);
        QCOMPARE(list()->property("count").toInt(), 3);
        click(item(u"search"_qs));
        type(u"proj"_qs);
        QCOMPARE(item(u"listHeader"_qs)->property("text").toString(), u"2 matches"_qs);
        type(u"ects/k"_qs);
        QCOMPARE(item(u"listHeader"_qs)->property("text").toString(), u"1 matches"_qs);
        key(Qt::Key_Return);
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened.first().contains("file=Projects/Kitchen"));
    }

    void rowsOpenAndShowTheirFolder()
    {
        start();
        QQuickItem *inbox = item(u"note-Inbox"_qs);
        QQuickItem *garden = item(u"note-Projects/Garden plan"_qs);
        QVERIFY(inbox && garden);
        QVERIFY(!shown(findItem(inbox, u"folder"_qs)));
        QVERIFY(shown(findItem(garden, u"folder"_qs)));
        QCOMPARE(findItem(garden, u"folder"_qs)->property("text").toString(), u"Projects"_qs);
        QVERIFY(!findItem(inbox, u"modified"_qs)->property("text").toString().isEmpty());
        click(garden);
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened.first().contains("file=Projects/Garden%20plan"));
    }

    // Either field keeps the panel open while it has the keyboard.
    void editingWhileEitherFieldHasFocus()
    {
        start();
        QVERIFY(!m_model->isEditing());
        click(editor());
        QVERIFY(m_model->isEditing());
        click(item(u"search"_qs));
        QVERIFY(m_model->isEditing());
        item(u"search"_qs)->setFocus(false);
        QVERIFY(!m_model->isEditing());
    }

    // What the editor cannot show differently is saved as it was: no-break spaces, line
    // separators, line breaks of every kind and a byte-order mark.
    void textKeptAsWritten_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<QByteArray>("after");
        QTest::newRow("no-break spaces") << QByteArray("a\xC2\xA0"
                                                       "b\n")
                                         << QByteArray("a\xC2\xA0"
                                                       "b\nx\n");
        QTest::newRow("CRLF") << QByteArray("- one\r\n- two\r\n")
                              << QByteArray("- one\r\n- two\r\nx\r\n");
        QTest::newRow("line separator") << QByteArray("a\xE2\x80\xA8"
                                                      "b\n")
                                        << QByteArray("a\xE2\x80\xA8"
                                                      "b\nx\n");
        QTest::newRow("CR") << QByteArray("a\rb\r") << QByteArray("a\rb\rx\r");
        QTest::newRow("mixed") << QByteArray("a\r\nb\n") << QByteArray("a\r\nb\nx\r\n");
        QTest::newRow("byte-order mark") << QByteArray("\xEF\xBB\xBF"
                                                       "a\n")
                                         << QByteArray("\xEF\xBB\xBF"
                                                       "a\nx\n");
    }
    void textKeptAsWritten()
    {
        QFETCH(QByteArray, before);
        QFETCH(QByteArray, after);
        Scratch::write(notePath(), before);
        start();
        clickBelowTheText();
        type(u"x"_qs);
        m_view.reset();
        QCOMPARE(Scratch::read(notePath()), after);
    }

    // At midnight the tab writes what was typed into the old day's note and shows the new day's.
    void midnightWithTheTabOpen()
    {
        Scratch::write(notePath(), "morning\n");
        start();
        clickBelowTheText();
        type(u"abc"_qs);
        m_clock.set(2025, 3, 8, 0, 0, 5);
        m_store->checkForChanges();
        QCOMPARE(m_store->day(), u"2025-03-08"_qs);
        QCOMPARE(Scratch::read(notePath()), QByteArray("morning\nabc\n"));
        QCOMPARE(editor()->property("text").toString(), QString());
        QVERIFY(shown(item(u"notePlaceholder"_qs)));
        QCOMPARE(item(u"openNote"_qs)->property("toolTip").toString(),
                 u"Open 2025-03-08.md in Obsidian"_qs);
        clickBelowTheText();
        type(u"new"_qs);
        m_view.reset();
        const QString tomorrow = m_scratch->notes() + u"/2025-03-08.md"_qs;
        QCOMPARE(Scratch::read(tomorrow), QByteArray("new\n"));
        QCOMPARE(Scratch::read(notePath()), QByteArray("morning\nabc\n"));
    }

    // Up and Down choose a row from the search field; Return opens the chosen one.
    void arrowsChooseTheRow()
    {
        start();
        const auto *rows = qobject_cast<QAbstractItemModel *>(list());
        const auto pathAt = [rows](int row) {
            return rows->index(row, 0).data(Qt::UserRole).toString();
        };
        const auto opens = [this](const QString &path) {
            return m_launcher.opened.last().endsWith("file=" + QUrl::toPercentEncoding(path, "/"));
        };
        click(item(u"search"_qs));
        key(Qt::Key_Down);
        key(Qt::Key_Down);
        QCOMPARE(list()->property("currentRow").toInt(), 1);
        QVERIFY(item(u"note-"_qs + pathAt(1))->property("selected").toBool());
        QVERIFY(!item(u"note-"_qs + pathAt(0))->property("selected").toBool());
        key(Qt::Key_Return);
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(opens(pathAt(1)));
        key(Qt::Key_Up);
        key(Qt::Key_Up);
        QCOMPARE(list()->property("currentRow").toInt(), -1);
        // With nothing chosen, the first row.
        key(Qt::Key_Return);
        QCOMPARE(m_launcher.opened.size(), 2);
        QVERIFY(opens(pathAt(0)));
    }

    // Tab reaches the list as a control of its own; the note is reached too, and Shift+Tab
    // leaves it from a line that is not a bullet.
    void tabThroughTheNoteAndTheList()
    {
        start();
        const auto *rows = qobject_cast<QAbstractItemModel *>(list());
        const auto rowAt = [this, rows](int row) {
            return item(u"note-"_qs + rows->index(row, 0).data(Qt::UserRole).toString());
        };
        click(item(u"search"_qs));
        QCOMPARE(m_view->activeFocusItem(), item(u"search"_qs));
        QCOMPARE(list()->property("currentRow").toInt(), -1);

        key(Qt::Key_Tab);
        QVERIFY(item(u"notesList"_qs)->hasActiveFocus());
        // Some row always shows where the keyboard is.
        QCOMPARE(list()->property("currentRow").toInt(), 0);
        QVERIFY(rowAt(0)->property("keyboardFocus").toBool());
        key(Qt::Key_Down);
        key(Qt::Key_Down);
        key(Qt::Key_Down);
        QCOMPARE(list()->property("currentRow").toInt(), 2);
        for (int i = 0; i < 4; ++i)
            key(Qt::Key_Up);
        QCOMPARE(list()->property("currentRow").toInt(), 0);
        key(Qt::Key_Down);
        key(Qt::Key_Space);
        QCOMPARE(m_launcher.opened.size(), 1);
        const QString second = rows->index(1, 0).data(Qt::UserRole).toString();
        QVERIFY(m_launcher.opened.last().endsWith("file=" + QUrl::toPercentEncoding(second, "/")));
        key(Qt::Key_Return);
        QCOMPARE(m_launcher.opened.size(), 2);

        QTest::keyClick(m_view.get(), Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(m_view->activeFocusItem(), item(u"search"_qs));
        QVERIFY(!rowAt(1)->property("keyboardFocus").toBool());
        QTest::keyClick(m_view.get(), Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(m_view->activeFocusItem(), editor());
        // On a bullet line Tab and Shift+Tab are the indent keys; on others Tab types a tab and
        // Shift+Tab goes back.
        type(u"- a"_qs);
        key(Qt::Key_Tab);
        QTest::keyClick(m_view.get(), Qt::Key_Backtab, Qt::ShiftModifier);
        QTest::keyClick(m_view.get(), Qt::Key_Backtab, Qt::ShiftModifier);
        QCOMPARE(m_view->activeFocusItem(), editor());
        QCOMPARE(editor()->property("text").toString(), u"• a"_qs);
        key(Qt::Key_Return);
        key(Qt::Key_Return);
        key(Qt::Key_Tab);
        QCOMPARE(m_view->activeFocusItem(), editor());
        QCOMPARE(editor()->property("text").toString(), u"• a\n\t"_qs);
        QTest::keyClick(m_view.get(), Qt::Key_Backtab, Qt::ShiftModifier);
        QVERIFY(m_view->activeFocusItem() != editor());
    }

    // The list follows the vault while the tab is open, and opening the tab again shows it at
    // once, as it is now, without walking the vault.
    void reopenedTabShowsTheListAtOnce()
    {
        start();
        QCOMPARE(list()->property("count").toInt(), 3);
        Scratch::write(m_scratch->vault() + u"/Projects/Later.md"_qs, "x\n");
        QTRY_COMPARE(list()->property("count").toInt(), 4);
        m_view.reset();
        makeView();
        QVERIFY(!list()->property("loading").toBool());
        QCOMPARE(list()->property("count").toInt(), 4);
        // In the first frame.
        QSignalSpy frames(m_view.get(), &QQuickWindow::frameSwapped);
        m_view->show();
        QVERIFY(frames.wait());
        QVERIFY(shown(item(u"note-Projects/Later"_qs)));
        QVERIFY(!shown(item(u"notesLoading"_qs)));
    }

    // Closing the tab while the vault is walked does not wait for the walk.
    void closingDuringAWalk()
    {
        VaultNotes::setBeforeWalkForTesting(&heldWalk);
        makeStore();
        show();
        QVERIFY(walkStarted.tryAcquire(1, 5000));
        QVERIFY(list()->property("loading").toBool());
        QVERIFY(shown(item(u"notesLoading"_qs)));
        QCOMPARE(item(u"listHeader"_qs)->property("text").toString(), u"Recent"_qs);
        // Waiting for the walk here would never end: it is held until after this.
        m_view.reset();
        walkMayGo.release();
        VaultNotes::setBeforeWalkForTesting(nullptr);
        QTRY_VERIFY(!m_store->vaultNotes()->loading());
        QCOMPARE(m_store->vaultNotes()->size(), 3);
    }

    void openButtonOpensTodaysNote()
    {
        start();
        QQuickItem *button = item(u"openNote"_qs);
        QCOMPARE(button->property("toolTip").toString(), u"Open 2025-03-07.md in Obsidian"_qs);
        click(button);
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened.first().contains("file=01%20Journal/Quick%20Notes/2025-03-07"));
    }
};

QTEST_MAIN(TestNotesView)
#include "tst_notesview.moc"
