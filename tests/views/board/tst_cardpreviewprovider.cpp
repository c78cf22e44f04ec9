#include "CardPreviewProvider.h"

#include <QGuiApplication>
#include <QTest>

class TestCardPreviewProvider : public QObject {
    Q_OBJECT

    static QString idOf(const QString &text)
    {
        const QUrl url = CardPreviewProvider::source(text);
        return url.path().mid(1);
    }

private slots:
    void textComesBackFromTheUrl_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("plain") << u"Call Anna"_qs;
        QTest::newRow("url characters") << u"50% off? #tag &more /path"_qs;
        QTest::newRow("non-Latin") << u"Позвонить маме 🌱"_qs;
    }

    // The plate grows with the text, is the grey of a lifted card, and keeps its corners clear.
    void textComesBackFromTheUrl()
    {
        QFETCH(QString, text);
        CardPreviewProvider provider;
        QSize size;
        const QImage image = provider.requestImage(idOf(text), &size, {});
        QVERIFY(!image.isNull());
        QCOMPARE(image.size(), size);
        QVERIFY(size.width() > 20);
        QCOMPARE(image.pixelColor(0, 0).alpha(), 0);
        const QColor plate = image.pixelColor(4, size.height() / 2);
        QCOMPARE(plate.alpha(), 255);
        QVERIFY(qAbs(plate.redF() - 0.18) < 0.01);

        const QImage shorter = provider.requestImage(idOf(u"A"_qs), nullptr, {});
        QVERIFY(shorter.width() < image.width());
        QCOMPARE(shorter.height(), image.height());
    }

    void longTextIsCut()
    {
        CardPreviewProvider provider;
        const QImage image = provider.requestImage(idOf(QString(2000, u'w')), nullptr, {});
        QVERIFY(image.width() <= CardPreviewProvider::maximumTextWidth + 20);
    }
};

QTEST_MAIN(TestCardPreviewProvider)
#include "tst_cardpreviewprovider.moc"
