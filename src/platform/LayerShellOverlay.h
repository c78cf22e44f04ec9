#pragma once

#include "platform/DesktopOverlay.h"

#include <QHash>

class ClickCatcher;
class LayerSurface;

// The panel's windows as layer surfaces of a Wayland compositor (KWin, sway and the other
// wlroots compositors): on the top layer, above ordinary windows and below full-screen ones,
// hung from the top edge of the output. The keyboard is the compositor's to give: the surface
// asks for it only while the panel needs it.
class LayerShellOverlay : public DesktopOverlay {
    Q_OBJECT

public:
    explicit LayerShellOverlay(QObject *parent = nullptr);

    void prepare(QWindow *window, Role role) override;
    void place(QWindow *window, const QRect &geometry) override;
    void setInputArea(QWindow *window, const QRect &area) override;
    void takeKeyboard(QWindow *window) override;
    void releaseKeyboard(QWindow *window, bool byClick) override;
    [[nodiscard]] QPointF mapToGlobal(const QWindow *window, QPointF local) const override;
    [[nodiscard]] bool seesWholeDesktop() const override { return false; }

private:
    struct Placed {
        LayerSurface *surface = nullptr;
        QRect geometry;
        QRect inputArea; // in the window's coordinates
    };
    QHash<const QWindow *, Placed> m_windows;
    ClickCatcher *m_clicks = nullptr;
};
