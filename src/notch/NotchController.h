#pragma once

#include "notch/NotchDesktop.h"

#include <QObject>
#include <QPointer>
#include <QUrl>

class BoardStore;
class DesktopOverlay;
class GlobalShortcut;
class NotchBehavior;
class NotchModel;
class QQmlEngine;
class QQuickView;
class QScreen;
class QWindow;
class SensorWindow;

// The panel on the desktop: the content window that hosts the views, the hover sensor over the
// notch, the pointer watch and the hot key, all wired to NotchBehavior, which makes every
// decision. How the windows become part of the desktop is the DesktopOverlay's business, chosen
// for the session. Lives as long as the application.
class NotchController : public QObject, private NotchDesktop {
    Q_OBJECT

public:
    // `rootView` is the QML file shown in the content window; it gets `model` and `store` as
    // required properties.
    NotchController(BoardStore *store, QQmlEngine *engine, const QUrl &rootView = defaultRootView(),
                    QObject *parent = nullptr);
    ~NotchController() override;

    [[nodiscard]] static QUrl defaultRootView();

    [[nodiscard]] NotchModel *model() const { return m_model; }
    [[nodiscard]] NotchBehavior *behavior() const { return m_behavior; }
    [[nodiscard]] QQuickView *panel() const { return m_panel; }
    [[nodiscard]] SensorWindow *sensor() const { return m_sensor; }
    [[nodiscard]] GlobalShortcut *globalShortcut() const { return m_globalShortcut; }

    bool eventFilter(QObject *watched, QEvent *event) override;

private slots:
    void updateMask();

private:
    // NotchDesktop
    [[nodiscard]] std::optional<QPointF> pointerPosition() const override;
    [[nodiscard]] bool anyMouseButtonDown() const override;
    [[nodiscard]] QRectF screenGeometry() const override;
    [[nodiscard]] QRectF availableGeometry() const override;
    void setPanelInteractive(bool interactive, bool focus) override;
    void setExitWatch(bool on) override;

    [[nodiscard]] QScreen *screen() const;
    void relayout();
    void watchScreen(QScreen *screen);
    void updateInputArea();
    void updatePointerWatch();
    void updatePanelGeometry();
    void takeKeyboard();
    void releaseKeyboard();
    void followOpenShortcut();
    // Pointer events on our own windows, for desktops that report nothing else.
    void trackPointer(QWindow *window, QEvent *event);
    void panelActiveChanged();

    QPointer<BoardStore> m_store;
    NotchModel *m_model = nullptr;
    DesktopOverlay *m_overlay = nullptr;
    NotchBehavior *m_behavior = nullptr;
    QQuickView *m_panel = nullptr;
    SensorWindow *m_sensor = nullptr;
    GlobalShortcut *m_globalShortcut = nullptr;
    bool m_interactive = false;
    // Looked up when the panel opens or closes, not on every frame of the shape's animation.
    bool m_compositing = true;
    bool m_exitWatch = false;
    bool m_hasKeyboard = false;
    // A click outside is closing the panel: the clicked window gets the keyboard, not the one
    // that had it before.
    bool m_closingByClick = false;
    // Which of our windows has the pointer and where it was last seen on it, in global
    // coordinates.
    QWindow *m_pointerOver = nullptr;
    QPointF m_lastPointer;
};
