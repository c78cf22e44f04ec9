#include "platform/GnomeKeybinding.h"

#include <QSignalSpy>
#include <QTest>

#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

#include <memory>

// GNOME's custom shortcut list as gnome-settings-daemon reads it, in GSettings' memory backend:
// nothing of the user's real settings is read or written.
namespace {

const QString customDir = u"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/"_qs;
const QString userEntry = customDir + u"custom0/"_qs;

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using Settings = std::unique_ptr<GSettings, Unref>;

Settings listSettings()
{
    return Settings(g_settings_new("org.gnome.settings-daemon.plugins.media-keys"));
}

Settings entrySettings(const QString &path)
{
    return Settings(
        g_settings_new_with_path("org.gnome.settings-daemon.plugins.media-keys.custom-keybinding",
                                 path.toUtf8().constData()));
}

QStringList paths()
{
    gchar **values = g_settings_get_strv(listSettings().get(), "custom-keybindings");
    QStringList list;
    for (gchar **value = values; value && *value; ++value)
        list.append(QString::fromUtf8(*value));
    g_strfreev(values);
    return list;
}

void setPaths(const QStringList &list)
{
    QList<QByteArray> bytes;
    for (const QString &path : list)
        bytes.append(path.toUtf8());
    std::vector<const gchar *> values;
    for (const QByteArray &path : bytes)
        values.push_back(path.constData());
    values.push_back(nullptr);
    g_settings_set_strv(listSettings().get(), "custom-keybindings", values.data());
}

QString value(const QString &path, const char *key)
{
    gchar *text = g_settings_get_string(entrySettings(path).get(), key);
    const QString result = QString::fromUtf8(text);
    g_free(text);
    return result;
}

void setValue(const QString &path, const char *key, const QString &text)
{
    g_settings_set_string(entrySettings(path).get(), key, text.toUtf8().constData());
}

// A shortcut the user made in GNOME Settings before Tallowfern came along.
void writeUsersOwnEntry()
{
    setValue(userEntry, "name", u"Terminal"_qs);
    setValue(userEntry, "command", u"gnome-terminal"_qs);
    setValue(userEntry, "binding", u"<Super>t"_qs);
    setPaths({userEntry});
}

QStringList userEntryValues()
{
    return {value(userEntry, "name"), value(userEntry, "command"), value(userEntry, "binding")};
}

QStringList parsed(const QString &command)
{
    int argc = 0;
    gchar **argv = nullptr;
    QStringList arguments;
    if (!g_shell_parse_argv(command.toUtf8().constData(), &argc, &argv, nullptr))
        return {u"<unparsable>"_qs};
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromUtf8(argv[i]));
    g_strfreev(argv);
    return arguments;
}

} // namespace

class TestGnomeKeybinding : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        // Before GLib picks a backend: whatever the environment says, the user's dconf database
        // stays out of this.
        qputenv("GSETTINGS_BACKEND", "memory");
        QVERIFY2(GnomeKeybinding::isAvailable(),
                 "GNOME's media-keys schemas are not installed: tools/dev installs "
                 "gnome-settings-daemon-common");
    }

    void init()
    {
        g_settings_reset(listSettings().get(), "custom-keybindings");
        for (const QString &path : {userEntry, GnomeKeybinding::entryPath.toString()}) {
            for (const char *key : {"name", "command", "binding"})
                g_settings_reset(entrySettings(path).get(), key);
        }
    }

    void nothingInstalledAtFirst()
    {
        writeUsersOwnEntry();
        const GnomeKeybinding keybinding;
        QVERIFY(!keybinding.isInstalled());
        QCOMPARE(keybinding.binding(), QString());
        QCOMPARE(keybinding.command(), QString());
    }

    void installAddsOurEntryAfterTheUsersOwn()
    {
        writeUsersOwnEntry();
        GnomeKeybinding keybinding;
        QCOMPARE(keybinding.install(u"<Alt>n"_qs, u"/usr/bin/tallowfern --toggle"_qs),
                 std::nullopt);
        QCOMPARE(paths(), QStringList({userEntry, GnomeKeybinding::entryPath.toString()}));
        const QString ours = GnomeKeybinding::entryPath.toString();
        QCOMPARE(value(ours, "name"), GnomeKeybinding::entryName.toString());
        QCOMPARE(value(ours, "command"), u"/usr/bin/tallowfern --toggle"_qs);
        QCOMPARE(value(ours, "binding"), u"<Alt>n"_qs);
        QVERIFY(keybinding.isInstalled());
        QCOMPARE(keybinding.binding(), u"<Alt>n"_qs);
        QCOMPARE(keybinding.command(), u"/usr/bin/tallowfern --toggle"_qs);
        QCOMPARE(userEntryValues(),
                 QStringList({u"Terminal"_qs, u"gnome-terminal"_qs, u"<Super>t"_qs}));
    }

    void installIntoAnEmptyList()
    {
        GnomeKeybinding keybinding;
        QCOMPARE(keybinding.install(u"<Control><Alt>space"_qs, u"tallowfern --toggle"_qs),
                 std::nullopt);
        QCOMPARE(paths(), QStringList{GnomeKeybinding::entryPath.toString()});
    }

    void reinstallUpdatesInPlace()
    {
        writeUsersOwnEntry();
        GnomeKeybinding keybinding;
        QCOMPARE(keybinding.install(u"<Alt>n"_qs, u"tallowfern --toggle"_qs), std::nullopt);
        // The user added another one after ours meanwhile.
        const QString later = customDir + u"custom1/"_qs;
        setPaths(paths() << later);

        QCOMPARE(keybinding.install(u"<Super>space"_qs, u"'/opt/my apps/tallowfern' --toggle"_qs),
                 std::nullopt);
        QCOMPARE(paths(), QStringList({userEntry, GnomeKeybinding::entryPath.toString(), later}));
        QCOMPARE(keybinding.binding(), u"<Super>space"_qs);
        QCOMPARE(keybinding.command(), u"'/opt/my apps/tallowfern' --toggle"_qs);
        // Another object, as after a restart, reads the same.
        const GnomeKeybinding again;
        QCOMPARE(again.binding(), u"<Super>space"_qs);
    }

    void removeLeavesTheOthers()
    {
        writeUsersOwnEntry();
        const QString later = customDir + u"custom1/"_qs;
        GnomeKeybinding keybinding;
        QCOMPARE(keybinding.install(u"<Alt>n"_qs, u"tallowfern --toggle"_qs), std::nullopt);
        setPaths(paths() << later);

        QCOMPARE(keybinding.remove(), std::nullopt);
        QCOMPARE(paths(), QStringList({userEntry, later}));
        QVERIFY(!keybinding.isInstalled());
        QCOMPARE(keybinding.binding(), QString());
        const QString ours = GnomeKeybinding::entryPath.toString();
        QCOMPARE(value(ours, "binding"), QString());
        QCOMPARE(value(ours, "command"), QString());
        QCOMPARE(userEntryValues(),
                 QStringList({u"Terminal"_qs, u"gnome-terminal"_qs, u"<Super>t"_qs}));
        // Nothing left to remove is no failure.
        QCOMPARE(keybinding.remove(), std::nullopt);
        QCOMPARE(paths(), QStringList({userEntry, later}));
    }

    void blankKeyOrCommandIsRefused()
    {
        writeUsersOwnEntry();
        GnomeKeybinding keybinding;
        QVERIFY(keybinding.install(QString(), u"tallowfern --toggle"_qs).has_value());
        QVERIFY(keybinding.install(u"<Alt>n"_qs, u"  "_qs).has_value());
        QCOMPARE(paths(), QStringList{userEntry});
    }

    void changesMadeElsewhereAreNoticed()
    {
        const QString ours = GnomeKeybinding::entryPath.toString();
        setValue(ours, "binding", u"<Alt>n"_qs);
        setValue(ours, "command", u"tallowfern --toggle"_qs);
        setPaths({ours});
        GnomeKeybinding keybinding;
        QSignalSpy changed(&keybinding, &GnomeKeybinding::changed);

        // GNOME Settings gives it another key...
        setValue(ours, "binding", u"<Super>n"_qs);
        QTRY_VERIFY_WITH_TIMEOUT(!changed.isEmpty(), 10000);
        QCOMPARE(keybinding.binding(), u"<Super>n"_qs);

        // ...and then the user removes it there.
        changed.clear();
        setPaths({});
        QTRY_VERIFY_WITH_TIMEOUT(!changed.isEmpty(), 10000);
        QVERIFY(!keybinding.isInstalled());
    }

    void toggleCommand_data()
    {
        QTest::addColumn<QString>("program");
        QTest::addColumn<QString>("command");
        QTest::newRow("plain path")
            << u"/usr/bin/tallowfern"_qs << u"/usr/bin/tallowfern --toggle"_qs;
        QTest::newRow("name on PATH") << u"tallowfern"_qs << u"tallowfern --toggle"_qs;
        QTest::newRow("space") << u"/opt/my apps/tallowfern"_qs
                               << u"'/opt/my apps/tallowfern' --toggle"_qs;
        QTest::newRow("single quote") << u"/home/o'neil/bin/tallowfern"_qs
                                      << u"'/home/o'\\''neil/bin/tallowfern' --toggle"_qs;
        QTest::newRow("double quote")
            << u"/tmp/a\"b/tallowfern"_qs << u"'/tmp/a\"b/tallowfern' --toggle"_qs;
        QTest::newRow("shell characters")
            << u"/tmp/$HOME;x/t\\f"_qs << u"'/tmp/$HOME;x/t\\f' --toggle"_qs;
        QTest::newRow("non-ASCII")
            << u"/home/zoë/tallowfern"_qs << u"'/home/zoë/tallowfern' --toggle"_qs;
    }
    void toggleCommand()
    {
        QFETCH(QString, program);
        QFETCH(QString, command);
        QCOMPARE(GnomeKeybinding::toggleCommand(program), command);
        // GNOME splits it back into exactly the program and the option.
        QCOMPARE(parsed(GnomeKeybinding::toggleCommand(program)),
                 QStringList({program, u"--toggle"_qs}));
    }
};

QTEST_GUILESS_MAIN(TestGnomeKeybinding)
#include "tst_gnomekeybinding.moc"
