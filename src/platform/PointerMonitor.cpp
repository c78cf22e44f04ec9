#include "PointerMonitor.h"

#include "platform/XcbEventSource.h"
#include "platform/XcbReply.h"

#include <QGuiApplication>

#include <xcb/xcb.h>
#include <xcb/xinput.h>

namespace {

constexpr quint16 anyButtonMask = XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3 |
                                  XCB_BUTTON_MASK_4 | XCB_BUTTON_MASK_5;

} // namespace

PointerMonitor::PointerMonitor(QObject *parent)
    : QObject(parent), m_source(new XcbEventSource(
                           [this](const xcb_generic_event_t &event) { handle(event); }, this))
{
    xcb_connection_t *c = m_source->connection();
    if (!c)
        return;
    const xcb_query_extension_reply_t *extension = xcb_get_extension_data(c, &xcb_input_id);
    if (!extension || !extension->present)
        return;
    // Raw events on the root window arrived with XInput 2.2.
    XcbReply<xcb_input_xi_query_version_reply_t> version(
        xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
    if (!version || version->major_version < 2 ||
        (version->major_version == 2 && version->minor_version < 2))
        return;
    m_opcode = extension->major_opcode;
}

void PointerMonitor::watch(bool buttons, bool motion)
{
    if (!isAvailable() || (buttons == m_buttons && motion == m_motion))
        return;
    m_buttons = buttons;
    m_motion = motion;
    quint32 mask = 0;
    if (buttons)
        mask |=
            XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_PRESS | XCB_INPUT_XI_EVENT_MASK_RAW_BUTTON_RELEASE;
    if (motion)
        mask |= XCB_INPUT_XI_EVENT_MASK_RAW_MOTION;
    struct {
        xcb_input_event_mask_t head;
        quint32 mask;
    } selection{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, mask};
    xcb_input_xi_select_events(m_source->connection(), m_source->root(), 1, &selection.head);
    xcb_flush(m_source->connection());
}

bool PointerMonitor::anyButtonDown() const
{
    xcb_connection_t *c = m_source->connection();
    if (!c)
        return QGuiApplication::mouseButtons() != Qt::NoButton;
    XcbReply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(c, xcb_query_pointer(c, m_source->root()), nullptr));
    return pointer && (pointer->mask & anyButtonMask) != 0;
}

void PointerMonitor::handle(const xcb_generic_event_t &event)
{
    if (!isAvailable() || (event.response_type & 0x7f) != XCB_GE_GENERIC)
        return;
    const auto &generic = reinterpret_cast<const xcb_ge_generic_event_t &>(event);
    if (generic.extension != m_opcode)
        return;
    // Events still queued from before a deselection are stale.
    switch (generic.event_type) {
    case XCB_INPUT_RAW_BUTTON_PRESS:
    case XCB_INPUT_RAW_BUTTON_RELEASE: {
        const auto &raw = reinterpret_cast<const xcb_input_raw_button_press_event_t &>(event);
        // Buttons 4 to 7 are wheel steps, not clicks.
        if (!m_buttons || (raw.detail >= 4 && raw.detail <= 7))
            break;
        if (generic.event_type == XCB_INPUT_RAW_BUTTON_PRESS)
            emit buttonPressed();
        else
            emit buttonReleased();
        break;
    }
    case XCB_INPUT_RAW_MOTION:
        if (m_motion)
            emit moved();
        break;
    default:
        break;
    }
}
