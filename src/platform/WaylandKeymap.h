#pragma once

#include <QByteArray>
#include <QObject>

struct wl_keyboard;
struct wl_seat;

// The keymap and the active layout group of the seat's keyboard, as the Wayland compositor
// hands them to its clients. Qt keeps its own copy private, so this listens on a keyboard of its
// own. The compositor sends every client the keymap when the keyboard or its layouts change; the
// group comes with the modifiers, and only while one of our surfaces has the keyboard (the
// compositor repeats it as the surface gets it). Inert away from Wayland.
class WaylandKeymap : public QObject {
    Q_OBJECT

public:
    explicit WaylandKeymap(QObject *parent = nullptr);
    ~WaylandKeymap() override;

    // The one of the application, made on first use. Main thread only.
    [[nodiscard]] static WaylandKeymap *instance();

    // The keymap in XKB's text format; empty until the compositor has sent one.
    [[nodiscard]] QByteArray text() const { return m_text; }
    // The locked layout group, 0 for the first.
    [[nodiscard]] quint32 group() const { return m_group; }

    // Wayland's callbacks, forwarded.
    void seatCapabilities(quint32 capabilities);
    void keymap(quint32 format, int fd, quint32 size);
    void modifiers(quint32 group);

signals:
    void changed();

private:
    void releaseKeyboard();

    wl_seat *m_seat = nullptr;
    wl_keyboard *m_keyboard = nullptr;
    quint32 m_seatVersion = 0;
    QByteArray m_text;
    quint32 m_group = 0;
};
