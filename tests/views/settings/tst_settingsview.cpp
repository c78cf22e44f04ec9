#include "FakeDesktopServices.h"
#include "IconProvider.h"
#include "PanelTheme.h"
#include "SettingsState.h"
#include "model/Shortcut.h"
#include "notch/NotchModel.h"
#include "platform/LaunchAtLogin.h"
#include "store/BoardStore.h"
#include "support/PanelView.h"
#include "support/QuickItems.h"
#include "support/StoreFixture.h"
#include "support/ViewFixture.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQmlProperty>
#include <QQuickItem>
#include <QQuickView>
#include <QSignalSpy>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <memory>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

using QuickItems::centre;
using QuickItems::findItem;
using QuickItems::shown;

namespace {

// The tab's area in the open panel, without banners.
constexpr QSize tabArea{716, 312};

} // namespace

// The Settings tab in a real Qt Quick window over a store on a scratch vault, with the folder
// dialog and the file manager played by the test.
class TestSettingsView : public QObject, protected ViewFixture {
    Q_OBJECT

    std::unique_ptr<FakeDesktopServices> m_desktop;
    QStringList m_panel;

    void start()
    {
        if (!m_store) {
            makeStore();
            m_model->setTab(NotchModel::Tab::Settings);
            m_model->setCloseRequested([this] { m_panel.append(u"close"_qs); });
            m_model->setOpenRequested(
                [this](bool pin) { m_panel.append(pin ? u"open pinned"_qs : u"open"_qs); });
        }
        showView(u"settings/SettingsView.qml"_qs, tabArea);
        activateView();
    }
    // The view built again, as when the panel opens again on the Settings tab.
    void showAgain()
    {
        m_view.reset();
        start();
    }
    // Settings that a launch before this one left behind: no first run.
    void startLater()
    {
        {
            BoardStore first(&m_clock, &m_launcher);
        }
        start();
        QVERIFY(!m_store->isFirstRun());
    }

    [[nodiscard]] QQuickItem *root() const { return m_view->rootObject(); }
    [[nodiscard]] QQuickItem *item(const QString &name) const { return findItem(root(), name); }
    [[nodiscard]] QQuickItem *in(const QString &row, const QString &name) const
    {
        return findItem(item(row), name);
    }
    [[nodiscard]] QObject *controller() const
    {
        return root()->property("settings").value<QObject *>();
    }
    [[nodiscard]] static QString text(const QQuickItem *target)
    {
        return target ? target->property("text").toString() : u"(missing)"_qs;
    }
    void click(QQuickItem *target)
    {
        QVERIFY(target);
        QVERIFY2(shown(target), qPrintable(target->objectName() + u" is hidden"_qs));
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {}, centre(target));
    }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QTest::keyClick(m_view.get(), key, modifiers);
    }
    void type(const QString &text)
    {
        // ASCII keys have their character's code as their key.
        for (const QChar c : text)
            QTest::sendKeyEvent(QTest::Click, m_view.get(), Qt::Key(c.toUpper().unicode()),
                                QString(c), {});
    }
    [[nodiscard]] QQuickItem *boardsInput() const { return in(u"boardsRow"_qs, u"pathInput"_qs); }
    [[nodiscard]] QString boardsShown() const { return text(boardsInput()); }
    [[nodiscard]] static QVariant attached(QQuickItem *target, const char *name)
    {
        return QQmlProperty(target, QString::fromLatin1(name), qmlContext(target)).read();
    }
    [[nodiscard]] QString outside() const { return m_scratch->path(u"elsewhere"_qs); }
    void waitForChoice()
    {
        QVERIFY(QTest::qWaitFor([this] { return !m_panel.isEmpty() && m_panel.last() != u"close"; },
                                2000));
    }

private slots:
    // Left, centre, right: the lit choice is the one in force, and a click stores it.
    void notchPositionRow()
    {
        start();
        QQuickItem *left = in(u"notchPositionRow"_qs, u"choice0"_qs);
        QQuickItem *right = in(u"notchPositionRow"_qs, u"choice2"_qs);
        QVERIFY(left && right);
        click(right);
        QCOMPARE(m_store->notchPosition(), BoardStore::NotchPosition::Right);
        QVERIFY(attached(right, "Accessible.checked").toBool());
        QVERIFY(!attached(left, "Accessible.checked").toBool());
        click(left);
        QCOMPARE(m_store->notchPosition(), BoardStore::NotchPosition::Left);
        QVERIFY(attached(left, "Accessible.checked").toBool());
    }

    // Without a tray the tab offers the tray menu's actions.
    void trayActionsWithoutATray()
    {
        start();
        QQuickItem *actions = item(u"appActions"_qs);
        QVERIFY(actions);
        QVERIFY(!shown(actions));
        m_model->setTrayAvailable(false);
        QTRY_VERIFY(shown(actions));
        QVERIFY(in(u"appActions"_qs, u"quitButton"_qs));
        QVERIFY(in(u"appActions"_qs, u"showBoardsButton"_qs));
        click(in(u"appActions"_qs, u"openInObsidianButton"_qs));
        QCOMPARE(m_launcher.opened.size(), 1);
        QVERIFY(m_launcher.opened.constFirst().startsWith("obsidian://"));
        m_model->setTrayAvailable(true);
        QTRY_VERIFY(!shown(actions));
    }

    void init()
    {
        freshVault();
        m_desktop = std::make_unique<FakeDesktopServices>();
        m_panel.clear();
    }
    void cleanup()
    {
        closeView();
        m_desktop.reset();
    }

    void cardsAndRows_data()
    {
        QTest::addColumn<QString>("card");
        QTest::addColumn<QStringList>("rows");
        QTest::addColumn<QStringList>("titles");
        QTest::addColumn<QStringList>("details");
        QTest::newRow("Locations")
            << u"locations"_qs << QStringList{u"vaultRow"_qs, u"boardsRow"_qs, u"notesRow"_qs}
            << QStringList{u"Obsidian vault"_qs, u"Kanban boards folder"_qs,
                           u"Quick notes folder"_qs}
            << QStringList{u"Notes search and quick notes use this vault"_qs,
                           u"One file per day (YYYY-MM-DD.md)"_qs,
                           u"Autosaved, one file per day"_qs};
        QTest::newRow("Behaviour")
            << u"behaviour"_qs
            << QStringList{u"openShortcutRow"_qs,  u"switchTabShortcutRow"_qs, u"carryOverRow"_qs,
                           u"morningBannerRow"_qs, u"launchAtLoginRow"_qs,     u"swipeRow"_qs}
            << QStringList{u"Open Tallowfern"_qs,
                           u"Switch Board \u2194 Notes"_qs,
                           u"Carry over unfinished tasks"_qs,
                           u"Morning banner"_qs,
                           u"Launch at login"_qs,
                           u"Two-finger swipe switches tabs"_qs}
            << QStringList{QString(),
                           QString(),
                           u"Copy To do and Doing into each new day's board"_qs,
                           u"Open the notch when a new day's board is created"_qs,
                           QString(),
                           QString()};
    }
    void cardsAndRows()
    {
        QFETCH(QString, card);
        QFETCH(QStringList, rows);
        QFETCH(QStringList, titles);
        QFETCH(QStringList, details);
        start();
        if (QTest::currentTestFailed())
            return;
        QQuickItem *group = item(card);
        QVERIFY(group);
        QQuickItem *heading = findItem(group, u"cardTitle"_qs);
        QCOMPARE(text(heading), QTest::currentDataTag());
        const QFont font = heading->property("font").value<QFont>();
        QCOMPARE(font.capitalization(), QFont::AllUppercase);
        QCOMPARE(font.pixelSize(), 10);
        QCOMPARE(font.weight(), QFont::DemiBold);
        QCOMPARE(heading->property("color").value<QColor>().rgba(), PanelTheme::secondary().rgba());

        qreal lastY = -1;
        for (qsizetype i = 0; i < rows.size(); ++i) {
            QQuickItem *row = findItem(group, rows.at(i));
            QVERIFY2(row, qPrintable(rows.at(i)));
            const qreal y = row->mapToScene({0, 0}).y();
            QVERIFY2(y > lastY, qPrintable(rows.at(i) + u" is out of order"_qs));
            lastY = y;
            QQuickItem *title = findItem(row, u"rowTitle"_qs);
            QCOMPARE(text(title), titles.at(i));
            QCOMPARE(title->property("font").value<QFont>().pixelSize(), 12);
            QCOMPARE(title->property("font").value<QFont>().weight(), QFont::Medium);
            QCOMPARE(title->property("color").value<QColor>().rgba(), PanelTheme::text().rgba());
            QQuickItem *detail = findItem(row, u"rowDetail"_qs);
            QCOMPARE(shown(detail), !details.at(i).isEmpty());
            if (!details.at(i).isEmpty()) {
                QCOMPARE(text(detail), details.at(i));
                QCOMPARE(detail->property("font").value<QFont>().pixelSize(), 10);
                QCOMPARE(detail->property("color").value<QColor>().rgba(),
                         PanelTheme::secondary().rgba());
            }
        }
    }

    // At the size of the open panel's tab area everything shows without scrolling, even with
    // both the welcome and the message line.
    void fitsTheTab()
    {
        start();
        SettingsState::of(m_store.get())->setMessage(u"Boards folder must be inside the vault"_qs);
        QVERIFY(shown(item(u"welcome"_qs)));
        QVERIFY(shown(item(u"message"_qs)));
        QQuickItem *flick = item(u"flick"_qs);
        QVERIFY(flick);
        QVERIFY2(
            flick->property("contentHeight").toReal() <= flick->height(),
            qPrintable(u"the page is %1 high"_qs.arg(flick->property("contentHeight").toReal())));
        QVERIFY(!flick->property("interactive").toBool());
    }

    void vaultShownWithTilde()
    {
        start();
        m_store->setVault(m_scratch->home() + u"/Documents/Vault"_qs);
        QQuickItem *path = in(u"vaultRow"_qs, u"pathText"_qs);
        QCOMPARE(text(path), u"~/Documents/Vault"_qs);
        QVERIFY(shown(path));
        QVERIFY(!shown(in(u"vaultRow"_qs, u"pathInput"_qs)));
        QCOMPARE(path->property("font").value<QFont>().pixelSize(), 11);
        QCOMPARE(path->opacity(), 0.8);
        QQuickItem *field = in(u"vaultRow"_qs, u"pathField"_qs);
        QCOMPARE(field->property("radius").toReal(), 7.0);
        QCOMPARE(field->property("color").value<QColor>().rgba(),
                 QColor::fromRgbF(1, 1, 1, 0.06f).rgba());
    }

    // Typing "/Boards/ " and Return commits "Boards"; an emptied field and Return puts the
    // current value back.
    void typedBoardsFolder()
    {
        start();
        QCOMPARE(boardsShown(), u"01 Journal/Boards"_qs);
        click(boardsInput());
        QVERIFY(boardsInput()->hasActiveFocus());
        QVERIFY(m_model->isEditing());
        key(Qt::Key_A, Qt::ControlModifier);
        type(u"/Boards/ "_qs);
        QCOMPARE(boardsShown(), u"/Boards/ "_qs);
        QCOMPARE(m_store->boardsFolder(), u"01 Journal/Boards"_qs);
        key(Qt::Key_Return);
        QCOMPARE(m_store->boardsFolder(), u"Boards"_qs);
        QCOMPARE(boardsShown(), u"Boards"_qs);
        QVERIFY(QFileInfo::exists(m_scratch->vault() + u"/Boards/2025-03-07.md"_qs));

        key(Qt::Key_A, Qt::ControlModifier);
        key(Qt::Key_Delete);
        QCOMPARE(boardsShown(), QString());
        key(Qt::Key_Return);
        QCOMPARE(boardsShown(), u"Boards"_qs);
        QCOMPARE(m_store->boardsFolder(), u"Boards"_qs);
        QVERIFY(m_model->isEditing());
    }

    // Leaving the field applies it too, and ends editing.
    void leavingTheNotesField()
    {
        start();
        QQuickItem *input = in(u"notesRow"_qs, u"pathInput"_qs);
        click(input);
        QVERIFY(m_model->isEditing());
        key(Qt::Key_End);
        type(u"/Today/"_qs);
        QCOMPARE(m_store->notesFolder(), u"01 Journal/Quick Notes"_qs);
        // A click beside the fields.
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {},
                          QPoint(tabArea.width() / 2, tabArea.height() - 4));
        QVERIFY(!input->hasActiveFocus());
        QVERIFY(!m_model->isEditing());
        QCOMPARE(m_store->notesFolder(), u"01 Journal/Quick Notes/Today"_qs);
        QCOMPARE(text(input), u"01 Journal/Quick Notes/Today"_qs);
    }

    void editingKeys()
    {
        start();
        QClipboard *clipboard = QGuiApplication::clipboard();
        clipboard->setText(u"Pasted"_qs);
        click(boardsInput());
        key(Qt::Key_A, Qt::ControlModifier);
        key(Qt::Key_C, Qt::ControlModifier);
        QCOMPARE(clipboard->text(), u"01 Journal/Boards"_qs);
        key(Qt::Key_X, Qt::ControlModifier);
        QCOMPARE(boardsShown(), QString());
        QCOMPARE(clipboard->text(), u"01 Journal/Boards"_qs);
        key(Qt::Key_V, Qt::ControlModifier);
        key(Qt::Key_V, Qt::ControlModifier);
        QCOMPARE(boardsShown(), u"01 Journal/Boards01 Journal/Boards"_qs);
        key(Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(boardsShown(), u"01 Journal/Boards"_qs);
        key(Qt::Key_Z, Qt::ControlModifier | Qt::ShiftModifier);
        QCOMPARE(boardsShown(), u"01 Journal/Boards01 Journal/Boards"_qs);
        key(Qt::Key_Z, Qt::ControlModifier);
        key(Qt::Key_Y, Qt::ControlModifier);
        QCOMPARE(boardsShown(), u"01 Journal/Boards01 Journal/Boards"_qs);
        // Everything typed so far is the draft the field would apply.
        QCOMPARE(controller()->property("boardsField").value<QObject *>()->property("draft"),
                 QVariant(u"01 Journal/Boards01 Journal/Boards"_qs));
        QCOMPARE(m_store->boardsFolder(), u"01 Journal/Boards"_qs);
    }

    void shortcutRows_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<NotchModel::ShortcutTarget>("target");
        QTest::newRow("open") << u"openShortcutRow"_qs << NotchModel::ShortcutTarget::Open;
        QTest::newRow("switch") << u"switchTabShortcutRow"_qs
                                << NotchModel::ShortcutTarget::SwitchTab;
    }
    void shortcutRows()
    {
        QFETCH(QString, row);
        QFETCH(NotchModel::ShortcutTarget, target);
        const bool open = target == NotchModel::ShortcutTarget::Open;
        start();
        QQuickItem *capsule = in(row, u"shortcutButton"_qs);
        QQuickItem *label = in(row, u"shortcutLabel"_qs);
        QQuickItem *tip = findItem(capsule, u"toolTip"_qs);
        QVERIFY(capsule && label && tip);
        const QString defaultLabel = open ? u"Alt+N"_qs : u"Ctrl+Tab"_qs;
        QCOMPARE(text(label), defaultLabel);
        QCOMPARE(label->property("font").value<QFont>().pixelSize(), 11);
        QCOMPARE(tip->property("text").toString(), u"Click to change"_qs);
        QQuickItem *fill = capsule->childItems().value(0);
        QCOMPARE(fill->property("color").value<QColor>().rgba(), PanelTheme::surfaceHover().rgba());

        click(capsule);
        QCOMPARE(m_model->recording(), std::optional(target));
        QCOMPARE(text(label), u"Press keys\u2026"_qs);
        QCOMPARE(fill->property("color").value<QColor>().rgba(), PanelTheme::accent().rgba());
        QCOMPARE(tip->property("text").toString(),
                 u"Press a key with Ctrl, Alt or Super. Esc cancels."_qs);
        // The other row is not recording.
        QQuickItem *other =
            in(open ? u"switchTabShortcutRow"_qs : u"openShortcutRow"_qs, u"shortcutLabel"_qs);
        QVERIFY(text(other) != u"Press keys\u2026"_qs);
        click(capsule);
        QCOMPARE(m_model->recording(), std::nullopt);
        QCOMPARE(text(label), defaultLabel);

        // What the panel records shows, and the reset button puts the default back.
        const Shortcut recorded(40, Shortcut::Control | Shortcut::Option);
        if (open)
            m_store->setOpenShortcut(recorded);
        else
            m_store->setSwitchTabShortcut(recorded);
        QCOMPARE(text(label), u"Ctrl+Alt+K"_qs);
        QQuickItem *reset = in(row, u"resetButton"_qs);
        QCOMPARE(reset->property("toolTip").toString(), u"Reset to default"_qs);
        QCOMPARE(reset->property("icon").toString(), u"arrow-counter-clockwise"_qs);
        click(reset);
        QCOMPARE(open ? m_store->openShortcut() : m_store->switchTabShortcut(),
                 open ? Shortcut::defaultOpen() : Shortcut::defaultSwitchTab());
        QCOMPARE(text(label), defaultLabel);
    }

    void switches_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<QByteArray>("property");
        QTest::newRow("carry over") << u"carryOverRow"_qs << QByteArray("carryOver");
        QTest::newRow("morning banner") << u"morningBannerRow"_qs << QByteArray("morningBanner");
        QTest::newRow("swipe") << u"swipeRow"_qs << QByteArray("swipeToSwitch");
    }
    void switches()
    {
        QFETCH(QString, row);
        QFETCH(QByteArray, property);
        start();
        QQuickItem *toggle = in(row, u"switch"_qs);
        QQuickItem *knob = findItem(toggle, u"knob"_qs);
        QVERIFY(toggle && knob);
        QCOMPARE(QSizeF(toggle->width(), toggle->height()), QSizeF(30, 18));
        QVERIFY(m_store->property(property).toBool());
        QVERIFY(toggle->property("checked").toBool());
        QTRY_COMPARE(knob->x() + knob->width(), toggle->width() - 2);
        QCOMPARE(toggle->childItems().value(0)->property("color").value<QColor>().rgba(),
                 PanelTheme::accent().rgba());

        // Anywhere on it, the near end included.
        QTest::mouseClick(m_view.get(), Qt::LeftButton, {},
                          toggle->mapToScene({3, toggle->height() / 2}).toPoint());
        QVERIFY(!m_store->property(property).toBool());
        QVERIFY(!toggle->property("checked").toBool());
        settle();
        QCOMPARE(knob->x(), 2.0);
        QCOMPARE(toggle->childItems().value(0)->property("color").value<QColor>().rgba(),
                 QColor::fromRgbF(1, 1, 1, 0.14f).rgba());
        click(toggle);
        QVERIFY(m_store->property(property).toBool());

        // Stored for the next launch.
        click(toggle);
        closeView();
        BoardStore again(&m_clock, &m_launcher);
        QVERIFY(!again.property(property).toBool());
    }

    // Tab reaches every control, scrolled into sight with a ring around it; Space and Return
    // work switches, choices, buttons and the shortcut capsules.
    void everyControlByKeyboard()
    {
        startLater();
        QQuickItem *flick = item(u"flick"_qs);
        QList<QQuickItem *> reached;
        for (int i = 0; i < 80; ++i) {
            key(Qt::Key_Tab);
            QQuickItem *focused = m_view->activeFocusItem();
            QVERIFY(focused);
            if (!reached.isEmpty() && focused == reached.first())
                break;
            reached.append(focused);
            // In sight, inside the tab.
            const QRectF box = focused->mapRectToItem(flick, focused->boundingRect());
            QVERIFY2(box.top() >= -1 && box.bottom() <= flick->height() + 1,
                     qPrintable(focused->objectName() + u" is out of sight at "_qs +
                                QString::number(box.top())));
            if (QQuickItem *ring = findItem(focused, u"focusRing"_qs))
                QVERIFY2(shown(ring), qPrintable(focused->objectName()));
        }
        const auto reaches = [&](QQuickItem *target) { return reached.contains(target); };
        for (const QString &row : {u"vaultRow"_qs, u"boardsRow"_qs, u"notesRow"_qs}) {
            QVERIFY2(reaches(in(row, u"changeButton"_qs)), qPrintable(row));
            QVERIFY2(reaches(in(row, u"revealButton"_qs)), qPrintable(row));
        }
        for (const QString &row :
             {u"carryOverRow"_qs, u"morningBannerRow"_qs, u"launchAtLoginRow"_qs, u"swipeRow"_qs})
            QVERIFY2(reaches(in(row, u"switch"_qs)), qPrintable(row));
        for (const QString &row : {u"openShortcutRow"_qs, u"switchTabShortcutRow"_qs}) {
            QVERIFY2(reaches(in(row, u"shortcutButton"_qs)), qPrintable(row));
            QVERIFY2(reaches(in(row, u"resetButton"_qs)), qPrintable(row));
        }
        for (const QString &choice : {u"choice0"_qs, u"choice1"_qs, u"choice2"_qs})
            QVERIFY(reaches(in(u"notchPositionRow"_qs, choice)));

        const auto focusOn = [&](QQuickItem *target) {
            for (int i = 0; i < 80 && m_view->activeFocusItem() != target; ++i)
                key(Qt::Key_Tab);
            return m_view->activeFocusItem() == target;
        };
        QVERIFY(focusOn(in(u"carryOverRow"_qs, u"switch"_qs)));
        key(Qt::Key_Space);
        QVERIFY(!m_store->carryOver());
        key(Qt::Key_Return);
        QVERIFY(m_store->carryOver());
        QVERIFY(focusOn(in(u"notchPositionRow"_qs, u"choice2"_qs)));
        key(Qt::Key_Space);
        QCOMPARE(m_store->notchPosition(), BoardStore::NotchPosition::Right);
        QVERIFY(focusOn(in(u"openShortcutRow"_qs, u"shortcutButton"_qs)));
        key(Qt::Key_Return);
        QCOMPARE(text(in(u"openShortcutRow"_qs, u"shortcutLabel"_qs)), u"Press keys…"_qs);
    }

    void launchAtLogin()
    {
        start();
        QQuickItem *toggle = in(u"launchAtLoginRow"_qs, u"switch"_qs);
        QVERIFY(!toggle->property("checked").toBool());
        click(toggle);
        QVERIFY(LaunchAtLogin::isEnabled());
        QVERIFY(toggle->property("checked").toBool());
        QVERIFY(!shown(item(u"message"_qs)));
        click(toggle);
        QVERIFY(!LaunchAtLogin::isEnabled());
        QVERIFY(!toggle->property("checked").toBool());
    }

    void launchAtLoginFailure()
    {
        // A file where the autostart folder should be: not writable, even for root.
        Scratch::write(m_scratch->path(u"config/autostart"_qs), "not a folder");
        const std::optional<QString> error = LaunchAtLogin::setEnabled(true, u"/bin/true"_qs);
        QVERIFY(error.has_value());
        start();
        QQuickItem *toggle = in(u"launchAtLoginRow"_qs, u"switch"_qs);
        click(toggle);
        QVERIFY(!toggle->property("checked").toBool());
        QQuickItem *message = item(u"message"_qs);
        QVERIFY(shown(message));
        QCOMPARE(text(message), u"Launch at login: "_qs + *error);
        QCOMPARE(message->property("color").value<QColor>().rgba(), PanelTheme::warning().rgba());
        // Under the cards, once laid out.
        QQuickItem *cards = item(u"behaviour"_qs);
        QTRY_VERIFY(message->mapToScene({0, 0}).y() >= cards->mapToScene({0, cards->height()}).y());
    }

    void choose_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("answer");
        QTest::addColumn<QString>("boards");
        QTest::addColumn<QString>("notes");
        QTest::addColumn<QString>("message");
        const QString boards = u"01 Journal/Boards"_qs;
        const QString notes = u"01 Journal/Quick Notes"_qs;
        QTest::newRow("boards inside")
            << u"boardsRow"_qs << u"Plans/Days"_qs << u"Plans/Days"_qs << notes << QString();
        QTest::newRow("boards outside") << u"boardsRow"_qs << u"outside"_qs << boards << notes
                                        << u"Boards folder must be inside the vault"_qs;
        QTest::newRow("boards the vault") << u"boardsRow"_qs << QString() << boards << notes
                                          << u"Boards folder must be inside the vault"_qs;
        QTest::newRow("notes inside")
            << u"notesRow"_qs << u"Jots"_qs << boards << u"Jots"_qs << QString();
        QTest::newRow("notes outside") << u"notesRow"_qs << u"outside"_qs << boards << notes
                                       << u"Quick notes folder must be inside the vault"_qs;
    }
    void choose()
    {
        QFETCH(QString, row);
        QFETCH(QString, answer);
        QFETCH(QString, boards);
        QFETCH(QString, notes);
        QFETCH(QString, message);
        start();
        m_desktop->answer = answer == u"outside" ? outside()
                            : answer.isEmpty()   ? m_scratch->vault()
                                                 : m_scratch->vault() + u'/' + answer;
        QDir().mkpath(*m_desktop->answer);
        QQuickItem *change = in(row, u"changeButton"_qs);
        QCOMPARE(change->property("title").toString(), u"Change\u2026"_qs);
        click(change);
        waitForChoice();
        QCOMPARE(m_panel, (QStringList{u"close"_qs, u"open pinned"_qs}));
        QCOMPARE(m_store->boardsFolder(), boards);
        QCOMPARE(m_store->notesFolder(), notes);
        QCOMPARE(text(in(u"boardsRow"_qs, u"pathInput"_qs)), boards);
        QCOMPARE(text(in(u"notesRow"_qs, u"pathInput"_qs)), notes);
        QQuickItem *line = item(u"message"_qs);
        QCOMPARE(shown(line), !message.isEmpty());
        QCOMPARE(text(line), message);
    }

    void cancel_data()
    {
        QTest::addColumn<QString>("row");
        QTest::newRow("vault") << u"vaultRow"_qs;
        QTest::newRow("boards") << u"boardsRow"_qs;
        QTest::newRow("notes") << u"notesRow"_qs;
    }
    void cancel()
    {
        QFETCH(QString, row);
        start();
        const QString vault = m_store->vaultPath();
        m_model->setTab(NotchModel::Tab::Board);
        // The view stays in this test while its tab is away.
        click(in(row, u"changeButton"_qs));
        waitForChoice();
        QCOMPARE(m_desktop->titles.size(), 1);
        QCOMPARE(m_panel, (QStringList{u"close"_qs, u"open pinned"_qs}));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Settings);
        QCOMPARE(m_store->vaultPath(), vault);
        QCOMPARE(m_store->boardsFolder(), u"01 Journal/Boards"_qs);
        QCOMPARE(m_store->notesFolder(), u"01 Journal/Quick Notes"_qs);
        QVERIFY(!shown(item(u"message"_qs)));
    }

    void reveal_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("folder");
        QTest::newRow("vault") << u"vaultRow"_qs << u"vault"_qs;
        QTest::newRow("boards") << u"boardsRow"_qs << u"vault/01 Journal/Boards"_qs;
        QTest::newRow("notes") << u"notesRow"_qs << u"vault/01 Journal/Quick Notes"_qs;
    }
    void reveal()
    {
        QFETCH(QString, row);
        QFETCH(QString, folder);
        start();
        QQuickItem *button = in(row, u"revealButton"_qs);
        QCOMPARE(button->property("icon").toString(), u"folder"_qs);
        QCOMPARE(button->property("toolTip").toString(), u"Show in file manager"_qs);
        click(button);
        QCOMPARE(m_desktop->revealed, QStringList{m_scratch->path(folder)});
        QVERIFY(m_panel.isEmpty());
    }

    void welcomeOnFirstRun()
    {
        start();
        QVERIFY(m_store->isFirstRun());
        QQuickItem *welcome = item(u"welcome"_qs);
        QVERIFY(shown(welcome));
        QCOMPARE(text(welcome), u"Welcome! Check the vault, then hover the notch any time."_qs);
        // Above the cards.
        QVERIFY(welcome->mapToScene({0, welcome->height()}).y() <=
                item(u"locations"_qs)->mapToScene({0, 0}).y());
    }

    void noWelcomeLater()
    {
        startLater();
        QVERIFY(!shown(item(u"welcome"_qs)));
    }

    // After a refused choice, the view shown when the panel opens again has the message and no
    // welcome.
    void welcomeHiddenAfterRefusal()
    {
        start();
        QVERIFY(shown(item(u"welcome"_qs)));
        m_desktop->answer = outside();
        QDir().mkpath(outside());
        click(in(u"boardsRow"_qs, u"changeButton"_qs));
        waitForChoice();
        QVERIFY(shown(item(u"message"_qs)));
        showAgain();
        QVERIFY(!shown(item(u"welcome"_qs)));
        QCOMPARE(text(item(u"message"_qs)), u"Boards folder must be inside the vault"_qs);
        // A choice that is taken clears the message.
        m_desktop->answer = m_scratch->vault() + u"/Days"_qs;
        QDir().mkpath(*m_desktop->answer);
        click(in(u"boardsRow"_qs, u"changeButton"_qs));
        QVERIFY(QTest::qWaitFor([this] { return m_store->boardsFolder() == u"Days"; }, 2000));
        QVERIFY(!shown(item(u"message"_qs)));
    }

    // A picture of the tab to look at, first run and with a refusal, when a folder is given.
    void picture()
    {
        start();
        SettingsState::of(m_store.get())->setMessage(u"Boards folder must be inside the vault"_qs);
        m_model->setRecording(NotchModel::ShortcutTarget::Open);
        settle();
        const QImage image = m_view->grabWindow();
        QCOMPARE(image.size(), tabArea);
        const QString folder = qEnvironmentVariable("TALLOWFERN_VIEW_SNAPSHOTS");
        if (!folder.isEmpty()) {
            QVERIFY(QDir().mkpath(folder));
            QVERIFY(image.save(folder + u"/settings.png"_qs));
        }
    }

    // Every control tells assistive technology what it is and what it is called.
    void accessibility_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("control");
        QTest::addColumn<int>("role");
        QTest::addColumn<QString>("name");
        const int button = QAccessible::Button;
        const int check = QAccessible::CheckBox;
        QTest::newRow("vault change")
            << u"vaultRow"_qs << u"changeButton"_qs << button << u"Change\u2026"_qs;
        QTest::newRow("vault reveal")
            << u"vaultRow"_qs << u"revealButton"_qs << button << u"Show in file manager"_qs;
        QTest::newRow("vault path")
            << u"vaultRow"_qs << u"pathText"_qs << int(QAccessible::StaticText) << QString();
        QTest::newRow("boards field")
            << u"boardsRow"_qs << u"pathInput"_qs << int(QAccessible::EditableText)
            << u"Kanban boards folder"_qs;
        QTest::newRow("boards change")
            << u"boardsRow"_qs << u"changeButton"_qs << button << u"Change\u2026"_qs;
        QTest::newRow("notes field") << u"notesRow"_qs << u"pathInput"_qs
                                     << int(QAccessible::EditableText) << u"Quick notes folder"_qs;
        QTest::newRow("notes reveal")
            << u"notesRow"_qs << u"revealButton"_qs << button << u"Show in file manager"_qs;
        QTest::newRow("open shortcut") << u"openShortcutRow"_qs << u"shortcutButton"_qs << button
                                       << u"Open Tallowfern: Alt+N"_qs;
        QTest::newRow("open reset") << u"openShortcutRow"_qs << u"resetButton"_qs << button
                                    << u"Reset to default (Open Tallowfern)"_qs;
        QTest::newRow("switch shortcut") << u"switchTabShortcutRow"_qs << u"shortcutButton"_qs
                                         << button << u"Switch Board \u2194 Notes: Ctrl+Tab"_qs;
        QTest::newRow("carry over")
            << u"carryOverRow"_qs << u"switch"_qs << check << u"Carry over unfinished tasks"_qs;
        QTest::newRow("morning banner")
            << u"morningBannerRow"_qs << u"switch"_qs << check << u"Morning banner"_qs;
        QTest::newRow("launch at login")
            << u"launchAtLoginRow"_qs << u"switch"_qs << check << u"Launch at login"_qs;
        QTest::newRow("swipe") << u"swipeRow"_qs << u"switch"_qs << check
                               << u"Two-finger swipe switches tabs"_qs;
    }
    void accessibility()
    {
        QFETCH(QString, row);
        QFETCH(QString, control);
        QFETCH(int, role);
        QFETCH(QString, name);
        start();
        QQuickItem *target = in(row, control);
        QVERIFY(target);
        QCOMPARE(attached(target, "Accessible.role").toInt(), role);
        const QString actual = attached(target, "Accessible.name").toString();
        if (name.isEmpty())
            QVERIFY(!actual.isEmpty());
        else
            QCOMPARE(actual, name);
    }
};

QTEST_MAIN(TestSettingsView)
#include "tst_settingsview.moc"
