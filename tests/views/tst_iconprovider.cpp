#include "IconProvider.h"

#include <QQmlComponent>
#include <QQmlEngine>
#include <QQuickItem>
#include <QTest>

namespace {

// The pixels the icon covers, and whether all of them have `color` and no more than its alpha.
struct Coverage {
    int covered = 0;
    bool onlyColor = true;
};

Coverage coverage(const QImage &image, const QColor &color)
{
    Coverage result;
    const QImage straight = image.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < straight.height(); ++y) {
        for (int x = 0; x < straight.width(); ++x) {
            const QRgb pixel = straight.pixel(x, y);
            if (qAlpha(pixel) == 0)
                continue;
            ++result.covered;
            // Faint edge pixels lose precision when premultiplied.
            const int tolerance = qAlpha(pixel) > 128 ? 2 : 40;
            if (std::abs(qRed(pixel) - color.red()) > tolerance ||
                std::abs(qGreen(pixel) - color.green()) > tolerance ||
                std::abs(qBlue(pixel) - color.blue()) > tolerance ||
                qAlpha(pixel) > color.alpha() + 1)
                result.onlyColor = false;
        }
    }
    return result;
}

} // namespace

class TestIconProvider : public QObject {
    Q_OBJECT

private slots:
    // Every icon the views name is compiled in.
    void everyIconIsThere_data()
    {
        QTest::addColumn<QString>("name");
        for (const QString &name : QStringLiteral(TALLOWFERN_ICONS).split(u','))
            QTest::newRow(qPrintable(name)) << name;
    }
    void everyIconIsThere()
    {
        QFETCH(QString, name);
        QVERIFY(!IconProvider::resourcePath(name).isEmpty());
        IconProvider provider;
        QSize size;
        const QImage image = provider.requestImage(name, &size, QSize(24, 24));
        QCOMPARE(image.size(), QSize(24, 24));
        QCOMPARE(size, QSize(24, 24));
        QVERIFY(coverage(image, Qt::black).covered > 10);
    }

    void unknownIconsGiveNothing()
    {
        IconProvider provider;
        QSize size(-1, -1);
        QVERIFY(provider.requestImage(u"no-such-icon?color=#ffffff"_qs, &size, {}).isNull());
        QCOMPARE(size, QSize(-1, -1));
        QVERIFY(IconProvider::resourcePath(u"no-such-icon"_qs).isEmpty());
        // Icons of the set that the views do not use are not compiled in.
        QVERIFY(IconProvider::resourcePath(u"airplane"_qs).isEmpty());
    }

    void recolours_data()
    {
        QTest::addColumn<QString>("id");
        QTest::addColumn<QColor>("color");
        QTest::newRow("text colour")
            << u"gear-fill?color=#ebffffff"_qs << QColor::fromRgba(qRgba(255, 255, 255, 0xeb));
        QTest::newRow("percent-encoded") << u"gear?color=%23ff0000"_qs << QColor(Qt::red);
        QTest::newRow("named") << u"sun-fill?color=orange"_qs << QColor(u"orange"_qs);
        QTest::newRow("no colour") << u"push-pin"_qs << QColor(Qt::black);
        QTest::newRow("bad colour") << u"push-pin?color=nonsense"_qs << QColor(Qt::black);
    }
    void recolours()
    {
        QFETCH(QString, id);
        QFETCH(QColor, color);
        IconProvider provider;
        const QImage image = provider.requestImage(id, nullptr, QSize(32, 32));
        const Coverage result = coverage(image, color);
        QVERIFY(result.covered > 20);
        QVERIFY(result.onlyColor);
    }

    void sizes_data()
    {
        QTest::addColumn<QSize>("requested");
        QTest::addColumn<QSize>("expected");
        QTest::newRow("none") << QSize()
                              << QSize(IconProvider::defaultSize, IconProvider::defaultSize);
        QTest::newRow("width only") << QSize(20, 0) << QSize(20, 20);
        QTest::newRow("height only") << QSize(-1, 12) << QSize(12, 12);
        QTest::newRow("both") << QSize(28, 28) << QSize(28, 28);
    }
    void sizes()
    {
        QFETCH(QSize, requested);
        IconProvider provider;
        QSize size;
        const QImage image = provider.requestImage(u"calendar-blank"_qs, &size, requested);
        QTEST(image.size(), "expected");
        QTEST(size, "expected");
    }

    // The filled variants are different pictures, and cover more.
    void filledVariantsFillIn()
    {
        IconProvider provider;
        for (const QString &name : {u"gear"_qs, u"push-pin"_qs}) {
            const QImage regular = provider.requestImage(name, nullptr, QSize(32, 32));
            const QImage filled = provider.requestImage(name + u"-fill"_qs, nullptr, QSize(32, 32));
            QVERIFY(regular != filled);
            QVERIFY(coverage(filled, Qt::black).covered > coverage(regular, Qt::black).covered);
        }
    }

    // Installed on an engine, QML images load the icons by URL.
    void servesQmlImages()
    {
        QQmlEngine engine;
        IconProvider::install(&engine);
        QQmlComponent component(&engine);
        component.setData("import QtQuick\n"
                          "Image { sourceSize.width: 18; sourceSize.height: 18;"
                          " source: 'image://icon/caret-left?color=#80ffffff' }",
                          QUrl());
        std::unique_ptr<QObject> image(component.create());
        QVERIFY2(image, qPrintable(component.errorString()));
        QTRY_COMPARE(image->property("status").toInt(), 1); // Image.Ready
        QCOMPARE(image->property("implicitWidth").toReal(), 18.0);
    }
};

QTEST_MAIN(TestIconProvider)
#include "tst_iconprovider.moc"
