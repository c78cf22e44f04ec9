#include "model/Shortcut.h"
#include "platform/KeyboardLayoutWatcher.h"
#include "platform/ShortcutKeys.h"
#include "platform/XcbXkb.h"

#include <QGuiApplication>
#include <QProcess>
#include <QSignalSpy>
#include <QTest>
#include <QtGui/qguiapplication_platform.h>

// Key names follow the layout while the app runs: a new keymap and a switch of group. On an X
// server of its own, since it changes the server's keymap.
class TestKeyboardLayoutWatcher : public QObject {
    Q_OBJECT

    // The key that is Z on a US keyboard and Y on a German one.
    static constexpr quint16 keyZ = 6;

    static void setLayouts(const QString &layouts)
    {
        QProcess setxkbmap;
        setxkbmap.start(u"setxkbmap"_qs, {u"-layout"_qs, layouts});
        QVERIFY2(setxkbmap.waitForFinished(10000) && setxkbmap.exitCode() == 0,
                 setxkbmap.readAllStandardError().constData());
    }
    static void lockGroup(quint8 group)
    {
        auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
        xcb_connection_t *connection = x11->connection();
        xcb_xkb_latch_lock_state(connection, XCB_XKB_ID_USE_CORE_KBD, 0, 0, 1, group, 0, 0, 0);
        xcb_flush(connection);
    }

private slots:
    void initTestCase()
    {
        if (QGuiApplication::platformName() != u"xcb")
            QFAIL("needs an X server of its own: CTest runs it under xvfb-run");
    }

    void namesFollowTheLayout()
    {
        KeyboardLayoutWatcher *watcher = KeyboardLayoutWatcher::instance();
        QSignalSpy changed(watcher, &KeyboardLayoutWatcher::layoutChanged);
        const Shortcut shortcut(keyZ, Shortcut::Option);
        setLayouts(u"us,de"_qs);
        QTRY_VERIFY(changed.count() > 0);
        QTRY_COMPARE(ShortcutKeys::label(shortcut), u"\u2325Z"_qs);

        // The desktop switches to the second layout.
        changed.clear();
        lockGroup(1);
        QTRY_VERIFY(changed.count() > 0);
        QCOMPARE(ShortcutKeys::label(shortcut), u"\u2325Y"_qs);
        changed.clear();
        lockGroup(0);
        QTRY_VERIFY(changed.count() > 0);
        QCOMPARE(ShortcutKeys::label(shortcut), u"\u2325Z"_qs);

        // Another keymap altogether.
        changed.clear();
        setLayouts(u"de"_qs);
        QTRY_VERIFY(changed.count() > 0);
        QCOMPARE(ShortcutKeys::label(shortcut), u"\u2325Y"_qs);
        setLayouts(u"us"_qs);
        QTRY_COMPARE(ShortcutKeys::label(shortcut), u"\u2325Z"_qs);
    }
};

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    TestKeyboardLayoutWatcher test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_keyboardlayoutwatcher.moc"
