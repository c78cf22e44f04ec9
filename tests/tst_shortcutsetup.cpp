#include "notch/ShortcutSetup.h"
#include "platform/GlobalShortcut.h"
#include "platform/GnomeKeybinding.h"
#include "store/BoardStore.h"
#include "support/StoreFixture.h"

#include <QSignalSpy>
#include <QStandardPaths>
#include <QTest>

namespace {

using Status = GlobalShortcutBackend::Status;
using Advice = ShortcutSetup::Advice;
using Session = ShortcutSetup::Session;
using Desktop = ShortcutSetup::Desktop;

class FakeBackend : public GlobalShortcutBackend {
public:
    FakeBackend(Status answer, QString message = {})
        : m_answer(answer), m_message(std::move(message))
    {}
    QString name() const override { return u"Fake keys"_qs; }
    void bind(const Shortcut &) override { setStatus(m_answer, m_message); }
    void unbind() override { setStatus(Status::Unbound); }

private:
    Status m_answer;
    QString m_message;
};

// A program that no search path finds, with a space that needs quoting.
const QString program = u"/opt/my apps/tallowfern"_qs;

} // namespace

Q_DECLARE_METATYPE(ShortcutSetup::Session)
Q_DECLARE_METATYPE(ShortcutSetup::Desktop)

// What Settings tells the user about the open shortcut on each kind of desktop.
class TestShortcutSetup : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;

private slots:
    void init()
    {
        m_scratch = std::make_unique<Scratch>();
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
    }
    void cleanup()
    {
        m_store.reset();
        m_scratch.reset();
    }

    void adviceForEachDesktop_data()
    {
        QTest::addColumn<Session>("session");
        QTest::addColumn<Desktop>("desktop");
        QTest::addColumn<int>("answer"); // the one mechanism's answer
        QTest::addColumn<bool>("partial");
        QTest::addColumn<Advice>("advice");
        QTest::addColumn<QString>("summary");
        QTest::addColumn<QString>("line");

        const QString everywhere = u"Works in every application (Fake keys)"_qs;
        QTest::newRow("X11, grabbed") << Session::X11 << Desktop::Other << int(Status::Bound)
                                      << false << Advice::None << everywhere << QString();
        QTest::newRow("Plasma on Wayland")
            << Session::Wayland << Desktop::Other << int(Status::Bound) << false << Advice::None
            << everywhere << QString();
        QTest::newRow("sway") << Session::Wayland << Desktop::Sway << int(Status::Unavailable)
                              << false << Advice::ConfigLine << QString()
                              << u"bindsym Mod1+n exec '/opt/my apps/tallowfern' --toggle"_qs;
        QTest::newRow("river") << Session::Wayland << Desktop::River << int(Status::Unavailable)
                               << false << Advice::ConfigLine << QString()
                               << u"riverctl map normal Mod1 n spawn "
                                  u"''\\''/opt/my apps/tallowfern'\\'' --toggle'"_qs;
        QTest::newRow("Hyprland without the portal")
            << Session::Wayland << Desktop::Hyprland << int(Status::Unavailable) << false
            << Advice::ConfigLine << QString()
            << u"bind = ALT, n, exec, '/opt/my apps/tallowfern' --toggle"_qs;
        QTest::newRow("another compositor")
            << Session::Wayland << Desktop::Other << int(Status::Unavailable) << false
            << Advice::ConfigLine << QString() << u"'/opt/my apps/tallowfern' --toggle"_qs;
        QTest::newRow("XWayland grab only") << Session::XWayland << Desktop::Other
                                            << int(Status::Bound) << true << Advice::ConfigLine
                                            << u"Only while one of the desktop's X11 windows "
                                               u"is active"_qs
                                            << u"'/opt/my apps/tallowfern' --toggle"_qs;
    }

    void adviceForEachDesktop()
    {
        QFETCH(Session, session);
        QFETCH(Desktop, desktop);
        QFETCH(int, answer);
        QFETCH(bool, partial);
        QFETCH(Advice, advice);
        QFETCH(QString, summary);
        QFETCH(QString, line);
        auto *backend = new FakeBackend(Status(answer));
        GlobalShortcut shortcut({backend}, partial ? backend : nullptr);
        ShortcutSetup setup(&shortcut, m_store.get(), session, desktop, nullptr, program);
        shortcut.bind(m_store->openShortcut());
        QCOMPARE(setup.advice(), advice);
        QCOMPARE(setup.summary(), summary);
        if (advice == Advice::ConfigLine) {
            QCOMPARE(setup.configLine(), line);
            QVERIFY(setup.configHint().contains(u"Alt+N"_qs));
        }
        // Nothing took the key: the row says so instead of staying silent.
        if (Status(answer) == Status::Unavailable)
            QVERIFY(!setup.problem().isEmpty());
        else
            QCOMPARE(setup.problem(), QString());
    }

    void refusalIsShown()
    {
        GlobalShortcut shortcut({new FakeBackend(Status::Refused, u"Alt+N is taken."_qs)});
        ShortcutSetup setup(&shortcut, m_store.get(), Session::X11, Desktop::Other, nullptr,
                            program);
        shortcut.bind(m_store->openShortcut());
        QCOMPARE(setup.problem(), u"Alt+N is taken."_qs);
        QCOMPARE(setup.summary(), QString());
    }

    void lineFollowsTheRecordedKey()
    {
        GlobalShortcut shortcut({new FakeBackend(Status::Unavailable)});
        ShortcutSetup setup(&shortcut, m_store.get(), Session::Wayland, Desktop::Sway, nullptr,
                            program);
        QSignalSpy changed(&setup, &ShortcutSetup::changed);
        m_store->setOpenShortcut(Shortcut(40, Shortcut::Control | Shortcut::Option));
        QVERIFY(changed.count() >= 1);
        QVERIFY(setup.configLine().startsWith(u"bindsym Ctrl+Mod1+k exec "_qs));
    }

    void gnomeShortcutOnlyOnRequest()
    {
        QVERIFY2(GnomeKeybinding::isAvailable(),
                 "GNOME's keybinding schemas are needed (gnome-settings-daemon-common)");
        auto *backend = new FakeBackend(Status::Bound);
        GlobalShortcut shortcut({backend}, backend);
        auto *gnome = new GnomeKeybinding;
        GnomeKeybinding reader;
        ShortcutSetup setup(&shortcut, m_store.get(), Session::XWayland, Desktop::Gnome, gnome,
                            program);
        shortcut.bind(m_store->openShortcut());
        QCOMPARE(setup.advice(), Advice::Gnome);
        // Nothing is written until the user asks.
        QVERIFY(!reader.isInstalled());
        QVERIFY(!setup.gnomeShortcutAdded());

        QCOMPARE(setup.gnomeAction(), u"Add to GNOME"_qs);
        QCOMPARE(setup.gnomeNote(),
                 u"GNOME can run Tallowfern on this key from any application."_qs);
        setup.toggleGnomeShortcut();
        QVERIFY(setup.gnomeShortcutAdded());
        QCOMPARE(setup.gnomeAction(), u"Remove"_qs);
        QCOMPARE(setup.gnomeNote(), u"Added to GNOME's keyboard shortcuts."_qs);
        QCOMPARE(reader.binding(), u"<Alt>n"_qs);
        QCOMPARE(reader.command(), u"'/opt/my apps/tallowfern' --toggle"_qs);
        QCOMPARE(setup.summary(), u"Through GNOME's keyboard shortcuts"_qs);
        QCOMPARE(setup.advice(), Advice::Gnome); // where it is removed again

        // Recorded anew: GNOME's entry follows.
        m_store->setOpenShortcut(Shortcut(40, Shortcut::Control | Shortcut::Option));
        QCOMPARE(reader.binding(), u"<Control><Alt>k"_qs);

        setup.toggleGnomeShortcut();
        QVERIFY(!reader.isInstalled());
        QVERIFY(!setup.gnomeShortcutAdded());
        // Not added again by a later recording.
        m_store->setOpenShortcut(Shortcut::defaultOpen());
        QVERIFY(!reader.isInstalled());
    }

    void commandByNameWhenOnThePath()
    {
        // Not on the search path here: the full path, quoted.
        QCOMPARE(ShortcutSetup::toggleCommand(program), u"'/opt/my apps/tallowfern' --toggle"_qs);
        // A program that the search path does find goes by its name.
        QTemporaryDir bin;
        const QString installed = bin.filePath(u"tallowfern"_qs);
        Scratch::write(installed, "#!/bin/sh\n");
        QFile::setPermissions(installed, QFile::ReadOwner | QFile::ExeOwner);
        const QByteArray path = qgetenv("PATH");
        qputenv("PATH", QFile::encodeName(bin.path()) + ':' + path);
        const QString byName = ShortcutSetup::toggleCommand(installed);
        // Another tallowfern first on the path is not this one: the full path again.
        const QString notThisOne = ShortcutSetup::toggleCommand(program);
        qputenv("PATH", path);
        QCOMPARE(byName, u"tallowfern --toggle"_qs);
        QCOMPARE(notThisOne, u"'/opt/my apps/tallowfern' --toggle"_qs);
    }
};

QTEST_GUILESS_MAIN(TestShortcutSetup)
#include "tst_shortcutsetup.moc"
