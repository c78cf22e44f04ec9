#include "WaylandKeymap.h"

#include "platform/PlatformLog.h"
#include "platform/WaylandGlobals.h"

#include <QCoreApplication>

#include <sys/mman.h>
#include <unistd.h>

#include <wayland-client.h>

namespace {

// Far more than any real keymap (a few tens of KiB); a larger one is refused, not mapped.
constexpr quint32 maxKeymapSize = 16 * 1024 * 1024;

WaylandKeymap *self(void *data)
{
    return static_cast<WaylandKeymap *>(data);
}

const wl_seat_listener seatListener{
    [](void *data, wl_seat *, uint32_t capabilities) {
        self(data)->seatCapabilities(capabilities);
    },
    [](void *, wl_seat *, const char *) {},
};

const wl_keyboard_listener keyboardListener{
    [](void *data, wl_keyboard *, uint32_t format, int32_t fd, uint32_t size) {
        self(data)->keymap(format, fd, size);
    },
    [](void *, wl_keyboard *, uint32_t, wl_surface *, wl_array *) {},
    [](void *, wl_keyboard *, uint32_t, wl_surface *) {},
    [](void *, wl_keyboard *, uint32_t, uint32_t, uint32_t, uint32_t) {},
    [](void *data, wl_keyboard *, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t group) {
        self(data)->modifiers(group);
    },
    [](void *, wl_keyboard *, int32_t, int32_t) {},
};

} // namespace

WaylandKeymap::WaylandKeymap(QObject *parent) : QObject(parent)
{
    m_seat =
        static_cast<wl_seat *>(WaylandGlobals::bindAnother(&wl_seat_interface, 5, &m_seatVersion));
    if (m_seat)
        wl_seat_add_listener(m_seat, &seatListener, this);
}

WaylandKeymap::~WaylandKeymap()
{
    releaseKeyboard();
    if (m_seat) {
        if (m_seatVersion >= WL_SEAT_RELEASE_SINCE_VERSION)
            wl_seat_release(m_seat);
        else
            wl_seat_destroy(m_seat);
    }
}

WaylandKeymap *WaylandKeymap::instance()
{
    static WaylandKeymap *keymap = new WaylandKeymap(QCoreApplication::instance());
    return keymap;
}

void WaylandKeymap::seatCapabilities(quint32 capabilities)
{
    const bool hasKeyboard = capabilities & WL_SEAT_CAPABILITY_KEYBOARD;
    if (hasKeyboard && !m_keyboard) {
        m_keyboard = wl_seat_get_keyboard(m_seat);
        wl_keyboard_add_listener(m_keyboard, &keyboardListener, this);
    } else if (!hasKeyboard) {
        // The last keyboard went away; its keymap stays the best guess for the next one.
        releaseKeyboard();
    }
}

void WaylandKeymap::releaseKeyboard()
{
    if (!m_keyboard)
        return;
    if (m_seatVersion >= WL_KEYBOARD_RELEASE_SINCE_VERSION)
        wl_keyboard_release(m_keyboard);
    else
        wl_keyboard_destroy(m_keyboard);
    m_keyboard = nullptr;
}

void WaylandKeymap::keymap(quint32 format, int fd, quint32 size)
{
    QByteArray text;
    if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0 && size <= maxKeymapSize) {
        // Private: from version 7 of the seat the compositor may share one read-only mapping.
        void *mapped = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
        if (mapped != MAP_FAILED) {
            // The text ends in a NUL, which the size counts.
            text = QByteArray(static_cast<const char *>(mapped),
                              qstrnlen(static_cast<const char *>(mapped), size));
            munmap(mapped, size);
        }
    }
    close(fd);
    // A keyboard without a keymap of its own says so; nothing to name keys by.
    if (format == WL_KEYBOARD_KEYMAP_FORMAT_NO_KEYMAP)
        return;
    if (text.isEmpty()) {
        qCWarning(lcPlatform,
                  "the Wayland compositor sent a keymap that cannot be read (format %u, "
                  "%u bytes); key names keep the previous layout",
                  format, size);
        return;
    }
    if (text == m_text)
        return;
    m_text = text;
    emit changed();
}

void WaylandKeymap::modifiers(quint32 group)
{
    if (group == m_group)
        return;
    m_group = group;
    if (!m_text.isEmpty())
        emit changed();
}
