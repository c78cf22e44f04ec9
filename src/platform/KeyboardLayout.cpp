#include "KeyboardLayout.h"

#include "platform/WaylandKeymap.h"
#include "platform/X11Application.h"

#include <QGuiApplication>
#include <QtGui/qguiapplication_platform.h>

#include <xkbcommon/xkbcommon-x11.h>
#include <xkbcommon/xkbcommon.h>

#include <cstdarg>

namespace {

xkb_context *newContext()
{
    xkb_context *context = xkb_context_new(XKB_CONTEXT_NO_FLAGS);
    if (context) {
        // Key names are best effort: a keymap that does not compile means "?", not noise on
        // standard error (the self-test must keep it empty).
        xkb_context_set_log_fn(context, [](xkb_context *, xkb_log_level, const char *, va_list) {});
    }
    return context;
}

// Dead keys type nothing on their own; show the accent they put on the next letter.
QString deadKeyName(xkb_keysym_t sym)
{
    switch (sym) {
    case XKB_KEY_dead_grave:
        return QStringLiteral("`");
    case XKB_KEY_dead_acute:
        return QStringLiteral("\u00B4");
    case XKB_KEY_dead_circumflex:
        return QStringLiteral("^");
    case XKB_KEY_dead_tilde:
        return QStringLiteral("~");
    case XKB_KEY_dead_macron:
        return QStringLiteral("\u00AF");
    case XKB_KEY_dead_breve:
        return QStringLiteral("\u02D8");
    case XKB_KEY_dead_abovedot:
        return QStringLiteral("\u02D9");
    case XKB_KEY_dead_diaeresis:
        return QStringLiteral("\u00A8");
    case XKB_KEY_dead_abovering:
        return QStringLiteral("\u02DA");
    case XKB_KEY_dead_doubleacute:
        return QStringLiteral("\u02DD");
    case XKB_KEY_dead_caron:
        return QStringLiteral("\u02C7");
    case XKB_KEY_dead_cedilla:
        return QStringLiteral("\u00B8");
    case XKB_KEY_dead_ogonek:
        return QStringLiteral("\u02DB");
    default:
        return {};
    }
}

// Keys that type nothing but have a name printed on every keyboard.
QString functionKeyName(xkb_keysym_t sym)
{
    if (sym >= XKB_KEY_F1 && sym <= XKB_KEY_F35)
        return u'F' + QString::number(sym - XKB_KEY_F1 + 1);
    switch (sym) {
    case XKB_KEY_Home:
        return QStringLiteral("Home");
    case XKB_KEY_End:
        return QStringLiteral("End");
    case XKB_KEY_Prior:
        return QStringLiteral("PgUp");
    case XKB_KEY_Next:
        return QStringLiteral("PgDn");
    case XKB_KEY_Delete:
        return QStringLiteral("\u2326");
    default:
        return {};
    }
}

std::unique_ptr<KeyboardLayout> &cachedCurrent()
{
    static std::unique_ptr<KeyboardLayout> layout;
    return layout;
}

bool cachedCurrentValid = false;

} // namespace

KeyboardLayout::KeyboardLayout(xkb_context *context, xkb_keymap *keymap, quint32 layoutIndex)
    : m_context(context), m_keymap(keymap), m_state(xkb_state_new(keymap))
{
    if (m_state)
        xkb_state_update_mask(m_state, 0, 0, 0, 0, 0, layoutIndex);
}

KeyboardLayout::~KeyboardLayout()
{
    xkb_state_unref(m_state);
    xkb_keymap_unref(m_keymap);
    xkb_context_unref(m_context);
}

std::unique_ptr<KeyboardLayout> KeyboardLayout::fromNames(const QString &layout,
                                                          const QString &variant)
{
    xkb_context *context = newContext();
    if (!context)
        return nullptr;
    const QByteArray layoutName = layout.toUtf8();
    const QByteArray variantName = variant.toUtf8();
    xkb_rule_names names{};
    names.layout = layout.isEmpty() ? nullptr : layoutName.constData();
    names.variant = variant.isEmpty() ? nullptr : variantName.constData();
    xkb_keymap *keymap = xkb_keymap_new_from_names(context, &names, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) {
        xkb_context_unref(context);
        return nullptr;
    }
    return std::unique_ptr<KeyboardLayout>(new KeyboardLayout(context, keymap, 0));
}

std::unique_ptr<KeyboardLayout> KeyboardLayout::fromX11(xcb_connection_t *connection)
{
    if (!connection || !xkb_x11_setup_xkb_extension(connection, XKB_X11_MIN_MAJOR_XKB_VERSION,
                                                    XKB_X11_MIN_MINOR_XKB_VERSION,
                                                    XKB_X11_SETUP_XKB_EXTENSION_NO_FLAGS, nullptr,
                                                    nullptr, nullptr, nullptr))
        return nullptr;
    const int32_t device = xkb_x11_get_core_keyboard_device_id(connection);
    if (device == -1)
        return nullptr;
    xkb_context *context = newContext();
    if (!context)
        return nullptr;
    xkb_keymap *keymap =
        xkb_x11_keymap_new_from_device(context, connection, device, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!keymap) {
        xkb_context_unref(context);
        return nullptr;
    }
    quint32 group = 0;
    if (xkb_state *serverState = xkb_x11_state_new_from_device(keymap, connection, device)) {
        group = xkb_state_serialize_layout(serverState, XKB_STATE_LAYOUT_EFFECTIVE);
        xkb_state_unref(serverState);
    }
    return std::unique_ptr<KeyboardLayout>(new KeyboardLayout(context, keymap, group));
}

std::unique_ptr<KeyboardLayout> KeyboardLayout::fromText(const QByteArray &keymap, quint32 group)
{
    if (keymap.isEmpty())
        return nullptr;
    xkb_context *context = newContext();
    if (!context)
        return nullptr;
    xkb_keymap *compiled =
        xkb_keymap_new_from_buffer(context, keymap.constData(), size_t(keymap.size()),
                                   XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS);
    if (!compiled) {
        xkb_context_unref(context);
        return nullptr;
    }
    return std::unique_ptr<KeyboardLayout>(new KeyboardLayout(context, compiled, group));
}

std::unique_ptr<KeyboardLayout> KeyboardLayout::fromWayland()
{
    WaylandKeymap *keymap = WaylandKeymap::instance();
    // The compositor sends its keymap some time after the first ask, and again on changes; the
    // cached layout follows it whether or not anybody watches for changes yet.
    static const QMetaObject::Connection follows = QObject::connect(
        keymap, &WaylandKeymap::changed, keymap, &KeyboardLayout::invalidateCurrent);
    Q_UNUSED(follows)
    return fromText(keymap->text(), keymap->group());
}

const KeyboardLayout *KeyboardLayout::current()
{
    if (!cachedCurrentValid) {
        std::unique_ptr<KeyboardLayout> layout;
        if (auto *x11 = x11Application())
            layout = fromX11(x11->connection());
        else if (QGuiApplication::platformName() == u"wayland")
            layout = fromWayland();
        if (!layout)
            layout = fromNames();
        cachedCurrent() = std::move(layout);
        cachedCurrentValid = true;
    }
    return cachedCurrent().get();
}

void KeyboardLayout::invalidateCurrent()
{
    cachedCurrentValid = false;
    cachedCurrent().reset();
}

quint32 KeyboardLayout::keysym(quint32 x11Keycode) const
{
    return m_state ? xkb_state_key_get_one_sym(m_state, x11Keycode) : XKB_KEY_NoSymbol;
}

QString KeyboardLayout::keyName(quint32 x11Keycode) const
{
    if (!m_state)
        return {};
    const xkb_keysym_t sym = xkb_state_key_get_one_sym(m_state, x11Keycode);
    if (sym == XKB_KEY_NoSymbol)
        return {};
    char utf8[16];
    const int size = xkb_keysym_to_utf8(sym, utf8, sizeof utf8);
    if (const QString named = functionKeyName(sym); !named.isEmpty())
        return named;
    if (size <= 1)
        return deadKeyName(sym);
    const QString text = QString::fromUtf8(utf8, size - 1);
    for (QChar c : text) {
        if (c.category() == QChar::Other_Control)
            return {};
    }
    return text.toUpper();
}
