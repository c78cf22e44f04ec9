#include "model/Shortcut.h"
#include "platform/KeyboardLayout.h"
#include "platform/ShortcutNotation.h"

#include <QTest>

namespace {

constexpr quint16 keyY = 16; // the key marked Y on a US keyboard, Z on a German one
constexpr quint16 keyF5 = 96;
constexpr quint16 key1 = 18;

} // namespace

// Each desktop's way of writing a shortcut, from compiled layouts so that no display is needed.
class TestShortcutNotation : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<KeyboardLayout> m_us = KeyboardLayout::fromNames(u"us"_qs);
    std::unique_ptr<KeyboardLayout> m_de = KeyboardLayout::fromNames(u"de"_qs);

    const KeyboardLayout *layout(const QString &name) const
    {
        return name == u"de" ? m_de.get() : m_us.get();
    }

private slots:
    void initTestCase() { QVERIFY2(m_us && m_de, "the XKB data (xkb-data) is needed"); }

    void notations_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<QString>("label");
        QTest::addColumn<QString>("portal");
        QTest::addColumn<QString>("gtk");
        QTest::addColumn<QString>("sway");
        QTest::addColumn<int>("qtKey");

        using S = Shortcut;
        QTest::newRow("default open")
            << u"us"_qs << S::defaultOpen() << u"Alt+N"_qs << u"ALT+n"_qs << u"<Alt>n"_qs
            << u"Mod1+n"_qs << (Qt::ALT | Qt::Key_N).toCombined();
        QTest::newRow("default switch")
            << u"us"_qs << S::defaultSwitchTab() << u"Ctrl+Tab"_qs << u"CTRL+Tab"_qs
            << u"<Control>Tab"_qs << u"Ctrl+Tab"_qs << (Qt::CTRL | Qt::Key_Tab).toCombined();
        QTest::newRow("all four")
            << u"us"_qs << S(S::keySpace, S::Shift | S::Control | S::Option | S::Command)
            << u"Super+Ctrl+Alt+Shift+Space"_qs << u"CTRL+ALT+SHIFT+LOGO+space"_qs
            << u"<Control><Alt><Shift><Super>space"_qs << u"Mod4+Ctrl+Mod1+Shift+space"_qs
            << (Qt::META | Qt::CTRL | Qt::ALT | Qt::SHIFT | Qt::Key_Space).toCombined();
        QTest::newRow("function key")
            << u"us"_qs << S(keyF5, S::Control) << u"Ctrl+F5"_qs << u"CTRL+F5"_qs
            << u"<Control>F5"_qs << u"Ctrl+F5"_qs << (Qt::CTRL | Qt::Key_F5).toCombined();
        QTest::newRow("digit") << u"us"_qs << S(key1, S::Command) << u"Super+1"_qs << u"LOGO+1"_qs
                               << u"<Super>1"_qs << u"Mod4+1"_qs
                               << (Qt::META | Qt::Key_1).toCombined();
        QTest::newRow("Y on US") << u"us"_qs << S(keyY, S::Option) << u"Alt+Y"_qs << u"ALT+y"_qs
                                 << u"<Alt>y"_qs << u"Mod1+y"_qs
                                 << (Qt::ALT | Qt::Key_Y).toCombined();
        // The same key is Z on a German keyboard; that is what the desktop must be told.
        QTest::newRow("Z on German")
            << u"de"_qs << S(keyY, S::Option) << u"Alt+Z"_qs << u"ALT+z"_qs << u"<Alt>z"_qs
            << u"Mod1+z"_qs << (Qt::ALT | Qt::Key_Z).toCombined();
    }

    void notations()
    {
        QFETCH(QString, layout);
        QFETCH(Shortcut, shortcut);
        QFETCH(QString, label);
        QFETCH(QString, portal);
        QFETCH(QString, gtk);
        QFETCH(QString, sway);
        QFETCH(int, qtKey);
        const KeyboardLayout *keys = this->layout(layout);
        QCOMPARE(ShortcutNotation::label(shortcut, keys), label);
        QCOMPARE(ShortcutNotation::portalTrigger(shortcut, keys).value_or(QString()), portal);
        QCOMPARE(ShortcutNotation::gtkAccelerator(shortcut, keys).value_or(QString()), gtk);
        QCOMPARE(ShortcutNotation::swayKeys(shortcut, keys).value_or(QString()), sway);
        const auto combination = ShortcutNotation::qtKey(shortcut, keys);
        QVERIFY(combination);
        QCOMPARE(combination->toCombined(), qtKey);
    }

    // What KDE reports back after the user changed the key in System Settings.
    void fromQtKey_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<int>("qtKey");
        QTest::addColumn<bool>("known");
        QTest::addColumn<Shortcut>("shortcut");

        using S = Shortcut;
        QTest::newRow("default open")
            << u"us"_qs << (Qt::ALT | Qt::Key_N).toCombined() << true << S::defaultOpen();
        QTest::newRow("default switch")
            << u"us"_qs << (Qt::CTRL | Qt::Key_Tab).toCombined() << true << S::defaultSwitchTab();
        QTest::newRow("all four")
            << u"us"_qs << (Qt::META | Qt::CTRL | Qt::ALT | Qt::SHIFT | Qt::Key_Space).toCombined()
            << true << S(S::keySpace, S::Shift | S::Control | S::Option | S::Command);
        QTest::newRow("function key")
            << u"us"_qs << (Qt::CTRL | Qt::Key_F5).toCombined() << true << S(keyF5, S::Control);
        // The keypad types digits too, but only with NumLock; the main row is the one meant.
        QTest::newRow("digit") << u"us"_qs << (Qt::META | Qt::Key_1).toCombined() << true
                               << S(key1, S::Command);
        QTest::newRow("Y on US") << u"us"_qs << (Qt::ALT | Qt::Key_Y).toCombined() << true
                                 << S(keyY, S::Option);
        QTest::newRow("Z on German")
            << u"de"_qs << (Qt::ALT | Qt::Key_Z).toCombined() << true << S(keyY, S::Option);
        QTest::newRow("keypad flag ignored")
            << u"us"_qs
            << QKeyCombination(Qt::AltModifier | Qt::KeypadModifier, Qt::Key_N).toCombined() << true
            << S::defaultOpen();
        // No key types "!" without Shift on a US keyboard.
        QTest::newRow("shifted symbol")
            << u"us"_qs << (Qt::META | Qt::Key_Exclam).toCombined() << false << S();
        QTest::newRow("no such key on German")
            << u"de"_qs << (Qt::ALT | Qt::Key_BracketLeft).toCombined() << false << S();
        QTest::newRow("media key")
            << u"us"_qs << (Qt::CTRL | Qt::Key_MediaPlay).toCombined() << false << S();
    }

    void fromQtKey()
    {
        QFETCH(QString, layout);
        QFETCH(int, qtKey);
        QFETCH(bool, known);
        QFETCH(Shortcut, shortcut);
        const KeyboardLayout *keys = this->layout(layout);
        const auto back = ShortcutNotation::fromQtKey(QKeyCombination::fromCombined(qtKey), keys);
        QCOMPARE(back.has_value(), known);
        if (!known)
            return;
        QCOMPARE(*back, shortcut);
        // And there again.
        QCOMPARE(ShortcutNotation::qtKey(*back, keys)->toCombined(),
                 qtKey & ~int(Qt::KeypadModifier));
    }

    void fromQtKeyNeedsALayout()
    {
        QVERIFY(!ShortcutNotation::fromQtKey(Qt::ALT | Qt::Key_N, nullptr));
    }

    void unknownKeyHasNoNotation()
    {
        const Shortcut unknown(500, Shortcut::Option); // outside the key table
        QCOMPARE(ShortcutNotation::label(unknown, m_us.get()), u"Alt+?"_qs);
        QVERIFY(!ShortcutNotation::qtKey(unknown, m_us.get()));
        QVERIFY(!ShortcutNotation::portalTrigger(unknown, m_us.get()));
        QVERIFY(!ShortcutNotation::gtkAccelerator(unknown, m_us.get()));
        QVERIFY(!ShortcutNotation::swayKeys(unknown, m_us.get()));
        // Without any keymap nothing can be named either.
        QVERIFY(!ShortcutNotation::portalTrigger(Shortcut::defaultOpen(), nullptr));
    }
};

QTEST_GUILESS_MAIN(TestShortcutNotation)
#include "tst_shortcutnotation.moc"
