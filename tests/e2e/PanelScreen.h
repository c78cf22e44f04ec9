#pragma once

#include <QList>
#include <QPoint>
#include <QRect>
#include <QRgb>
#include <QString>

class XServer;

// The open panel as the views lay it out in its 860 wide window: the shape is 780 wide and
// centred, its body starts 14 in from the flared top corners, and its content sits 32 in from the
// shape's sides, the header on top and the tab's view 10 below it.
namespace PanelLayout {
constexpr int WindowWidth = 860;
constexpr int ShapeWidth = 780;
constexpr int ShapeHeight = 380;
constexpr int ContentLeft = (WindowWidth - ShapeWidth) / 2 + 32;
constexpr int ContentWidth = ShapeWidth - 64;
constexpr int HeaderHeight = 40;
constexpr int TabGap = 10;
constexpr int TabTop = HeaderHeight + TabGap;
constexpr int TabHeight = ShapeHeight - 18 - TabTop;
// Where the pointer goes to be nowhere near the panel.
constexpr QPoint FarAway{960, 900};
} // namespace PanelLayout

// What the screen of a private X server, whose root is white, says about the panel's window.
class PanelScreen {
public:
    PanelScreen() = delete;

    [[nodiscard]] static bool isBlack(QRgb colour);
    [[nodiscard]] static bool isBackground(QRgb colour);
    // Inside the open shape's body, away from anything drawn on it, and beside the window.
    [[nodiscard]] static QList<QPoint> openProbes(const QRect &window);
    [[nodiscard]] static bool isOpen(const XServer &x, const QRect &window);
    // The closed notch is drawn at the top centre of the window.
    [[nodiscard]] static bool showsNotch(const XServer &x, const QRect &window);
    // The open body's places show the background again.
    [[nodiscard]] static bool isClosed(const XServer &x, const QRect &window);

    // For a failed check: saves the screen into `dir` as "<test>[-<row>]-failed.png" and says
    // where, with the window and the probes' pixels.
    [[nodiscard]] static QString failure(const XServer &x, const QString &dir, const QRect &window,
                                         const QString &what);
    // Before the first test: screenshots of earlier failures would only mislead, and a missing
    // tool fails the run with its name.
    static void prepare(const QString &screenshotDir, const QStringList &tools);
};
