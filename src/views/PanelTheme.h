#pragma once

#include <QColor>
#include <QEasingCurve>
#include <QObject>
#include <QtQml/qqml.h>

// Theme as QML sees it: the palette, and each named spring as a duration (its settling time)
// with the easing curve that follows the spring over that time. A few colours that only the
// views need live here, so that no view defines one of its own.
class PanelTheme : public QObject {
    Q_OBJECT
    QML_NAMED_ELEMENT(Theme)
    QML_SINGLETON
    Q_PROPERTY(QColor panel READ panel CONSTANT)
    Q_PROPERTY(QColor surface READ surface CONSTANT)
    Q_PROPERTY(QColor surfaceHover READ surfaceHover CONSTANT)
    Q_PROPERTY(QColor hairline READ hairline CONSTANT)
    Q_PROPERTY(QColor text READ text CONSTANT)
    Q_PROPERTY(QColor secondary READ secondary CONSTANT)
    Q_PROPERTY(QColor accent READ accent CONSTANT)
    Q_PROPERTY(QColor laneTodo READ laneTodo CONSTANT)
    Q_PROPERTY(QColor laneDoing READ laneDoing CONSTANT)
    Q_PROPERTY(QColor laneDone READ laneDone CONSTANT)
    Q_PROPERTY(QColor shadow READ shadow CONSTANT)
    Q_PROPERTY(QColor ringTrack READ ringTrack CONSTANT)
    Q_PROPERTY(QColor badgeSymbol READ badgeSymbol CONSTANT)
    Q_PROPERTY(QColor toolTip READ toolTip CONSTANT)
    Q_PROPERTY(QColor warning READ warning CONSTANT)
    Q_PROPERTY(QColor switchOff READ switchOff CONSTANT)
    Q_PROPERTY(QColor knob READ knob CONSTANT)

    Q_PROPERTY(int openDuration READ openDuration CONSTANT)
    Q_PROPERTY(QEasingCurve openEasing READ openEasing CONSTANT)
    Q_PROPERTY(int snappyDuration READ snappyDuration CONSTANT)
    Q_PROPERTY(QEasingCurve snappyEasing READ snappyEasing CONSTANT)
    Q_PROPERTY(int closeDuration READ closeDuration CONSTANT)
    Q_PROPERTY(QEasingCurve closeEasing READ closeEasing CONSTANT)
    Q_PROPERTY(qreal tabSwapScale READ tabSwapScale CONSTANT)

public:
    explicit PanelTheme(QObject *parent = nullptr);

    [[nodiscard]] static QColor panel();
    [[nodiscard]] static QColor surface();
    [[nodiscard]] static QColor surfaceHover();
    [[nodiscard]] static QColor hairline();
    [[nodiscard]] static QColor text();
    [[nodiscard]] static QColor secondary();
    [[nodiscard]] static QColor accent();
    [[nodiscard]] static QColor laneTodo();
    [[nodiscard]] static QColor laneDoing();
    [[nodiscard]] static QColor laneDone();
    // The accent of a lane by its kind's raw value ("todo", "doing", "done"); the secondary
    // colour for anything else.
    Q_INVOKABLE static QColor lane(const QString &kind);
    // The panel's drop shadow and the glow of the wings' dot take their colour from these.
    [[nodiscard]] static QColor shadow();
    // The unfilled part of the progress ring.
    [[nodiscard]] static QColor ringTrack();
    // The symbol on the coloured badge before the title.
    [[nodiscard]] static QColor badgeSymbol();
    // Behind tooltips: opaque, a little lighter than the panel.
    [[nodiscard]] static QColor toolTip();
    // Text that reports something refused or failed, readable on the panel.
    [[nodiscard]] static QColor warning();
    // A switch's track while off, and its knob.
    [[nodiscard]] static QColor switchOff();
    [[nodiscard]] static QColor knob();

    // Milliseconds.
    [[nodiscard]] static int openDuration();
    [[nodiscard]] static QEasingCurve openEasing();
    [[nodiscard]] static int snappyDuration();
    [[nodiscard]] static QEasingCurve snappyEasing();
    [[nodiscard]] static int closeDuration();
    [[nodiscard]] static QEasingCurve closeEasing();
    [[nodiscard]] static qreal tabSwapScale();
};
