#include "notch/Theme.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QTest>
#include <QtQml/qqmlextensionplugin.h>

#include <cmath>
#include <memory>

Q_IMPORT_QML_PLUGIN(TallowfernPlugin)

Q_DECLARE_METATYPE(Spring)

// Theme as the views see it in QML.
class TestPanelTheme : public QObject {
    Q_OBJECT

    QQmlEngine m_engine;

    QVariant read(const QString &expression)
    {
        QQmlComponent component(&m_engine);
        component.setData(
            ("import QtQml\nimport Tallowfern\nQtObject { property var value: " + expression + " }")
                .toUtf8(),
            QUrl());
        std::unique_ptr<QObject> object(component.create());
        if (!object) {
            qWarning() << component.errorString();
            return {};
        }
        return object->property("value");
    }

private slots:
    void initTestCase() { m_engine.addImportPath(u"qrc:/qt/qml"_qs); }

    void palette_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QColor>("color");
        QTest::newRow("panel") << u"panel"_qs << Theme::panel;
        QTest::newRow("surface") << u"surface"_qs << Theme::surface;
        QTest::newRow("surfaceHover") << u"surfaceHover"_qs << Theme::surfaceHover;
        QTest::newRow("hairline") << u"hairline"_qs << Theme::hairline;
        QTest::newRow("text") << u"text"_qs << Theme::text;
        QTest::newRow("secondary") << u"secondary"_qs << Theme::secondary;
        QTest::newRow("accent") << u"accent"_qs << Theme::accent;
        QTest::newRow("laneTodo") << u"laneTodo"_qs << Theme::lane(LaneKind::Todo);
        QTest::newRow("laneDoing") << u"laneDoing"_qs << Theme::lane(LaneKind::Doing);
        QTest::newRow("laneDone") << u"laneDone"_qs << Theme::lane(LaneKind::Done);
        QTest::newRow("ringTrack") << u"ringTrack"_qs << QColor::fromRgbF(1, 1, 1, 0.12f);
        QTest::newRow("badgeSymbol") << u"badgeSymbol"_qs << QColor::fromRgbF(0, 0, 0, 0.75f);
        QTest::newRow("warning") << u"warning"_qs << QColor::fromRgbF(1.0f, 0.56f, 0.47f);
        QTest::newRow("switchOff") << u"switchOff"_qs << QColor::fromRgbF(1, 1, 1, 0.14f);
        QTest::newRow("knob") << u"knob"_qs << QColor(Qt::white);
    }
    void palette()
    {
        QFETCH(QString, name);
        QFETCH(QColor, color);
        const QVariant value = read(u"Theme."_qs + name);
        QCOMPARE(value.metaType(), QMetaType::fromType<QColor>());
        QCOMPARE(value.value<QColor>(), color);
    }

    void springs_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<Spring>("spring");
        QTest::newRow("open") << u"open"_qs << Theme::open;
        QTest::newRow("snappy") << u"snappy"_qs << Theme::snappy;
        QTest::newRow("close") << u"close"_qs << Theme::close;
    }
    // Each spring is its settling time and an easing curve that follows the spring over it.
    void springs()
    {
        QFETCH(QString, name);
        QFETCH(Spring, spring);
        const int duration = read(u"Theme."_qs + name + u"Duration"_qs).toInt();
        QCOMPARE(duration, int(std::ceil(spring.settlingTime() * 1000)));
        const QVariant easing = read(u"Theme."_qs + name + u"Easing"_qs);
        QCOMPARE(easing.metaType(), QMetaType::fromType<QEasingCurve>());
        const QEasingCurve curve = easing.value<QEasingCurve>();
        QCOMPARE(curve.type(), QEasingCurve::Custom);
        for (double p : {0.1, 0.3, 0.6})
            QCOMPARE(curve.valueForProgress(p), spring.value(p * spring.settlingTime()));
        QCOMPARE(curve.valueForProgress(1), 1.0);
    }

    void tabSwapScale() { QCOMPARE(read(u"Theme.tabSwapScale"_qs).toReal(), 0.985); }
};

QTEST_MAIN(TestPanelTheme)
#include "tst_paneltheme.moc"
