#include "platform/HotKey.h"

#include <QGuiApplication>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

// The global shortcut on a real X server: keys typed with xdotool, as a person would.
class TestHotKey : public QObject {
    Q_OBJECT

    int m_fired = 0;

    static void type(const QStringList &arguments)
    {
        QProcess xdotool;
        xdotool.start(u"xdotool"_qs, arguments);
        QVERIFY(xdotool.waitForFinished(10000));
        QCOMPARE(xdotool.exitCode(), 0);
    }
    void expectFired(int count)
    {
        QTRY_COMPARE_WITH_TIMEOUT(m_fired, count, 3000);
        QTest::qWait(150);
        QCOMPARE(m_fired, count); // and only once
    }
    void expectSilent(int count)
    {
        QTest::qWait(300);
        QCOMPARE(m_fired, count);
    }

private slots:
    void initTestCase()
    {
        if (QGuiApplication::platformName() != u"xcb")
            QFAIL("needs an X server: run under Xvfb (tools/dev test does)");
        if (QStandardPaths::findExecutable(u"xdotool"_qs).isEmpty())
            QFAIL("xdotool is missing (tools/dev test installs it)");
    }
    void init() { m_fired = 0; }

    void defaultShortcutToggles()
    {
        HotKey hotKey([this] { ++m_fired; });
        QVERIFY(hotKey.registerShortcut(Shortcut::defaultOpen()));
        type({u"key"_qs, u"alt+n"_qs});
        expectFired(1);
        type({u"key"_qs, u"alt+n"_qs});
        expectFired(2);
        // Other combinations of the key are not ours.
        type({u"key"_qs, u"ctrl+alt+n"_qs});
        type({u"key"_qs, u"n"_qs});
        expectSilent(2);
    }

    void worksWithLocks_data()
    {
        QTest::addColumn<QString>("lock");
        QTest::newRow("NumLock") << u"Num_Lock"_qs;
        QTest::newRow("CapsLock") << u"Caps_Lock"_qs;
    }
    void worksWithLocks()
    {
        QFETCH(QString, lock);
        HotKey hotKey([this] { ++m_fired; });
        QVERIFY(hotKey.registerShortcut(Shortcut::defaultOpen()));
        type({u"key"_qs, lock});
        type({u"key"_qs, u"alt+n"_qs});
        type({u"key"_qs, lock}); // back off
        expectFired(1);
    }

    void reRegisteringMovesTheGrab()
    {
        HotKey hotKey([this] { ++m_fired; });
        QVERIFY(hotKey.registerShortcut(Shortcut::defaultOpen()));
        QVERIFY(hotKey.registerShortcut(Shortcut(40, Shortcut::Control | Shortcut::Option)));
        type({u"key"_qs, u"alt+n"_qs});
        expectSilent(0);
        type({u"key"_qs, u"ctrl+alt+k"_qs});
        expectFired(1);
        hotKey.unregister();
        QVERIFY(!hotKey.isRegistered());
        type({u"key"_qs, u"ctrl+alt+k"_qs});
        expectSilent(1);
    }

    void heldKeyTogglesOnce()
    {
        HotKey hotKey([this] { ++m_fired; });
        QVERIFY(hotKey.registerShortcut(Shortcut::defaultOpen()));
        auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
        const xcb_window_t root =
            xcb_setup_roots_iterator(xcb_get_setup(x11->connection())).data->root;
        // A held key repeats as presses without releases (detectable auto-repeat).
        const auto event = [&](quint8 type, quint16 state) {
            xcb_key_press_event_t key{};
            key.response_type = type;
            key.detail = 57; // N
            key.root = root;
            key.event = root;
            key.state = state;
            return hotKey.nativeEventFilter("xcb_generic_event_t", &key, nullptr);
        };
        QVERIFY(event(XCB_KEY_PRESS, XCB_MOD_MASK_1));
        QVERIFY(event(XCB_KEY_PRESS, XCB_MOD_MASK_1));
        QVERIFY(event(XCB_KEY_PRESS, XCB_MOD_MASK_1 | XCB_MOD_MASK_2)); // NumLock came on
        QVERIFY(event(XCB_KEY_RELEASE, XCB_MOD_MASK_1));
        expectFired(1);
        QVERIFY(event(XCB_KEY_PRESS, XCB_MOD_MASK_1));
        expectFired(2);
        // Another modifier combination of the same key is not ours.
        QVERIFY(event(XCB_KEY_RELEASE, XCB_MOD_MASK_1));
        QVERIFY(!event(XCB_KEY_PRESS, XCB_MOD_MASK_1 | XCB_MOD_MASK_CONTROL));
        expectSilent(2);
    }

    void keyTakenByAnotherProgram()
    {
        // Another client grabs Ctrl+Alt+J on the root window first.
        xcb_connection_t *other = xcb_connect(nullptr, nullptr);
        QVERIFY(!xcb_connection_has_error(other));
        const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(other)).data->root;
        const xcb_keycode_t j = 44;
        xcb_void_cookie_t cookie =
            xcb_grab_key_checked(other, 1, root, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1, j,
                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC);
        QVERIFY(!xcb_request_check(other, cookie));

        HotKey hotKey([this] { ++m_fired; });
        QVERIFY(!hotKey.registerShortcut(Shortcut(38, Shortcut::Control | Shortcut::Option)));
        QVERIFY(!hotKey.isRegistered());
        type({u"key"_qs, u"ctrl+alt+j"_qs});
        expectSilent(0);
        // The other program's grab is untouched, and ours works on a free key.
        QVERIFY(hotKey.registerShortcut(Shortcut::defaultOpen()));
        xcb_disconnect(other);
    }
};

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    TestHotKey test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_hotkey.moc"
