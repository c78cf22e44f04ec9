#include "HotKey.h"

#include "platform/KeyCodeTable.h"
#include "platform/KeyboardLayout.h"
#include "platform/PlatformLog.h"
#include "platform/ShortcutKeys.h"
#include "platform/ShortcutNotation.h"
#include "platform/X11Application.h"
#include "platform/XcbReply.h"

#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <xcb/xcb.h>

namespace {

constexpr quint32 keysymNumLock = 0xff7f;
constexpr quint32 keysymScrollLock = 0xff14;
constexpr quint16 relevantMask =
    XCB_MOD_MASK_SHIFT | XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1 | XCB_MOD_MASK_4;

// The modifier bit that a lock key sets, read from the server's mapping: NumLock is usually Mod2,
// but nothing guarantees it.
quint16 maskOf(xcb_connection_t *c, quint32 keysym)
{
    const xcb_setup_t *setup = xcb_get_setup(c);
    const quint8 first = setup->min_keycode;
    const quint8 count = quint8(setup->max_keycode - setup->min_keycode + 1);
    XcbReply<xcb_get_keyboard_mapping_reply_t> keys(
        xcb_get_keyboard_mapping_reply(c, xcb_get_keyboard_mapping(c, first, count), nullptr));
    XcbReply<xcb_get_modifier_mapping_reply_t> modifiers(
        xcb_get_modifier_mapping_reply(c, xcb_get_modifier_mapping(c), nullptr));
    if (!keys || !modifiers)
        return 0;
    const xcb_keysym_t *syms = xcb_get_keyboard_mapping_keysyms(keys.get());
    const int perKey = keys->keysyms_per_keycode;
    const xcb_keycode_t *modKeys = xcb_get_modifier_mapping_keycodes(modifiers.get());
    const int perModifier = modifiers->keycodes_per_modifier;
    for (int modifier = 0; modifier < 8; ++modifier) {
        for (int k = 0; k < perModifier; ++k) {
            const xcb_keycode_t code = modKeys[modifier * perModifier + k];
            if (code < first || code >= first + count)
                continue;
            for (int level = 0; level < perKey; ++level) {
                if (syms[(code - first) * perKey + level] == keysym)
                    return quint16(1u << modifier);
            }
        }
    }
    return 0;
}

} // namespace

HotKey::HotKey(std::function<void()> action, QObject *parent)
    : GlobalShortcutBackend(parent), m_action(std::move(action))
{
    if (auto *x11 = x11Application())
        m_connection = x11->connection();
    if (!m_connection)
        return;
    m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    QCoreApplication::instance()->installNativeEventFilter(this);
}

HotKey::~HotKey()
{
    unregister();
    if (m_connection)
        QCoreApplication::instance()->removeNativeEventFilter(this);
}

QString HotKey::name() const
{
    return u"X11 key grab"_qs;
}

void HotKey::bind(const Shortcut &shortcut)
{
    if (!m_connection) {
        setStatus(Status::Unavailable);
        return;
    }
    if (registerShortcut(shortcut)) {
        setStatus(Status::Bound);
        return;
    }
    const QString label = ShortcutNotation::label(shortcut, KeyboardLayout::current());
    qCWarning(lcShortcut, "X11 refused to grab %s: another program holds it", qPrintable(label));
    setStatus(Status::Refused, u"%1 is already taken by another program."_qs.arg(label));
}

void HotKey::unbind()
{
    unregister();
    if (m_connection)
        setStatus(Status::Unbound);
}

QList<quint16> HotKey::lockCombinations() const
{
    const quint16 locks[] = {XCB_MOD_MASK_LOCK, maskOf(m_connection, keysymNumLock),
                             maskOf(m_connection, keysymScrollLock)};
    QList<quint16> combinations{0};
    for (quint16 lock : locks) {
        if (lock == 0 || (lock & relevantMask))
            continue;
        const qsizetype n = combinations.size();
        for (qsizetype i = 0; i < n; ++i)
            combinations.append(combinations[i] | lock);
    }
    return combinations;
}

bool HotKey::registerShortcut(const Shortcut &shortcut)
{
    unregister();
    const auto keycode = KeyCodeTable::x11For(shortcut.keyCode());
    if (!m_connection || !keycode || *keycode > 255)
        return false;
    const quint16 modifiers = ShortcutKeys::x11Modifiers(shortcut);
    QList<xcb_void_cookie_t> cookies;
    const QList<quint16> combinations = lockCombinations();
    for (quint16 lock : combinations)
        // Not owner_events: the key comes to the root window even when one of our own windows
        // has the keyboard, so that the same key also closes the pinned panel.
        cookies.append(xcb_grab_key_checked(m_connection, 0, m_root, modifiers | lock,
                                            xcb_keycode_t(*keycode), XCB_GRAB_MODE_ASYNC,
                                            XCB_GRAB_MODE_ASYNC));
    bool failed = false;
    for (const xcb_void_cookie_t &cookie : cookies) {
        if (XcbReply<xcb_generic_error_t> error{xcb_request_check(m_connection, cookie)})
            failed = true; // BadAccess: another program holds this key
    }
    if (failed) {
        for (quint16 lock : combinations)
            xcb_ungrab_key(m_connection, xcb_keycode_t(*keycode), m_root, modifiers | lock);
        xcb_flush(m_connection);
        return false;
    }
    m_keycode = quint8(*keycode);
    m_modifiers = modifiers;
    m_down = false;
    return true;
}

void HotKey::unregister()
{
    if (!m_connection || !m_keycode)
        return;
    for (quint16 lock : lockCombinations())
        xcb_ungrab_key(m_connection, m_keycode, m_root, m_modifiers | lock);
    xcb_flush(m_connection);
    m_keycode = 0;
    m_modifiers = 0;
}

bool HotKey::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *)
{
    if (!m_keycode || eventType != "xcb_generic_event_t")
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    const quint8 type = event->response_type & 0x7f;
    if (type != XCB_KEY_PRESS && type != XCB_KEY_RELEASE)
        return false;
    const auto *key = reinterpret_cast<const xcb_key_press_event_t *>(event);
    if (key->detail != m_keycode)
        return false;
    if (type == XCB_KEY_RELEASE) {
        m_down = false;
        return true;
    }
    if ((key->state & relevantMask) != m_modifiers)
        return false;
    if (!m_down) {
        m_down = true;
        // Run from the event loop, not from inside the native event dispatch.
        QMetaObject::invokeMethod(
            this,
            [this] {
                if (m_action)
                    m_action();
                emit activated();
            },
            Qt::QueuedConnection);
    }
    return true;
}
