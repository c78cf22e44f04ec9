#include "notch/NotchShape.h"
#include "notch/Spring.h"
#include "notch/Theme.h"

#include <QTest>

#include <cmath>
#include <numbers>

Q_DECLARE_METATYPE(Spring)

class TestTheme : public QObject {
    Q_OBJECT

    static void addSprings()
    {
        QTest::addColumn<Spring>("spring");
        QTest::newRow("open") << Theme::open;
        QTest::newRow("snappy") << Theme::snappy;
        QTest::newRow("close") << Theme::close;
        QTest::newRow("critical") << Spring(0.5, 1.0);
        QTest::newRow("overdamped") << Spring(0.5, 1.6);
        QTest::newRow("bouncy") << Spring(0.6, 0.3);
    }

private slots:
    void namedSprings()
    {
        QCOMPARE(Theme::open, Spring(0.42, 0.78));
        QCOMPARE(Theme::snappy, Spring(0.3, 0.82));
        QCOMPARE(Theme::close, Spring(0.34, 0.9));
    }

    void solvesTheSpringEquation_data() { addSprings(); }
    // The motion solves x'' + 2ζω₀x' + ω₀²(x − 1) = 0 from rest at 0.
    void solvesTheSpringEquation()
    {
        QFETCH(Spring, spring);
        const double w0 = 2 * std::numbers::pi / spring.response();
        const double z = spring.dampingFraction();
        QCOMPARE(spring.value(0), 0.0);
        const double h = 1e-5;
        QVERIFY(std::abs(spring.value(h) - spring.value(0)) < 1e-6); // starts at rest
        for (double t : {0.01, 0.05, 0.1, 0.2, 0.35, 0.7}) {
            const double x = spring.value(t);
            const double v = (spring.value(t + h) - spring.value(t - h)) / (2 * h);
            const double a = (spring.value(t + h) - 2 * x + spring.value(t - h)) / (h * h);
            const double residual = a + 2 * z * w0 * v + w0 * w0 * (x - 1);
            QVERIFY2(std::abs(residual) < 1e-2 * w0 * w0, qPrintable(QString::number(residual)));
        }
    }

    void settles_data() { addSprings(); }
    void settles()
    {
        QFETCH(Spring, spring);
        const double settle = spring.settlingTime();
        QVERIFY(settle > 0 && settle < 3);
        for (double t = settle; t < settle + 2; t += 0.001)
            QVERIFY(std::abs(1 - spring.value(t)) <= 1e-3 + 1e-12);
        QVERIFY(std::abs(1 - spring.value(settle * 0.5)) > 1e-3);
    }

    void easingCurve_data() { addSprings(); }
    void easingCurve()
    {
        QFETCH(Spring, spring);
        const QEasingCurve curve = Theme::easingCurve(spring);
        QCOMPARE(curve.valueForProgress(0), 0.0);
        QCOMPARE(curve.valueForProgress(1), 1.0);
        const bool named =
            spring == Theme::open || spring == Theme::snappy || spring == Theme::close;
        QCOMPARE(curve.type() == QEasingCurve::Custom, named);
        if (named) {
            for (double p : {0.1, 0.25, 0.5, 0.9})
                QCOMPARE(curve.valueForProgress(p), spring.value(p * spring.settlingTime()));
        }
    }

    void overshootOfUnderdampedSprings()
    {
        // The peak of an underdamped step response: 1 + e^(−ζπ/√(1−ζ²)) at t = π/ω_d.
        for (const Spring &spring : {Theme::open, Theme::snappy, Theme::close}) {
            const double z = spring.dampingFraction();
            const double wd = 2 * std::numbers::pi / spring.response() * std::sqrt(1 - z * z);
            const double peak = 1 + std::exp(-z * std::numbers::pi / std::sqrt(1 - z * z));
            QVERIFY(std::abs(spring.value(std::numbers::pi / wd) - peak) < 1e-9);
        }
        // Critical and overdamped springs never pass the target.
        for (const Spring &spring : {Spring(0.5, 1.0), Spring(0.5, 1.6)}) {
            double previous = 0;
            for (double t = 0.001; t < 2; t += 0.001) {
                const double x = spring.value(t);
                QVERIFY(x >= previous && x < 1);
                previous = x;
            }
        }
    }

    void palette()
    {
        QCOMPARE(Theme::panel, QColor(Qt::black));
        // Colours keep 16 bits a channel.
        const auto near = [](float a, float b) { return std::abs(a - b) < 1e-4f; };
        QVERIFY(near(Theme::text.alphaF(), 0.92f));
        QVERIFY(near(Theme::secondary.alphaF(), 0.5f));
        QVERIFY(near(Theme::surface.alphaF(), 0.06f));
        QVERIFY(near(Theme::accent.greenF(), 0.84f));
        QCOMPARE(Theme::lane(LaneKind::Doing), QColor::fromRgbF(1.0f, 0.74f, 0.32f));
        QCOMPARE(Theme::lane(LaneKind::Todo), QColor::fromRgbF(0.55f, 0.66f, 1.0f));
        QCOMPARE(Theme::lane(LaneKind::Done), QColor::fromRgbF(0.42f, 0.86f, 0.56f));
    }

    void notchOutline_data()
    {
        QTest::addColumn<QRectF>("rect");
        QTest::addColumn<qreal>("top");
        QTest::addColumn<qreal>("bottom");
        QTest::newRow("open") << QRectF(40, 0, 780, 380) << NotchShape::openTopRadius
                              << NotchShape::openBottomRadius;
        QTest::newRow("closed") << QRectF(335, 0, 190, 32) << NotchShape::closedTopRadius
                                << NotchShape::closedBottomRadius;
    }
    void notchOutline()
    {
        QFETCH(QRectF, rect);
        QFETCH(qreal, top);
        QFETCH(qreal, bottom);
        const QPainterPath path = NotchShape::path(rect, top, bottom);
        // The top edge spans the whole width; the body is inset by the top radius.
        QCOMPARE(path.boundingRect(), rect);
        QCOMPARE(path.elementAt(0).x, rect.left());
        QCOMPARE(path.elementAt(0).y, rect.top());
        QVERIFY(path.contains(rect.center()));
        QVERIFY(path.contains(QPointF(rect.left() + top + 0.5, rect.center().y())));
        QVERIFY(!path.contains(QPointF(rect.left() + top - 0.5, rect.center().y())));
        QVERIFY(!path.contains(QPointF(rect.right() - top + 0.5, rect.center().y())));
        // The flare: just under the top edge near the corner is inside, lower down it is not.
        QVERIFY(path.contains(QPointF(rect.left() + top * 0.9, rect.top() + 0.05)));
        QVERIFY(!path.contains(QPointF(rect.left() + top * 0.2, rect.top() + top * 0.8)));
        // The rounded bottom corners.
        QVERIFY(!path.contains(QPointF(rect.left() + top + 0.5, rect.bottom() - 0.5)));
        QVERIFY(path.contains(QPointF(rect.left() + top + bottom, rect.bottom() - 0.5)));
        QVERIFY(path.contains(QPointF(rect.center().x(), rect.bottom() - 0.5)));
        // Symmetric.
        const QPointF probe(rect.left() + top + bottom * 0.3, rect.bottom() - bottom * 0.3);
        QCOMPARE(path.contains(probe),
                 path.contains(QPointF(rect.right() - (probe.x() - rect.left()), probe.y())));
    }
};

QTEST_APPLESS_MAIN(TestTheme)
#include "tst_theme.moc"
