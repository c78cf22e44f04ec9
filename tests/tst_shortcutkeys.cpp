#include "platform/KeyCodeTable.h"
#include "platform/KeyboardLayout.h"
#include "platform/ShortcutKeys.h"

#include <QKeyEvent>
#include <QSet>
#include <QTest>

#include <xcb/xproto.h>

#include <map>
#include <memory>

// Without this a failed QCOMPARE on two shortcuts prints nothing useful.
char *toString(const Shortcut &shortcut)
{
    return QTest::toString(QStringLiteral("Shortcut(%1, 0x%2)")
                               .arg(shortcut.keyCode())
                               .arg(shortcut.modifiers(), 0, 16));
}

namespace {

constexpr quint32 allFour =
    Shortcut::Control | Shortcut::Option | Shortcut::Shift | Shortcut::Command;

QKeyEvent keyPress(quint32 x11Keycode, Qt::KeyboardModifiers modifiers, quint32 nativeModifiers = 0,
                   int key = Qt::Key_unknown, const QString &text = {})
{
    return QKeyEvent(QEvent::KeyPress, key, modifiers, x11Keycode, 0, nativeModifiers, text);
}

} // namespace

// Shortcuts from key presses and in labels, on real XKB layouts.
class TestShortcutKeys : public QObject {
    Q_OBJECT

private:
    // Compiling a keymap is slow enough to do once per layout.
    std::map<QString, std::unique_ptr<KeyboardLayout>> m_layouts;

    const KeyboardLayout *layout(const QString &name) const
    {
        const auto found = m_layouts.find(name);
        return found == m_layouts.end() ? nullptr : found->second.get();
    }

private slots:
    void initTestCase()
    {
        for (const QString &name : {u"us"_qs, u"de"_qs, u"fr"_qs}) {
            auto compiled = KeyboardLayout::fromNames(name);
            QVERIFY2(compiled, qPrintable(u"XKB layout %1 does not compile"_qs.arg(name)));
            m_layouts.emplace(name, std::move(compiled));
        }
    }

    void fromKeyEvent_data()
    {
        QTest::addColumn<quint32>("x11");
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<Qt::KeyboardModifiers>("qtModifiers");
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<quint32>("modifiers");

        const Qt::KeyboardModifiers none = Qt::NoModifier;
        QTest::newRow("N") << 57u << int(Qt::Key_N) << none << 45 << 0u;
        QTest::newRow("Tab") << 23u << int(Qt::Key_Tab) << none << 48 << 0u;
        QTest::newRow("Space") << 65u << int(Qt::Key_Space) << none << 49 << 0u;
        QTest::newRow("A") << 38u << int(Qt::Key_A) << none << 0 << 0u;
        QTest::newRow("Escape") << 9u << int(Qt::Key_Escape) << none << 53 << 0u;
        QTest::newRow("Up") << 111u << int(Qt::Key_Up) << none << 126 << 0u;
        QTest::newRow("F12") << 96u << int(Qt::Key_F12) << none << 111 << 0u;
        // The physical key decides, not what the layout types on it: a German Z sits where the
        // US Y is.
        QTest::newRow("position beats symbol") << 29u << int(Qt::Key_Z) << none << 16 << 0u;

        QTest::newRow("Shift") << 57u << int(Qt::Key_N) << Qt::KeyboardModifiers(Qt::ShiftModifier)
                               << 45 << quint32(Shortcut::Shift);
        QTest::newRow("Control") << 57u << int(Qt::Key_N)
                                 << Qt::KeyboardModifiers(Qt::ControlModifier) << 45
                                 << quint32(Shortcut::Control);
        QTest::newRow("Alt") << 57u << int(Qt::Key_N) << Qt::KeyboardModifiers(Qt::AltModifier)
                             << 45 << quint32(Shortcut::Option);
        QTest::newRow("Meta") << 57u << int(Qt::Key_N) << Qt::KeyboardModifiers(Qt::MetaModifier)
                              << 45 << quint32(Shortcut::Command);
        QTest::newRow("all four") << 57u << int(Qt::Key_N)
                                  << (Qt::ShiftModifier | Qt::ControlModifier | Qt::AltModifier |
                                      Qt::MetaModifier)
                                  << 45 << allFour;
        QTest::newRow("keypad dropped")
            << 57u << int(Qt::Key_N) << (Qt::KeypadModifier | Qt::ControlModifier) << 45
            << quint32(Shortcut::Control);
        QTest::newRow("group switch dropped")
            << 57u << int(Qt::Key_N) << (Qt::GroupSwitchModifier | Qt::AltModifier) << 45
            << quint32(Shortcut::Option);
        QTest::newRow("only ignored modifiers")
            << 23u << int(Qt::Key_Tab) << (Qt::KeypadModifier | Qt::GroupSwitchModifier) << 48
            << 0u;
    }

    void fromKeyEvent()
    {
        QFETCH(quint32, x11);
        QFETCH(int, qtKey);
        QFETCH(Qt::KeyboardModifiers, qtModifiers);
        QFETCH(int, keyCode);
        QFETCH(quint32, modifiers);

        const QKeyEvent event = keyPress(x11, qtModifiers, 0, qtKey);
        const auto shortcut = ShortcutKeys::fromKeyEvent(event);
        QVERIFY(shortcut);
        QCOMPARE(*shortcut, Shortcut(quint16(keyCode), modifiers));
    }

    void fromNative_data() { fromKeyEvent_data(); }

    void fromNative()
    {
        QFETCH(quint32, x11);
        QFETCH(Qt::KeyboardModifiers, qtModifiers);
        QFETCH(int, keyCode);
        QFETCH(quint32, modifiers);

        const auto shortcut = ShortcutKeys::fromNative(x11, qtModifiers);
        QVERIFY(shortcut);
        QCOMPARE(*shortcut, Shortcut(quint16(keyCode), modifiers));
    }

    void unknownNativeCode_data()
    {
        QTest::addColumn<quint32>("x11");
        QTest::newRow("zero") << 0u;
        QTest::newRow("below the evdev offset") << 7u;
        QTest::newRow("evdev 0") << 8u;
        QTest::newRow("past the evdev codes")
            << quint32(KeyCodeTable::evdevMax + 1 + KeyCodeTable::x11Offset);
        QTest::newRow("all bits") << 0xFFFFFFFFu;
    }

    // Keys the Mac numbering has no code for are recorded by their evdev code, map back to the
    // same key for grabs, and are named after their keysym.
    void anyKeyIsRecorded_data()
    {
        QTest::addColumn<quint32>("x11");
        QTest::addColumn<QString>("name");
        QTest::newRow("keypad 7 without Num Lock") << 79u << u"Keypad Home"_qs;
        QTest::newRow("keypad plus") << 86u << u"Keypad +"_qs;
        QTest::newRow("keypad Enter") << 104u << u"Keypad Enter"_qs;
        QTest::newRow("Insert") << 118u << u"Insert"_qs;
        QTest::newRow("mute") << 121u << u"Audio Mute"_qs;
        QTest::newRow("Menu") << 135u << u"Menu"_qs;
        QTest::newRow("F13, Tools in Linux keymaps") << 191u << u"Tools"_qs;
        QTest::newRow("past a byte") << 300u << u"?"_qs;
    }
    void anyKeyIsRecorded()
    {
        QFETCH(quint32, x11);
        QFETCH(QString, name);
        const auto shortcut = ShortcutKeys::fromNative(x11, Qt::ControlModifier | Qt::AltModifier);
        QVERIFY(shortcut);
        QCOMPARE(shortcut->keyCode(),
                 quint16(KeyCodeTable::evdevBase + x11 - KeyCodeTable::x11Offset));
        QCOMPARE(KeyCodeTable::x11For(shortcut->keyCode()), std::optional<quint32>(x11));
        QCOMPARE(ShortcutKeys::keyName(shortcut->keyCode(), layout(u"us"_qs)), name);
        // Stored and read back as any shortcut is.
        QCOMPARE(Shortcut::fromJson(shortcut->toJson()), shortcut);
        QVERIFY(
            ShortcutKeys::matches(*shortcut, keyPress(x11, Qt::ControlModifier | Qt::AltModifier)));
        // A key the table has is never stored twice over.
        QVERIFY(!KeyCodeTable::evdevFor(quint16(KeyCodeTable::evdevBase + 30)));
    }

    void unknownNativeCode()
    {
        QFETCH(quint32, x11);
        QVERIFY(!ShortcutKeys::fromNative(x11, Qt::ControlModifier));
        QVERIFY(!ShortcutKeys::fromKeyEvent(keyPress(x11, Qt::ControlModifier)));
    }

    void keyCodeTable_data()
    {
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<int>("evdev");
        QTest::newRow("A") << 0 << 30;
        QTest::newRow("H before G") << 4 << 35;
        QTest::newRow("Z") << 6 << 44;
        QTest::newRow("ISO section") << 10 << 86;
        QTest::newRow("Q") << 12 << 16;
        QTest::newRow("1") << 18 << 2;
        QTest::newRow("6 before 5") << 22 << 7;
        QTest::newRow("0") << 29 << 11;
        QTest::newRow("left bracket") << 33 << 26;
        QTest::newRow("Return") << 36 << 28;
        QTest::newRow("N") << 45 << 49;
        QTest::newRow("Tab") << 48 << 15;
        QTest::newRow("Space") << 49 << 57;
        QTest::newRow("grave") << 50 << 41;
        QTest::newRow("Backspace") << 51 << 14;
        QTest::newRow("Escape") << 53 << 1;
        QTest::newRow("F11") << 103 << 87;
        QTest::newRow("forward delete") << 117 << 111;
        QTest::newRow("F1") << 122 << 59;
        QTest::newRow("Left") << 123 << 105;
        QTest::newRow("Up") << 126 << 103;
    }

    void keyCodeTable()
    {
        QFETCH(int, keyCode);
        QFETCH(int, evdev);
        const quint32 x11 = quint32(evdev + KeyCodeTable::x11Offset);

        QCOMPARE(KeyCodeTable::evdevFor(quint16(keyCode)), std::optional<int>(evdev));
        QCOMPARE(KeyCodeTable::keyCodeForEvdev(evdev), std::optional<quint16>(quint16(keyCode)));
        QCOMPARE(KeyCodeTable::x11For(quint16(keyCode)), std::optional<quint32>(x11));
        QCOMPARE(KeyCodeTable::keyCodeForX11(x11), std::optional<quint16>(quint16(keyCode)));
    }

    void keyCodeTableIsABijection()
    {
        QSet<int> evdevCodes;
        int defined = 0;
        for (quint16 keyCode = 0; keyCode < 128; ++keyCode) {
            const auto evdev = KeyCodeTable::evdevFor(keyCode);
            const auto x11 = KeyCodeTable::x11For(keyCode);
            QCOMPARE(evdev.has_value(), x11.has_value());
            if (!x11)
                continue;
            ++defined;
            QCOMPARE(*x11, quint32(*evdev + KeyCodeTable::x11Offset));
            QCOMPARE(KeyCodeTable::keyCodeForX11(*x11), std::optional<quint16>(keyCode));
            QVERIFY2(!evdevCodes.contains(*evdev),
                     qPrintable(u"evdev %1 is used twice"_qs.arg(*evdev)));
            evdevCodes.insert(*evdev);
        }
        // Letters, digits and punctuation alone are more than this.
        QVERIFY(defined > 50);

        // And from the other side: nothing maps back to a code that does not map forward.
        for (quint32 x11 = 0; x11 < 512; ++x11) {
            if (const auto keyCode = KeyCodeTable::keyCodeForX11(x11))
                QCOMPARE(KeyCodeTable::x11For(*keyCode), std::optional<quint32>(x11));
        }
        QVERIFY(!KeyCodeTable::x11For(52));
        QVERIFY(!KeyCodeTable::x11For(127));
        QVERIFY(!KeyCodeTable::x11For(200));
        QVERIFY(!KeyCodeTable::x11For(65535));
    }

    void matches_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<quint32>("x11");
        QTest::addColumn<Qt::KeyboardModifiers>("qtModifiers");
        QTest::addColumn<quint32>("nativeModifiers");
        QTest::addColumn<bool>("expected");

        const Shortcut commandN(Shortcut::keyN, Shortcut::Command);
        const Shortcut shiftCommandN(Shortcut::keyN, Shortcut::Shift | Shortcut::Command);
        const quint32 mod4 = XCB_MOD_MASK_4;
        const quint32 shiftMod4 = XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_4;
        const Qt::KeyboardModifiers meta = Qt::MetaModifier;
        const Qt::KeyboardModifiers shiftMeta = Qt::ShiftModifier | Qt::MetaModifier;

        QTest::newRow("Command+N") << commandN << 57u << meta << mod4 << true;
        QTest::newRow("Shift+Command+N") << shiftCommandN << 57u << shiftMeta << shiftMod4 << true;
        QTest::newRow("Shift+Command+N is not Command+N")
            << commandN << 57u << shiftMeta << shiftMod4 << false;
        QTest::newRow("Command+N is not Shift+Command+N")
            << shiftCommandN << 57u << meta << mod4 << false;
        QTest::newRow("Caps Lock on")
            << Shortcut::defaultOpen() << 57u << Qt::KeyboardModifiers(Qt::AltModifier)
            << quint32(XCB_MOD_MASK_LOCK | XCB_MOD_MASK_1) << true;
        QTest::newRow("Num Lock on")
            << Shortcut::defaultOpen() << 57u << Qt::KeyboardModifiers(Qt::AltModifier)
            << quint32(XCB_MOD_MASK_2 | XCB_MOD_MASK_1) << true;
        QTest::newRow("extra Shift")
            << Shortcut::defaultOpen() << 57u << (Qt::AltModifier | Qt::ShiftModifier)
            << quint32(XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_1) << false;
        QTest::newRow("missing modifier") << Shortcut::defaultOpen() << 57u
                                          << Qt::KeyboardModifiers(Qt::NoModifier) << 0u << false;
        QTest::newRow("different key")
            << Shortcut::defaultOpen() << 58u << Qt::KeyboardModifiers(Qt::AltModifier)
            << quint32(XCB_MOD_MASK_1) << false;
        QTest::newRow("Control+Tab")
            << Shortcut::defaultSwitchTab() << 23u << Qt::KeyboardModifiers(Qt::ControlModifier)
            << quint32(XCB_MOD_MASK_CONTROL) << true;
        QTest::newRow("unknown key")
            << Shortcut(0, Shortcut::Option) << 0u << Qt::KeyboardModifiers(Qt::AltModifier)
            << quint32(XCB_MOD_MASK_1) << false;
    }

    void matches()
    {
        QFETCH(Shortcut, shortcut);
        QFETCH(quint32, x11);
        QFETCH(Qt::KeyboardModifiers, qtModifiers);
        QFETCH(quint32, nativeModifiers);
        QFETCH(bool, expected);

        const QString text = (nativeModifiers & XCB_MOD_MASK_LOCK) ? u"N"_qs : u"n"_qs;
        const QKeyEvent event = keyPress(x11, qtModifiers, nativeModifiers, Qt::Key_N, text);
        QCOMPARE(ShortcutKeys::matches(shortcut, event), expected);
    }

    void x11Modifiers_data()
    {
        QTest::addColumn<quint32>("modifiers");
        QTest::addColumn<int>("expected");
        QTest::newRow("none") << 0u << 0;
        QTest::newRow("Shift") << quint32(Shortcut::Shift) << int(XCB_MOD_MASK_SHIFT);
        QTest::newRow("Control") << quint32(Shortcut::Control) << int(XCB_MOD_MASK_CONTROL);
        QTest::newRow("Option") << quint32(Shortcut::Option) << int(XCB_MOD_MASK_1);
        QTest::newRow("Command") << quint32(Shortcut::Command) << int(XCB_MOD_MASK_4);
        QTest::newRow("Control+Option") << quint32(Shortcut::Control | Shortcut::Option)
                                        << int(XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1);
        QTest::newRow("Shift+Command") << quint32(Shortcut::Shift | Shortcut::Command)
                                       << int(XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_4);
        QTest::newRow("all four") << allFour
                                  << int(XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL |
                                         XCB_MOD_MASK_1 | XCB_MOD_MASK_4);
        QTest::newRow("foreign bits ignored")
            << (0x10000u | Shortcut::Option) << int(XCB_MOD_MASK_1);
    }

    void x11Modifiers()
    {
        QFETCH(quint32, modifiers);
        QFETCH(int, expected);
        QCOMPARE(int(ShortcutKeys::x11Modifiers(Shortcut(Shortcut::keyN, modifiers))), expected);
    }

    void x11MasksAreTheProtocolOnes()
    {
        // Spelled out once, so a typo in the xcb names above could not hide a wrong mask.
        QCOMPARE(ShortcutKeys::x11Modifiers(Shortcut(0, Shortcut::Shift)), quint16(1));
        QCOMPARE(ShortcutKeys::x11Modifiers(Shortcut(0, Shortcut::Control)), quint16(4));
        QCOMPARE(ShortcutKeys::x11Modifiers(Shortcut(0, Shortcut::Option)), quint16(8));
        QCOMPARE(ShortcutKeys::x11Modifiers(Shortcut(0, Shortcut::Command)), quint16(64));
    }

    void label_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<QString>("expected");
        QTest::newRow("default open") << Shortcut::defaultOpen() << u"\u2325N"_qs;
        QTest::newRow("default switch tab") << Shortcut::defaultSwitchTab() << u"\u2303\u21E5"_qs;
        QTest::newRow("Control+Option+Space")
            << Shortcut(49, Shortcut::Control | Shortcut::Option) << u"\u2303\u2325Space"_qs;
        QTest::newRow("Command+Up") << Shortcut(126, Shortcut::Command) << u"\u2318\u2191"_qs;
        QTest::newRow("modifier order") << Shortcut(45, allFour) << u"\u2303\u2325\u21E7\u2318N"_qs;
        QTest::newRow("Shift+Command keeps order")
            << Shortcut(0, Shortcut::Command | Shortcut::Shift) << u"\u21E7\u2318A"_qs;
        QTest::newRow("no modifiers") << Shortcut(6, 0) << u"Z"_qs;
        QTest::newRow("outside the table") << Shortcut(200, Shortcut::Control) << u"\u2303?"_qs;
    }

    void label()
    {
        QFETCH(Shortcut, shortcut);
        QFETCH(QString, expected);
        QCOMPARE(ShortcutKeys::label(shortcut, layout(u"us"_qs)), expected);
    }

    void fixedKeyNames_data()
    {
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<QString>("expected");
        QTest::newRow("Return") << 36 << u"\u21A9"_qs;
        QTest::newRow("Tab") << 48 << u"\u21E5"_qs;
        QTest::newRow("Space") << 49 << u"Space"_qs;
        QTest::newRow("Backspace") << 51 << u"\u232B"_qs;
        QTest::newRow("Escape") << 53 << u"\u238B"_qs;
        QTest::newRow("Left") << 123 << u"\u2190"_qs;
        QTest::newRow("Right") << 124 << u"\u2192"_qs;
        QTest::newRow("Down") << 125 << u"\u2193"_qs;
        QTest::newRow("Up") << 126 << u"\u2191"_qs;
    }

    void fixedKeyNames()
    {
        QFETCH(int, keyCode);
        QFETCH(QString, expected);
        QCOMPARE(ShortcutKeys::keyName(quint16(keyCode), layout(u"us"_qs)), expected);
        // These never depend on the keymap, so they survive not having one.
        QCOMPARE(ShortcutKeys::keyName(quint16(keyCode), nullptr), expected);
        QCOMPARE(ShortcutKeys::keyName(quint16(keyCode), layout(u"fr"_qs)), expected);
    }

    void unnamedKeys()
    {
        const KeyboardLayout *us = layout(u"us"_qs);
        QCOMPARE(ShortcutKeys::keyName(200, us), u"?"_qs);
        QCOMPARE(ShortcutKeys::keyName(52, us), u"?"_qs);
        QCOMPARE(ShortcutKeys::keyName(65535, us), u"?"_qs);
        QCOMPARE(ShortcutKeys::keyName(0, nullptr), u"?"_qs);
        QCOMPARE(ShortcutKeys::keyName(Shortcut::keyN, nullptr), u"?"_qs);
        QCOMPARE(ShortcutKeys::label(Shortcut::defaultOpen(), nullptr), u"\u2325?"_qs);
    }

    void layoutKeyNames_data()
    {
        QTest::addColumn<QString>("layoutName");
        QTest::addColumn<int>("keyCode");
        QTest::addColumn<QString>("expected");
        QTest::newRow("us Z") << u"us"_qs << 6 << u"Z"_qs;
        QTest::newRow("de Z position types Y") << u"de"_qs << 6 << u"Y"_qs;
        QTest::newRow("de Y position types Z") << u"de"_qs << 16 << u"Z"_qs;
        QTest::newRow("us A") << u"us"_qs << 0 << u"A"_qs;
        QTest::newRow("fr A position types Q") << u"fr"_qs << 0 << u"Q"_qs;
        QTest::newRow("fr Q position types A") << u"fr"_qs << 12 << u"A"_qs;
        QTest::newRow("fr W position types Z") << u"fr"_qs << 13 << u"Z"_qs;
        QTest::newRow("us left bracket") << u"us"_qs << 33 << u"["_qs;
        QTest::newRow("de left bracket is a lower-case umlaut, upper-cased")
            << u"de"_qs << 33 << u"\u00DC"_qs;
        QTest::newRow("us grave") << u"us"_qs << 50 << u"`"_qs;
        QTest::newRow("de grave is a dead circumflex") << u"de"_qs << 50 << u"^"_qs;
        QTest::newRow("us 1") << u"us"_qs << 18 << u"1"_qs;
        QTest::newRow("fr 1 types an ampersand") << u"fr"_qs << 18 << u"&"_qs;
        QTest::newRow("us N") << u"us"_qs << 45 << u"N"_qs;
        QTest::newRow("us M") << u"us"_qs << 46 << u"M"_qs;
        QTest::newRow("fr M position types a comma") << u"fr"_qs << 46 << u","_qs;
        // Keys that type nothing are named as printed on the key, in every layout.
        QTest::newRow("F1") << u"us"_qs << 122 << u"F1"_qs;
        QTest::newRow("F5 on de") << u"de"_qs << 96 << u"F5"_qs;
        QTest::newRow("F12") << u"us"_qs << 111 << u"F12"_qs;
        QTest::newRow("Home") << u"us"_qs << 115 << u"Home"_qs;
        QTest::newRow("End") << u"fr"_qs << 119 << u"End"_qs;
        QTest::newRow("Page Up") << u"us"_qs << 116 << u"PgUp"_qs;
        QTest::newRow("Page Down") << u"us"_qs << 121 << u"PgDn"_qs;
        QTest::newRow("forward delete") << u"us"_qs << 117 << u"\u2326"_qs;
    }

    void layoutKeyNames()
    {
        QFETCH(QString, layoutName);
        QFETCH(int, keyCode);
        QFETCH(QString, expected);
        const KeyboardLayout *keyboard = layout(layoutName);
        QVERIFY(keyboard);
        QCOMPARE(ShortcutKeys::keyName(quint16(keyCode), keyboard), expected);
        QCOMPARE(ShortcutKeys::label(Shortcut(quint16(keyCode), Shortcut::Control), keyboard),
                 u"\u2303"_qs + expected);
    }

    void letterNamesAreUpperCase()
    {
        const KeyboardLayout *us = layout(u"us"_qs);
        int letters = 0;
        for (quint16 keyCode = 0; keyCode < 128; ++keyCode) {
            const QString name = ShortcutKeys::keyName(keyCode, us);
            if (name.size() != 1 || !name.at(0).isLetter())
                continue;
            ++letters;
            QVERIFY2(name.at(0).isUpper(), qPrintable(name));
        }
        QCOMPARE(letters, 26);
    }

    void currentLayoutLabel()
    {
        QVERIFY(KeyboardLayout::current());
        QCOMPARE(ShortcutKeys::label(Shortcut::defaultOpen()), u"\u2325N"_qs);
        QCOMPARE(ShortcutKeys::keyName(Shortcut::keyN), u"N"_qs);
        QCOMPARE(ShortcutKeys::label(Shortcut::defaultSwitchTab()), u"\u2303\u21E5"_qs);
    }
};

QTEST_MAIN(TestShortcutKeys)
#include "tst_shortcutkeys.moc"
