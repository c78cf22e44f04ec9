#include "PointerMonitor.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QSocketNotifier>

#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <cstdlib>
#include <memory>

namespace {

struct FreeDeleter {
    void operator()(void *p) const { std::free(p); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

constexpr quint16 anyButtonMask = XCB_BUTTON_MASK_1 | XCB_BUTTON_MASK_2 | XCB_BUTTON_MASK_3 |
                                  XCB_BUTTON_MASK_4 | XCB_BUTTON_MASK_5;

} // namespace

PointerMonitor::PointerMonitor(QObject *parent) : QObject(parent)
{
    if (QGuiApplication::platformName() != u"xcb")
        return;
    m_connection = xcb_connect(nullptr, nullptr);
    if (xcb_connection_has_error(m_connection)) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
        return;
    }
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    const xcb_query_extension_reply_t *extension =
        xcb_get_extension_data(m_connection, &xcb_input_id);
    if (!extension || !extension->present)
        return;
    // Raw events on the root window arrived with XInput 2.2.
    Reply<xcb_input_xi_query_version_reply_t> version(xcb_input_xi_query_version_reply(
        m_connection, xcb_input_xi_query_version(m_connection, 2, 2), nullptr));
    if (!version || version->major_version < 2 ||
        (version->major_version == 2 && version->minor_version < 2))
        return;
    m_opcode = extension->major_opcode;

    m_notifier =
        new QSocketNotifier(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, [this] { drain(true); });
    // A reply read on the way may have queued events behind it without the socket turning
    // readable again: look once more before the loop sleeps.
    if (auto *dispatcher = QAbstractEventDispatcher::instance())
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this,
                [this] { drain(false); });
}

PointerMonitor::~PointerMonitor()
{
    if (m_connection)
        xcb_disconnect(m_connection);
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
    xcb_input_xi_select_events(m_connection, m_root, 1, &selection.head);
    xcb_flush(m_connection);
}

bool PointerMonitor::anyButtonDown() const
{
    if (!m_connection)
        return QGuiApplication::mouseButtons() != Qt::NoButton;
    Reply<xcb_query_pointer_reply_t> pointer(
        xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr));
    return pointer && (pointer->mask & anyButtonMask) != 0;
}

void PointerMonitor::drain(bool readSocket)
{
    if (!isAvailable())
        return;
    while (xcb_generic_event_t *event = readSocket ? xcb_poll_for_event(m_connection)
                                                   : xcb_poll_for_queued_event(m_connection)) {
        std::unique_ptr<xcb_generic_event_t, FreeDeleter> owned(event);
        if ((event->response_type & 0x7f) != XCB_GE_GENERIC)
            continue;
        const auto *generic = reinterpret_cast<const xcb_ge_generic_event_t *>(event);
        if (generic->extension != m_opcode)
            continue;
        // Events still queued from before a deselection are stale.
        switch (generic->event_type) {
        case XCB_INPUT_RAW_BUTTON_PRESS:
        case XCB_INPUT_RAW_BUTTON_RELEASE: {
            const auto *raw = reinterpret_cast<const xcb_input_raw_button_press_event_t *>(event);
            // Buttons 4 to 7 are wheel steps, not clicks.
            if (!m_buttons || (raw->detail >= 4 && raw->detail <= 7))
                break;
            if (generic->event_type == XCB_INPUT_RAW_BUTTON_PRESS)
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
}
