#include "XcbEventSource.h"

#include "platform/XcbReply.h"

#include <QAbstractEventDispatcher>
#include <QGuiApplication>
#include <QSocketNotifier>

#include <xcb/xcb.h>

XcbEventSource::XcbEventSource(std::function<void(const xcb_generic_event_t &)> handler,
                               QObject *parent)
    : QObject(parent), m_handler(std::move(handler))
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
    auto *notifier =
        new QSocketNotifier(xcb_get_file_descriptor(m_connection), QSocketNotifier::Read, this);
    connect(notifier, &QSocketNotifier::activated, this, [this] { drain(true); });
    // A reply read on the way may have queued events behind it without the socket turning
    // readable again: look once more before the loop sleeps.
    if (auto *dispatcher = QAbstractEventDispatcher::instance())
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this,
                [this] { drain(false); });
}

XcbEventSource::~XcbEventSource()
{
    if (m_connection)
        xcb_disconnect(m_connection);
}

void XcbEventSource::drain(bool readSocket)
{
    while (xcb_generic_event_t *event = readSocket ? xcb_poll_for_event(m_connection)
                                                   : xcb_poll_for_queued_event(m_connection)) {
        const XcbReply<xcb_generic_event_t> owned(event);
        m_handler(*event);
    }
}
