#include "PanelScreen.h"

#include "XServer.h"

#include <QDir>
#include <QStandardPaths>
#include <QTest>

bool PanelScreen::isBlack(QRgb colour)
{
    return qRed(colour) <= 24 && qGreen(colour) <= 24 && qBlue(colour) <= 24;
}

bool PanelScreen::isBackground(QRgb colour)
{
    return qRed(colour) >= 232 && qGreen(colour) >= 232 && qBlue(colour) >= 232;
}

QList<QPoint> PanelScreen::openProbes(const QRect &window)
{
    using namespace PanelLayout;
    return {window.topLeft() + QPoint(ContentLeft - 8, 200),
            window.topLeft() + QPoint(window.width() - ContentLeft + 8, 300),
            window.topLeft() + QPoint(-10, 200)};
}

bool PanelScreen::isOpen(const XServer &x, const QRect &window)
{
    const QList<QPoint> probes = openProbes(window);
    const auto at = [&x](QPoint point) { return x.pixel(point.x(), point.y()); };
    return isBlack(at(probes[0])) && isBlack(at(probes[1])) && isBackground(at(probes[2]));
}

bool PanelScreen::showsNotch(const XServer &x, const QRect &window)
{
    return isBlack(x.pixel(window.center().x(), window.y() + 10));
}

bool PanelScreen::isClosed(const XServer &x, const QRect &window)
{
    const QList<QPoint> probes = openProbes(window);
    const auto at = [&x](QPoint point) { return x.pixel(point.x(), point.y()); };
    return isBackground(at(probes[0])) && isBackground(at(probes[1]));
}

QString PanelScreen::failure(const XServer &x, const QString &dir, const QRect &window,
                             const QString &what)
{
    QString name = QString::fromLatin1(QTest::currentTestFunction());
    if (const char *row = QTest::currentDataTag(); row && *row)
        name += u'-' + QString::fromLatin1(row).replace(u' ', u'-');
    const QString path = QDir(dir).filePath(name + u"-failed.png"_qs);
    x.grab().save(path);
    QString pixels;
    for (QPoint point : openProbes(window)) {
        pixels += u" (%1,%2)=#%3"_qs.arg(point.x()).arg(point.y()).arg(
            x.pixel(point.x(), point.y()) & 0xffffffu, 6, 16, QLatin1Char('0'));
    }
    return what + u"; screen in "_qs + path + u"; window at "_qs +
           u"%1,%2 %3x%4"_qs.arg(window.x())
               .arg(window.y())
               .arg(window.width())
               .arg(window.height()) +
           u"; pixels"_qs + pixels;
}

void PanelScreen::prepare(const QString &screenshotDir, const QStringList &tools)
{
    QDir screenshots(screenshotDir);
    QVERIFY(screenshots.mkpath(u"."_qs));
    for (const QString &stale : screenshots.entryList({u"*-failed.png"_qs}, QDir::Files))
        screenshots.remove(stale);
    for (const QString &tool : tools) {
        if (QStandardPaths::findExecutable(tool).isEmpty())
            QFAIL(qPrintable(tool + u" is missing (tools/dev test installs it)"_qs));
    }
}
