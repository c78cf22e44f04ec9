#pragma once

#include <QObject>
#include <QRect>
#include <QSize>

class QWindow;
struct wl_surface;
struct zwlr_layer_surface_v1;
struct zwlr_layer_surface_v1_listener;

// One window of ours as a wlr layer surface on the top layer, hung from the top edge of the
// output at a given distance from its left edge, reserving no space. Qt draws into it as into any
// window; the surface's place, input region and keyboard come from here.
class LayerSurface : public QObject {
    Q_OBJECT

public:
    enum class Keyboard { None, Exclusive };

    // Call after window->create() and before the first show(). `scope` names the surface to the
    // compositor (rules in its configuration can refer to it).
    LayerSurface(QWindow *window, const char *scope, QObject *parent = nullptr);
    ~LayerSurface() override;

    // False when the compositor has no layer-shell or the window has no Wayland surface.
    [[nodiscard]] bool isValid() const { return m_layer != nullptr; }

    void setSize(QSize size);
    // From the left edge of the output.
    void setLeft(int left);
    // In the window's coordinates; an empty region lets every click through.
    void setInputRegion(const QRect &area);
    void setKeyboard(Keyboard keyboard);
    [[nodiscard]] Keyboard keyboard() const { return m_keyboard; }

private:
    static void configure(void *data, zwlr_layer_surface_v1 *layer, uint32_t serial, uint32_t width,
                          uint32_t height);
    static void closedByCompositor(void *data, zwlr_layer_surface_v1 *layer);
    static const zwlr_layer_surface_v1_listener s_listener;
    void commit();

    QWindow *m_window;
    wl_surface *m_surface = nullptr;
    zwlr_layer_surface_v1 *m_layer = nullptr;
    QSize m_size;
    int m_left = 0;
    Keyboard m_keyboard = Keyboard::None;
};
