#pragma once

#include <QObject>
#include <QPointF>
#include <QRect>

struct wl_buffer;
struct wl_pointer;
struct wl_surface;
struct wp_viewport;
struct zwlr_layer_surface_v1;

// A transparent layer surface over the whole output, under the panel, that takes the clicks
// around the open panel while the panel holds the keyboard. A Wayland program learns of no click
// on other windows, and some compositors (sway before 1.9) never take the keyboard from a
// layer surface that asked for it, so nothing else would tell that the user clicked away.
// Drawn from one transparent pixel stretched by the compositor: it costs no memory to speak of.
class ClickCatcher : public QObject {
    Q_OBJECT

public:
    explicit ClickCatcher(QObject *parent = nullptr);
    ~ClickCatcher() override;

    [[nodiscard]] bool isValid() const { return m_layer != nullptr; }
    // Takes clicks everywhere on the output but in `hole` (output coordinates), or nowhere.
    void catchAround(const QRect &hole);
    void stop();
    [[nodiscard]] bool isCatching() const { return m_catching; }

signals:
    // A button went down over the catcher, at this place on the output.
    void pressed(QPointF position);

private:
    void setInputRegion(const QRect &hole, bool catching);
    void ensurePointer();

    wl_surface *m_surface = nullptr;
    zwlr_layer_surface_v1 *m_layer = nullptr;
    wp_viewport *m_viewport = nullptr;
    wl_buffer *m_buffer = nullptr;
    wl_pointer *m_pointer = nullptr;
    QSize m_size;
    bool m_catching = false;
    bool m_pointerInside = false;
    QPointF m_position;

    friend struct ClickCatcherListeners;
};
