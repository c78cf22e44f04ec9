#include "model/Shortcut.h"
#include "platform/KeyCodeTable.h"
#include "platform/KeyboardLayout.h"
#include "platform/ShortcutKeys.h"

#include <QGuiApplication>
#include <QTest>
#include <QtGui/qguiapplication_platform.h>

// Key names on a real X server: the layout must come from the server's keymap.
class TestKeyboardLayoutX11 : public QObject {
    Q_OBJECT

private slots:
    void initTestCase()
    {
        if (QGuiApplication::platformName() != u"xcb")
            QFAIL("needs an X server: run under Xvfb (tools/dev test does)");
    }

    void serverKeymap()
    {
        auto *x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
        QVERIFY(x11);
        const auto layout = KeyboardLayout::fromX11(x11->connection());
        QVERIFY(layout);
        QCOMPARE(layout->keyName(*KeyCodeTable::x11For(Shortcut::keyN)), u"N"_qs);
        QCOMPARE(layout->keyName(*KeyCodeTable::x11For(18)), u"1"_qs);
        // Keys that type nothing printable have no name of their own.
        QCOMPARE(layout->keyName(*KeyCodeTable::x11For(Shortcut::keyEscape)), QString());
        QVERIFY(!KeyboardLayout::fromX11(nullptr));
    }

    void currentLayoutIsTheServers()
    {
        KeyboardLayout::invalidateCurrent();
        const KeyboardLayout *current = KeyboardLayout::current();
        QVERIFY(current);
        QCOMPARE(KeyboardLayout::current(), current); // cached until invalidated
        QCOMPARE(ShortcutKeys::label(Shortcut::defaultOpen()), u"\u2325N"_qs);
        QCOMPARE(ShortcutKeys::label(Shortcut::defaultSwitchTab()), u"\u2303\u21E5"_qs);
        QCOMPARE(ShortcutKeys::label(Shortcut(0, Shortcut::Command | Shortcut::Shift)),
                 u"\u21E7\u2318A"_qs);
    }
};

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    TestKeyboardLayoutX11 test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_keyboardlayout_x11.moc"
