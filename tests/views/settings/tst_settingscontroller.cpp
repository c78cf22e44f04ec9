#include "FakeDesktopServices.h"
#include "FolderField.h"
#include "SettingsController.h"
#include "SettingsState.h"
#include "model/Shortcut.h"
#include "notch/NotchModel.h"
#include "platform/LaunchAtLogin.h"
#include "store/BoardStore.h"
#include "support/StoreFixture.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTest>

#include <memory>

Q_DECLARE_METATYPE(SettingsState::Location)
Q_DECLARE_METATYPE(NotchModel::ShortcutTarget)
Q_DECLARE_METATYPE(std::optional<NotchModel::ShortcutTarget>)

using Location = SettingsState::Location;
using Target = NotchModel::ShortcutTarget;

// The Settings tab's logic without its view: folders chosen, refused and cancelled, the welcome
// and message lines, launch at login, and the shortcut buttons.
class TestSettingsController : public QObject {
    Q_OBJECT

    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;
    std::unique_ptr<NotchModel> m_model;
    std::unique_ptr<FakeDesktopServices> m_desktop;
    std::unique_ptr<SettingsController> m_settings;
    // What the model asked the panel to do, in order: "close", "open pinned", "open".
    QStringList m_panel;

    std::unique_ptr<SettingsController> makeController()
    {
        auto settings = std::make_unique<SettingsController>();
        settings->setStore(m_store.get());
        settings->setModel(m_model.get());
        return settings;
    }
    void start()
    {
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        m_model = std::make_unique<NotchModel>();
        m_model->setCloseRequested([this] { m_panel.append(u"close"_qs); });
        m_model->setOpenRequested(
            [this](bool pin) { m_panel.append(pin ? u"open pinned"_qs : u"open"_qs); });
        m_settings = makeController();
    }
    // A store over settings that a launch before this one left behind.
    void startAgain()
    {
        m_settings.reset();
        m_store.reset();
        start();
        QVERIFY(!m_store->isFirstRun());
    }

    // Runs one choice through the fake dialog and waits until it is over.
    void runChoice(Location location, SettingsController &settings)
    {
        QSignalSpy over(SettingsState::of(m_store.get()), &SettingsState::chosen);
        switch (location) {
        case Location::Vault:
            settings.chooseVault();
            break;
        case Location::Boards:
            settings.chooseBoardsFolder();
            break;
        case Location::Notes:
            settings.chooseNotesFolder();
            break;
        }
        QVERIFY(over.wait(2000));
        QCOMPARE(over.count(), 1);
    }
    void runChoice(Location location) { runChoice(location, *m_settings); }

    [[nodiscard]] QString outside() const { return m_scratch->path(u"elsewhere/Boards"_qs); }

private slots:
    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
        m_desktop = std::make_unique<FakeDesktopServices>();
        m_panel.clear();
        start();
    }
    void cleanup()
    {
        m_settings.reset();
        m_model.reset();
        m_store.reset();
        m_desktop.reset();
    }

    void abbreviatedPath_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("home");
        QTest::addColumn<QString>("shown");
        QTest::newRow("home itself") << u"/home/ann"_qs << u"/home/ann"_qs << u"~"_qs;
        QTest::newRow("inside") << u"/home/ann/Notes/Vault"_qs << u"/home/ann"_qs
                                << u"~/Notes/Vault"_qs;
        QTest::newRow("home given with a slash")
            << u"/home/ann/Vault"_qs << u"/home/ann/"_qs << u"~/Vault"_qs;
        QTest::newRow("a longer name")
            << u"/home/anna/Vault"_qs << u"/home/ann"_qs << u"/home/anna/Vault"_qs;
        QTest::newRow("outside") << u"/srv/Vault"_qs << u"/home/ann"_qs << u"/srv/Vault"_qs;
        QTest::newRow("home at the root") << u"/Vault"_qs << u"/"_qs << u"/Vault"_qs;
        QTest::newRow("no home") << u"/Vault"_qs << QString() << u"/Vault"_qs;
        QTest::newRow("empty") << QString() << u"/home/ann"_qs << QString();
    }
    void abbreviatedPath()
    {
        QFETCH(QString, path);
        QFETCH(QString, home);
        QFETCH(QString, shown);
        QCOMPARE(SettingsController::abbreviatedPath(path, home), shown);
    }

    void vaultTextFollowsTheStore()
    {
        QSignalSpy changed(m_settings.get(), &SettingsController::vaultTextChanged);
        m_store->setVault(m_scratch->home() + u"/Documents/Vault"_qs);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(m_settings->vaultText(), u"~/Documents/Vault"_qs);
        m_store->setVault(m_scratch->vault());
        QCOMPARE(m_settings->vaultText(), m_scratch->vault());
    }

    void foldersFollowTheStore()
    {
        QCOMPARE(m_settings->boardsField()->value(), u"01 Journal/Boards"_qs);
        QCOMPARE(m_settings->notesField()->draft(), u"01 Journal/Quick Notes"_qs);
        m_store->setBoardsFolder(u"Days"_qs);
        m_store->setNotesFolder(u"Jots"_qs);
        QCOMPARE(m_settings->boardsField()->draft(), u"Days"_qs);
        QCOMPARE(m_settings->notesField()->value(), u"Jots"_qs);
        // And typed ones reach the store.
        m_settings->boardsField()->setDraft(u" /Plans/Days/ "_qs);
        m_settings->boardsField()->apply();
        QCOMPARE(m_store->boardsFolder(), u"Plans/Days"_qs);
        QVERIFY(QFileInfo::exists(m_scratch->vault() + u"/Plans/Days/2025-03-07.md"_qs));
        m_settings->notesField()->setDraft(u"Quick/"_qs);
        m_settings->notesField()->apply();
        QCOMPARE(m_store->notesFolder(), u"Quick"_qs);
    }

    void choose_data()
    {
        QTest::addColumn<Location>("location");
        QTest::addColumn<QString>("answer"); // relative to the vault unless absolute
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("vault");
        QTest::addColumn<QString>("boards");
        QTest::addColumn<QString>("notes");
        QTest::addColumn<QString>("message");

        const QString boards = u"01 Journal/Boards"_qs;
        const QString notes = u"01 Journal/Quick Notes"_qs;
        const QString boardsTitle =
            u"Choose the folder for daily Kanban boards (inside your vault)"_qs;
        const QString notesTitle =
            u"Choose the folder for daily quick notes (inside your vault)"_qs;
        const QString boardsRefused = u"Boards folder must be inside the vault"_qs;
        const QString notesRefused = u"Quick notes folder must be inside the vault"_qs;

        QTest::newRow("vault") << Location::Vault << u"/srv/Other Vault"_qs
                               << u"Choose your Obsidian vault folder"_qs << u"/srv/Other Vault"_qs
                               << boards << notes << QString();
        QTest::newRow("boards inside the vault")
            << Location::Boards << u"Plans/Days"_qs << boardsTitle << QString() << u"Plans/Days"_qs
            << notes << QString();
        QTest::newRow("boards outside the vault")
            << Location::Boards << u"outside"_qs << boardsTitle << QString() << boards << notes
            << boardsRefused;
        QTest::newRow("boards the vault itself") << Location::Boards << QString() << boardsTitle
                                                 << QString() << boards << notes << boardsRefused;
        QTest::newRow("notes inside the vault") << Location::Notes << u"Jots"_qs << notesTitle
                                                << QString() << boards << u"Jots"_qs << QString();
        QTest::newRow("notes outside the vault") << Location::Notes << u"outside"_qs << notesTitle
                                                 << QString() << boards << notes << notesRefused;
        QTest::newRow("notes the vault itself") << Location::Notes << QString() << notesTitle
                                                << QString() << boards << notes << notesRefused;
    }
    void choose()
    {
        QFETCH(Location, location);
        QFETCH(QString, answer);
        QFETCH(QString, title);
        QFETCH(QString, vault);
        QFETCH(QString, boards);
        QFETCH(QString, notes);
        QFETCH(QString, message);

        const QString vaultBefore = m_store->vaultPath();
        const QString chosen = answer == u"outside"      ? outside()
                               : answer.startsWith(u'/') ? answer
                               : answer.isEmpty()        ? m_scratch->vault()
                                                         : m_scratch->vault() + u'/' + answer;
        QDir().mkpath(chosen);
        m_desktop->answer = chosen;
        // A message from before: a choice taken clears it, a refusal replaces it.
        SettingsState::of(m_store.get())->setMessage(u"Launch at login: earlier"_qs);
        QSignalSpy messages(m_settings.get(), &SettingsController::messageChanged);
        // The panel is closed before the dialog shows, and opened only after it.
        QStringList panelDuringDialog;
        m_desktop->whileOpen = [&] { panelDuringDialog = m_panel; };

        const QString start = location == Location::Vault    ? m_scratch->vault()
                              : location == Location::Boards ? m_scratch->boards()
                                                             : m_scratch->notes();
        QCOMPARE(SettingsState::of(m_store.get())->startFolder(location), start);

        runChoice(location);
        if (QTest::currentTestFailed())
            return;

        QCOMPARE(m_desktop->titles, QStringList{title});
        QCOMPARE(m_desktop->starts, QStringList{start});
        QCOMPARE(panelDuringDialog, QStringList{u"close"_qs});
        QCOMPARE(m_panel, (QStringList{u"close"_qs, u"open pinned"_qs}));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Settings);

        QCOMPARE(m_store->vaultPath(), vault.isEmpty() ? vaultBefore : vault);
        QCOMPARE(m_store->boardsFolder(), boards);
        QCOMPARE(m_store->notesFolder(), notes);
        QCOMPARE(m_settings->message(), message);
        QCOMPARE(messages.count(), 1);
    }

    // A refused folder leaves the stored one as it was, also in the settings file.
    void refusedBoardsFolderIsNotStored()
    {
        m_desktop->answer = outside();
        runChoice(Location::Boards);
        QCOMPARE(m_settings->message(), u"Boards folder must be inside the vault"_qs);
        startAgain();
        QCOMPARE(m_store->boardsFolder(), u"01 Journal/Boards"_qs);
    }

    void cancel_data()
    {
        QTest::addColumn<Location>("location");
        QTest::newRow("vault") << Location::Vault;
        QTest::newRow("boards") << Location::Boards;
        QTest::newRow("notes") << Location::Notes;
    }
    void cancel()
    {
        QFETCH(Location, location);
        m_desktop->answer = std::nullopt;
        SettingsState::of(m_store.get())->setMessage(u"Boards folder must be inside the vault"_qs);
        const QString vault = m_store->vaultPath();
        m_model->setTab(NotchModel::Tab::Board);
        runChoice(location);
        QCOMPARE(m_desktop->titles.size(), 1);
        QCOMPARE(m_panel, (QStringList{u"close"_qs, u"open pinned"_qs}));
        QCOMPARE(m_model->tab(), NotchModel::Tab::Settings);
        QCOMPARE(m_store->vaultPath(), vault);
        QCOMPARE(m_store->boardsFolder(), u"01 Journal/Boards"_qs);
        QCOMPARE(m_store->notesFolder(), u"01 Journal/Quick Notes"_qs);
        QCOMPARE(m_settings->message(), u"Boards folder must be inside the vault"_qs);
    }

    // With no desktop to ask, a choice is a cancel.
    void withoutDesktopNothingIsChosen()
    {
        m_desktop.reset();
        QCOMPARE(DesktopServices::current(), nullptr);
        runChoice(Location::Boards);
        QCOMPARE(m_panel, (QStringList{u"close"_qs, u"open pinned"_qs}));
        QCOMPARE(m_store->boardsFolder(), u"01 Journal/Boards"_qs);
        QVERIFY(m_settings->message().isEmpty());
    }

    // The view that asked may be gone when the answer comes: the choice still lands.
    void choiceOutlivesItsView()
    {
        QDir().mkpath(m_scratch->vault() + u"/Days"_qs);
        m_desktop->answer = m_scratch->vault() + u"/Days"_qs;
        QSignalSpy over(SettingsState::of(m_store.get()), &SettingsState::chosen);
        m_settings->chooseBoardsFolder();
        m_settings.reset();
        QVERIFY(over.wait(2000));
        QCOMPARE(m_store->boardsFolder(), u"Days"_qs);
        QCOMPARE(m_model->tab(), NotchModel::Tab::Settings);
    }

    void oneDialogAtATime()
    {
        m_desktop->answer = std::nullopt;
        QSignalSpy over(SettingsState::of(m_store.get()), &SettingsState::chosen);
        m_settings->chooseBoardsFolder();
        m_settings->chooseNotesFolder();
        QVERIFY(over.wait(2000));
        QTest::qWait(50);
        QCOMPARE(over.count(), 1);
        QCOMPARE(m_desktop->titles.size(), 1);
    }

    void reveal()
    {
        m_settings->revealVault();
        m_settings->revealBoardsFolder();
        m_settings->revealNotesFolder();
        QCOMPARE(m_desktop->revealed,
                 (QStringList{m_scratch->vault(), m_scratch->boards(), m_scratch->notes()}));
        QVERIFY(m_desktop->titles.isEmpty());
        QVERIFY(m_panel.isEmpty());
    }

    void welcome_data()
    {
        QTest::addColumn<bool>("firstRun");
        QTest::addColumn<QString>("message");
        QTest::addColumn<bool>("welcome");
        QTest::newRow("first run") << true << QString() << true;
        QTest::newRow("first run with a message")
            << true << u"Boards folder must be inside the vault"_qs << false;
        QTest::newRow("later run") << false << QString() << false;
        QTest::newRow("later run with a message")
            << false << u"Quick notes folder must be inside the vault"_qs << false;
    }
    void welcome()
    {
        QFETCH(bool, firstRun);
        QFETCH(QString, message);
        QFETCH(bool, welcome);
        if (!firstRun) {
            startAgain();
            if (QTest::currentTestFailed())
                return;
        }
        QCOMPARE(m_store->isFirstRun(), firstRun);
        QVERIFY(!m_settings->welcome());
        SettingsState::of(m_store.get())->setMessage(message);
        QSignalSpy changed(m_settings.get(), &SettingsController::welcomeChanged);
        m_settings->appeared();
        QCOMPARE(m_settings->welcome(), welcome);
        QCOMPARE(changed.count(), welcome ? 1 : 0);
    }

    // A refusal does not take the welcome line away at once, but the next time the view shows,
    // which is when the panel opens again after the dialog.
    void welcomeHiddenAfterRefusal()
    {
        QVERIFY(m_store->isFirstRun());
        m_settings->appeared();
        QVERIFY(m_settings->welcome());
        m_desktop->answer = outside();
        runChoice(Location::Boards);
        QCOMPARE(m_settings->message(), u"Boards folder must be inside the vault"_qs);
        QVERIFY(m_settings->welcome());
        // The view built when the panel opens again, and this one shown again.
        auto next = makeController();
        QCOMPARE(next->message(), u"Boards folder must be inside the vault"_qs);
        next->appeared();
        QVERIFY(!next->welcome());
        m_settings->appeared();
        QVERIFY(!m_settings->welcome());
    }

    void messageIsSharedByTheViewsOfOneStore()
    {
        auto other = makeController();
        QSignalSpy changed(other.get(), &SettingsController::messageChanged);
        SettingsState::of(m_store.get())->setMessage(u"Launch at login: no"_qs);
        QCOMPARE(other->message(), u"Launch at login: no"_qs);
        QCOMPARE(changed.count(), 1);
        // A view without a store has none.
        SettingsController bare;
        QVERIFY(bare.message().isEmpty());
        bare.appeared();
        QVERIFY(!bare.welcome());
    }

    void launchAtLogin_data()
    {
        QTest::addColumn<bool>("autostartIsAFile");
        QTest::addColumn<bool>("on");
        QTest::newRow("on") << false << true;
        QTest::newRow("off") << false << false;
        QTest::newRow("on, folder cannot be made") << true << true;
        QTest::newRow("off, entry cannot be removed") << true << false;
    }
    void launchAtLogin()
    {
        QFETCH(bool, autostartIsAFile);
        QFETCH(bool, on);
        const QString autostart = m_scratch->path(u"config/autostart"_qs);
        QCOMPARE(QFileInfo(LaunchAtLogin::entryPath()).path(), autostart);
        if (autostartIsAFile) {
            // Unwritable even for root: a file where the folder should be.
            Scratch::write(autostart, "not a folder");
        } else if (!on) {
            QCOMPARE(LaunchAtLogin::setEnabled(true, u"/usr/bin/tallowfern"_qs), std::nullopt);
        }
        auto settings = makeController();
        QCOMPARE(settings->launchAtLogin(), !autostartIsAFile && !on);

        std::optional<QString> error;
        if (autostartIsAFile) {
            error = LaunchAtLogin::setEnabled(on, u"/usr/bin/tallowfern"_qs);
            QVERIFY(error.has_value());
        }
        settings->setLaunchAtLogin(on);
        QCOMPARE(settings->launchAtLogin(), LaunchAtLogin::isEnabled());
        if (autostartIsAFile) {
            QCOMPARE(settings->message(), u"Launch at login: "_qs + *error);
            QVERIFY(!settings->launchAtLogin());
        } else {
            QVERIFY(settings->message().isEmpty());
            QCOMPARE(settings->launchAtLogin(), on);
            if (on) {
                QVERIFY(Scratch::read(LaunchAtLogin::entryPath())
                            .contains("Exec=" + LaunchAtLogin::quotedExec(
                                                    QCoreApplication::applicationFilePath())
                                                    .toUtf8()));
            }
        }
    }

    // The switch shows what is in force, also after a change made elsewhere (the tray).
    void launchAtLoginReadAgainWhenShown()
    {
        QVERIFY(!m_settings->launchAtLogin());
        QCOMPARE(LaunchAtLogin::setEnabled(true, u"/usr/bin/tallowfern"_qs), std::nullopt);
        QSignalSpy changed(m_settings.get(), &SettingsController::launchAtLoginChanged);
        m_settings->appeared();
        QVERIFY(m_settings->launchAtLogin());
        QCOMPARE(changed.count(), 1);
    }

    void toggleRecording_data()
    {
        QTest::addColumn<std::optional<Target>>("before");
        QTest::addColumn<Target>("clicked");
        QTest::addColumn<std::optional<Target>>("after");
        QTest::newRow("start open")
            << std::optional<Target>() << Target::Open << std::optional(Target::Open);
        QTest::newRow("start switch")
            << std::optional<Target>() << Target::SwitchTab << std::optional(Target::SwitchTab);
        QTest::newRow("stop open")
            << std::optional(Target::Open) << Target::Open << std::optional<Target>();
        QTest::newRow("stop switch")
            << std::optional(Target::SwitchTab) << Target::SwitchTab << std::optional<Target>();
        QTest::newRow("open over switch")
            << std::optional(Target::SwitchTab) << Target::Open << std::optional(Target::Open);
        QTest::newRow("switch over open")
            << std::optional(Target::Open) << Target::SwitchTab << std::optional(Target::SwitchTab);
    }
    void toggleRecording()
    {
        QFETCH(std::optional<Target>, before);
        QFETCH(Target, clicked);
        QFETCH(std::optional<Target>, after);
        m_model->setRecording(before);
        QCOMPARE(m_settings->recordingOpen(), before == Target::Open);
        QCOMPARE(m_settings->recordingSwitchTab(), before == Target::SwitchTab);
        QSignalSpy changed(m_settings.get(), &SettingsController::recordingChanged);
        m_settings->toggleRecording(clicked);
        QCOMPARE(m_model->recording(), after);
        QCOMPARE(m_settings->recordingOpen(), after == Target::Open);
        QCOMPARE(m_settings->recordingSwitchTab(), after == Target::SwitchTab);
        QCOMPARE(changed.count(), 1);
    }

    void shortcutLabelsAndReset()
    {
        QCOMPARE(m_settings->openShortcutLabel(), u"Alt+N"_qs);
        QCOMPARE(m_settings->switchTabShortcutLabel(), u"Ctrl+Tab"_qs);
        QSignalSpy changed(m_settings.get(), &SettingsController::shortcutsChanged);
        const Shortcut controlOptionK(40, Shortcut::Control | Shortcut::Option);
        const Shortcut commandSpace(Shortcut::keySpace, Shortcut::Command);
        m_store->setOpenShortcut(controlOptionK);
        m_store->setSwitchTabShortcut(commandSpace);
        QCOMPARE(changed.count(), 2);
        // Written the way the desktop writes shortcuts, not with the stored glyphs.
        QVERIFY(m_settings->openShortcutLabel().startsWith(u"Ctrl+Alt+"_qs));
        QCOMPARE(m_settings->switchTabShortcutLabel(), u"Super+Space"_qs);

        m_settings->resetShortcut(Target::Open);
        QCOMPARE(m_store->openShortcut(), Shortcut::defaultOpen());
        QCOMPARE(m_store->switchTabShortcut(), commandSpace);
        m_settings->resetShortcut(Target::SwitchTab);
        QCOMPARE(m_store->switchTabShortcut(), Shortcut::defaultSwitchTab());
        QCOMPARE(m_settings->switchTabShortcutLabel(), u"Ctrl+Tab"_qs);
        // The defaults are what the next launch reads too.
        startAgain();
        QCOMPARE(m_store->openShortcut(), Shortcut::defaultOpen());
        QCOMPARE(m_store->switchTabShortcut(), Shortcut::defaultSwitchTab());
    }

    void withoutStoreOrModelNothingHappens()
    {
        SettingsController bare;
        bare.chooseBoardsFolder();
        bare.revealVault();
        bare.toggleRecording(Target::Open);
        bare.resetShortcut(Target::Open);
        QTest::qWait(20);
        QVERIFY(m_desktop->titles.isEmpty());
        QVERIFY(m_desktop->revealed.isEmpty());
        QVERIFY(bare.vaultText().isEmpty());
        QVERIFY(bare.openShortcutLabel().isEmpty());
        QVERIFY(!bare.recordingOpen());
    }
};

QTEST_MAIN(TestSettingsController)
#include "tst_settingscontroller.moc"
