#include "model/Shortcut.h"
#include "platform/KeyboardLayoutWatcher.h"
#include "platform/ShortcutKeys.h"
#include "platform/WaylandGlobals.h"
#include "platform/WaylandKeymap.h"

#include <QGuiApplication>
#include <QRasterWindow>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTest>

#include <sys/mman.h>
#include <unistd.h>

#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"
#include "virtual-keyboard-unstable-v1-client-protocol.h"
#pragma GCC diagnostic pop

// Key names follow the keymap and group the Wayland compositor sends: a keyboard with another
// layout, and a switch of group while our window has the keyboard. The keyboard is a virtual
// one made here, which is how the compositor sees an on-screen keyboard or a remote desktop.
class TestKeyboardLayoutWayland : public QObject {
    Q_OBJECT

    // The key that is Z on a US keyboard and Y on a German one, in evdev's numbering and ours.
    static constexpr quint32 evdevZ = 44;
    static constexpr quint16 keyZ = 6;
    static constexpr quint32 evdevShift = 42;

    zwp_virtual_keyboard_manager_v1 *m_manager = nullptr;
    zwp_virtual_keyboard_v1 *m_keyboard = nullptr;
    QRasterWindow m_window;

    // Hands the compositor a keymap of these XKB layouts, as a keyboard plugged in would.
    void useLayouts(const char *layouts)
    {
        xkb_context *context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
        QVERIFY(context);
        xkb_rule_names names{};
        names.layout = layouts;
        xkb_keymap *keymap =
            xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
        QVERIFY(keymap);
        char *text = xkb_keymap_get_as_string(keymap, XKB_KEYMAP_FORMAT_TEXT_V1);
        const size_t size = strlen(text) + 1;
        const int fd = memfd_create("keymap", MFD_CLOEXEC);
        QVERIFY(fd >= 0);
        QCOMPARE(write(fd, text, size), ssize_t(size));
        free(text);
        xkb_keymap_unref(keymap);
        xkb_context_unref(context);
        zwp_virtual_keyboard_v1_keymap(m_keyboard, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd,
                                       uint32_t(size));
        close(fd);
        // The compositor takes the keymap of the keyboard last typed on: type a Shift.
        static uint32_t time = 0;
        zwp_virtual_keyboard_v1_key(m_keyboard, ++time, evdevShift, WL_KEYBOARD_KEY_STATE_PRESSED);
        zwp_virtual_keyboard_v1_key(m_keyboard, ++time, evdevShift, WL_KEYBOARD_KEY_STATE_RELEASED);
        wl_display_flush(WaylandGlobals::get().display);
    }

    void lockGroup(uint32_t group)
    {
        zwp_virtual_keyboard_v1_modifiers(m_keyboard, 0, 0, 0, group);
        wl_display_flush(WaylandGlobals::get().display);
    }

    static QString label() { return ShortcutKeys::label(Shortcut(keyZ, Shortcut::Option)); }

private slots:
    void initTestCase()
    {
        if (QGuiApplication::platformName() != u"wayland")
            QFAIL("needs a Wayland compositor: run it inside one (tests/wayland/run_in_sway.py)");
        m_manager = static_cast<zwp_virtual_keyboard_manager_v1 *>(
            WaylandGlobals::bindAnother(&zwp_virtual_keyboard_manager_v1_interface, 1));
        if (!m_manager)
            QFAIL("the compositor offers no virtual keyboards");
        QVERIFY(WaylandGlobals::get().seat);
        m_keyboard = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(
            m_manager, WaylandGlobals::get().seat);
        // The group comes only to the client with the keyboard: a window of ours has it.
        m_window.resize(200, 100);
        m_window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&m_window));
        QTRY_VERIFY(m_window.isActive());
    }

    void cleanupTestCase()
    {
        if (m_keyboard)
            zwp_virtual_keyboard_v1_destroy(m_keyboard);
        if (m_manager)
            zwp_virtual_keyboard_manager_v1_destroy(m_manager);
    }

    // Names asked for before anything watches for layout changes (the global shortcut asks at
    // start-up) do not stay those of the default layout once the compositor's keymap comes.
    void followsBeforeAnyWatcher()
    {
        QCOMPARE(label(), u"\u2325Z"_qs);
        useLayouts("de");
        QTRY_COMPARE(label(), u"\u2325Y"_qs);
    }

    void anotherKeyboardsLayout()
    {
        KeyboardLayoutWatcher *watcher = KeyboardLayoutWatcher::instance();
        QSignalSpy changed(watcher, &KeyboardLayoutWatcher::layoutChanged);
        useLayouts("us");
        QTRY_VERIFY(changed.count() > 0);
        QTRY_COMPARE(label(), u"\u2325Z"_qs);
        changed.clear();
        useLayouts("de");
        QTRY_VERIFY(changed.count() > 0);
        QTRY_COMPARE(label(), u"\u2325Y"_qs);
        useLayouts("us");
        QTRY_COMPARE(label(), u"\u2325Z"_qs);
        QVERIFY(WaylandKeymap::instance()->text().contains("xkb_keymap"));
    }

    void groupSwitch()
    {
        useLayouts("us,de");
        QTRY_COMPARE(label(), u"\u2325Z"_qs);
        QSignalSpy changed(KeyboardLayoutWatcher::instance(),
                           &KeyboardLayoutWatcher::layoutChanged);
        lockGroup(1);
        QTRY_VERIFY(changed.count() > 0);
        QCOMPARE(WaylandKeymap::instance()->group(), 1u);
        QCOMPARE(label(), u"\u2325Y"_qs);
        lockGroup(0);
        QTRY_COMPARE(label(), u"\u2325Z"_qs);
    }

    // A keymap that cannot be read changes nothing and says why.
    void unreadableKeymap()
    {
        useLayouts("de");
        QTRY_COMPARE(label(), u"\u2325Y"_qs);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(u"keymap that cannot be read"_qs));
        WaylandKeymap::instance()->keymap(WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 + 7,
                                          memfd_create("nothing", MFD_CLOEXEC), 0);
        // A keyboard that says it has no keymap changes nothing either, and quietly.
        QTest::failOnWarning(QRegularExpression(u"keymap"_qs));
        WaylandKeymap::instance()->keymap(WL_KEYBOARD_KEYMAP_FORMAT_NO_KEYMAP,
                                          memfd_create("nothing", MFD_CLOEXEC), 0);
        QCoreApplication::processEvents();
        QCOMPARE(label(), u"\u2325Y"_qs);
    }
};

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "wayland");
    QGuiApplication app(argc, argv);
    TestKeyboardLayoutWayland test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_keyboardlayout_wayland.moc"
