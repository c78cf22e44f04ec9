#include "model/Shortcut.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

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

} // namespace

// The stored value: which shortcuts are usable, and the stored form.
class TestShortcut : public QObject {
    Q_OBJECT

private slots:
    void isUsable_data()
    {
        QTest::addColumn<quint32>("modifiers");
        QTest::addColumn<bool>("expected");
        QTest::newRow("nothing") << 0u << false;
        QTest::newRow("Shift alone") << quint32(Shortcut::Shift) << false;
        // AppKit's Caps Lock bit is not one of ours and must not make a shortcut usable.
        QTest::newRow("Caps Lock bit") << 0x10000u << false;
        QTest::newRow("Control") << quint32(Shortcut::Control) << true;
        QTest::newRow("Option") << quint32(Shortcut::Option) << true;
        QTest::newRow("Command") << quint32(Shortcut::Command) << true;
        QTest::newRow("Shift+Control") << quint32(Shortcut::Shift | Shortcut::Control) << true;
        QTest::newRow("Shift+Command") << quint32(Shortcut::Shift | Shortcut::Command) << true;
        QTest::newRow("all four") << allFour << true;
    }

    void isUsable()
    {
        QFETCH(quint32, modifiers);
        QFETCH(bool, expected);
        QCOMPARE(Shortcut(Shortcut::keyN, modifiers).isUsable(), expected);
        QCOMPARE(Shortcut(Shortcut::keySpace, modifiers).isUsable(), expected);
    }

    void defaultsAreUsable()
    {
        QVERIFY(Shortcut::defaultOpen().isUsable());
        QVERIFY(Shortcut::defaultSwitchTab().isUsable());
        QVERIFY(Shortcut::defaultOpen() != Shortcut::defaultSwitchTab());
    }

    void toJson_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::newRow("default open") << Shortcut::defaultOpen();
        QTest::newRow("default switch tab") << Shortcut::defaultSwitchTab();
        QTest::newRow("zero") << Shortcut(0, 0);
        QTest::newRow("all four") << Shortcut(126, allFour);
        QTest::newRow("largest") << Shortcut(65535, 0xFFFFFFFFu);
    }

    void toJson()
    {
        QFETCH(Shortcut, shortcut);
        const QByteArray json = shortcut.toJson();

        QJsonParseError error;
        const QJsonDocument document = QJsonDocument::fromJson(json, &error);
        QCOMPARE(error.error, QJsonParseError::NoError);
        QVERIFY(document.isObject());
        const QJsonObject object = document.object();
        QCOMPARE(object.keys(), QStringList({u"keyCode"_qs, u"modifiers"_qs}));
        QVERIFY(object.value(u"keyCode"_qs).isDouble());
        QVERIFY(object.value(u"modifiers"_qs).isDouble());
        QCOMPARE(object.value(u"keyCode"_qs).toInteger(), qint64(shortcut.keyCode()));
        QCOMPARE(object.value(u"modifiers"_qs).toInteger(), qint64(shortcut.modifiers()));

        const auto back = Shortcut::fromJson(json);
        QVERIFY(back);
        QCOMPARE(*back, shortcut);
    }

    void fromJson_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<Shortcut>("expected");
        QTest::newRow("compact") << QByteArray(R"({"keyCode":45,"modifiers":524288})")
                                 << Shortcut::defaultOpen();
        QTest::newRow("spaced and reordered")
            << QByteArray("{\n  \"modifiers\": 262144,\n  \"keyCode\": 48\n}\n")
            << Shortcut::defaultSwitchTab();
        QTest::newRow("whole number written with a fraction")
            << QByteArray(R"({"keyCode":45.0,"modifiers":524288})") << Shortcut::defaultOpen();
        QTest::newRow("unknown keys tolerated")
            << QByteArray(R"({"keyCode":45,"modifiers":524288,"label":"N","v":2})")
            << Shortcut::defaultOpen();
        QTest::newRow("upper bounds") << QByteArray(R"({"keyCode":65535,"modifiers":4294967295})")
                                      << Shortcut(65535, 0xFFFFFFFFu);
        QTest::newRow("zeros") << QByteArray(R"({"keyCode":0,"modifiers":0})") << Shortcut(0, 0);
    }

    void fromJson()
    {
        QFETCH(QByteArray, json);
        QFETCH(Shortcut, expected);
        const auto shortcut = Shortcut::fromJson(json);
        QVERIFY(shortcut);
        QCOMPARE(*shortcut, expected);
    }

    void fromJsonRejects_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("not JSON") << QByteArray("keyCode=45");
        QTest::newRow("truncated") << QByteArray(R"({"keyCode":45,"modifiers":5242)");
        QTest::newRow("trailing garbage") << QByteArray(R"({"keyCode":45,"modifiers":524288} x)");
        QTest::newRow("array") << QByteArray("[45,524288]");
        QTest::newRow("array of object") << QByteArray(R"([{"keyCode":45,"modifiers":524288}])");
        QTest::newRow("empty object") << QByteArray("{}");
        QTest::newRow("missing keyCode") << QByteArray(R"({"modifiers":524288})");
        QTest::newRow("missing modifiers") << QByteArray(R"({"keyCode":45})");
        QTest::newRow("misspelled key") << QByteArray(R"({"keycode":45,"modifiers":524288})");
        QTest::newRow("string keyCode") << QByteArray(R"({"keyCode":"45","modifiers":524288})");
        QTest::newRow("string modifiers") << QByteArray(R"({"keyCode":45,"modifiers":"524288"})");
        QTest::newRow("null keyCode") << QByteArray(R"({"keyCode":null,"modifiers":524288})");
        QTest::newRow("bool modifiers") << QByteArray(R"({"keyCode":45,"modifiers":true})");
        QTest::newRow("negative keyCode") << QByteArray(R"({"keyCode":-1,"modifiers":524288})");
        QTest::newRow("negative modifiers") << QByteArray(R"({"keyCode":45,"modifiers":-1})");
        QTest::newRow("fractional keyCode") << QByteArray(R"({"keyCode":45.5,"modifiers":524288})");
        QTest::newRow("fractional modifiers") << QByteArray(R"({"keyCode":45,"modifiers":0.5})");
        QTest::newRow("keyCode past 16 bits")
            << QByteArray(R"({"keyCode":65536,"modifiers":524288})");
        QTest::newRow("modifiers past 32 bits")
            << QByteArray(R"({"keyCode":45,"modifiers":4294967296})");
        QTest::newRow("huge keyCode") << QByteArray(R"({"keyCode":1e300,"modifiers":524288})");
    }

    void fromJsonRejects()
    {
        QFETCH(QByteArray, json);
        QVERIFY(!Shortcut::fromJson(json));
    }
};

QTEST_APPLESS_MAIN(TestShortcut)
#include "tst_shortcut.moc"
