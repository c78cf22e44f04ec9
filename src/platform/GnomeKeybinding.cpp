#include "GnomeKeybinding.h"

#include "PlatformLog.h"

#include <QList>
#include <QStringList>

#include <algorithm>
#include <initializer_list>
#include <vector>

// GLib names a struct member `signals`, which Qt has made a keyword.
#pragma push_macro("signals")
#undef signals
#include <gio/gio.h>
#pragma pop_macro("signals")

namespace {

constexpr const char *entryKeys[] = {"name", "command", "binding"};

struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct SchemaUnref {
    void operator()(GSettingsSchema *schema) const { g_settings_schema_unref(schema); }
};
using SettingsPointer = std::unique_ptr<GSettings, ObjectUnref>;

QByteArray utf8(QStringView text)
{
    return text.toUtf8();
}

// Looked up rather than assumed: GSettings aborts the whole program on a schema or key that is
// not installed.
bool hasSchema(QStringView id, std::initializer_list<const char *> keys)
{
    GSettingsSchemaSource *source = g_settings_schema_source_get_default();
    if (!source)
        return false;
    const std::unique_ptr<GSettingsSchema, SchemaUnref> schema(
        g_settings_schema_source_lookup(source, utf8(id).constData(), TRUE));
    if (!schema)
        return false;
    for (const char *key : keys) {
        if (!g_settings_schema_has_key(schema.get(), key))
            return false;
    }
    return true;
}

QString stringOf(GSettings *settings, const char *key)
{
    gchar *value = g_settings_get_string(settings, key);
    const QString text = QString::fromUtf8(value);
    g_free(value);
    return text;
}

QStringList pathsOf(GSettings *list)
{
    const QByteArray key = utf8(GnomeKeybinding::listKey);
    gchar **values = g_settings_get_strv(list, key.constData());
    QStringList paths;
    for (gchar **value = values; value && *value; ++value)
        paths.append(QString::fromUtf8(*value));
    g_strfreev(values);
    return paths;
}

bool setPaths(GSettings *list, const QStringList &paths)
{
    QList<QByteArray> bytes;
    std::vector<const gchar *> values;
    for (const QString &path : paths)
        bytes.append(path.toUtf8());
    for (const QByteArray &path : bytes)
        values.push_back(path.constData());
    values.push_back(nullptr);
    const QByteArray key = utf8(GnomeKeybinding::listKey);
    return g_settings_set_strv(list, key.constData(), values.data());
}

void emitChanged(GSettings *, gchar *, gpointer self)
{
    emit static_cast<GnomeKeybinding *>(self)->changed();
}

} // namespace

struct GnomeKeybinding::Settings {
    SettingsPointer list;
    SettingsPointer entry;

    [[nodiscard]] bool isWritable() const
    {
        if (!g_settings_is_writable(list.get(), utf8(listKey).constData()))
            return false;
        for (const char *key : entryKeys) {
            if (!g_settings_is_writable(entry.get(), key))
                return false;
        }
        return true;
    }
};

GnomeKeybinding::GnomeKeybinding(QObject *parent) : QObject(parent)
{
    if (!isAvailable()) {
        qCDebug(lcShortcut) << "GNOME's custom shortcut settings are not installed";
        return;
    }
    m_settings = std::make_unique<Settings>();
    m_settings->list.reset(g_settings_new(utf8(listSchema).constData()));
    m_settings->entry.reset(
        g_settings_new_with_path(utf8(entrySchema).constData(), utf8(entryPath).constData()));
    const QByteArray listChanged = "changed::" + utf8(listKey);
    // GCallback is the one function pointer type that every handler may be cast to.
    const auto handler = reinterpret_cast<GCallback>(&emitChanged);
    g_signal_connect_data(m_settings->list.get(), listChanged.constData(), handler, this, nullptr,
                          GConnectFlags{});
    g_signal_connect_data(m_settings->entry.get(), "changed", handler, this, nullptr,
                          GConnectFlags{});
}

GnomeKeybinding::~GnomeKeybinding()
{
    if (!m_settings)
        return;
    g_signal_handlers_disconnect_matched(m_settings->list.get(), G_SIGNAL_MATCH_DATA, 0, 0, nullptr,
                                         nullptr, this);
    g_signal_handlers_disconnect_matched(m_settings->entry.get(), G_SIGNAL_MATCH_DATA, 0, 0,
                                         nullptr, nullptr, this);
}

bool GnomeKeybinding::isAvailable()
{
    return hasSchema(listSchema, {"custom-keybindings"}) &&
           hasSchema(entrySchema, {"name", "command", "binding"});
}

bool GnomeKeybinding::isInstalled() const
{
    return m_settings && pathsOf(m_settings->list.get()).contains(entryPath);
}

QString GnomeKeybinding::binding() const
{
    return isInstalled() ? stringOf(m_settings->entry.get(), "binding") : QString();
}

QString GnomeKeybinding::command() const
{
    return isInstalled() ? stringOf(m_settings->entry.get(), "command") : QString();
}

std::optional<QString> GnomeKeybinding::install(const QString &accelerator, const QString &command)
{
    if (!m_settings)
        return u"GNOME's keyboard shortcut settings are not installed."_qs;
    if (accelerator.trimmed().isEmpty() || command.trimmed().isEmpty())
        return u"A GNOME shortcut needs a key and a command."_qs;
    if (!m_settings->isWritable()) {
        qCWarning(lcShortcut) << "GNOME's custom shortcuts are locked";
        return u"GNOME's custom shortcuts are locked and cannot be changed."_qs;
    }
    GSettings *entry = m_settings->entry.get();
    // The entry is complete before the list leads GNOME to it.
    bool written = g_settings_set_string(entry, "name", utf8(entryName).constData()) &&
                   g_settings_set_string(entry, "command", command.toUtf8().constData()) &&
                   g_settings_set_string(entry, "binding", accelerator.toUtf8().constData());
    QStringList paths = pathsOf(m_settings->list.get());
    if (written && !paths.contains(entryPath)) {
        paths.append(entryPath.toString());
        written = setPaths(m_settings->list.get(), paths);
    }
    // The settings daemon writes in the background; the change must not be lost if we quit.
    g_settings_sync();
    if (!written) {
        qCWarning(lcShortcut) << "GNOME's settings refused the custom shortcut" << accelerator;
        return u"GNOME's settings refused the shortcut."_qs;
    }
    qCDebug(lcShortcut) << "GNOME custom shortcut" << accelerator << "runs" << command;
    return std::nullopt;
}

std::optional<QString> GnomeKeybinding::remove()
{
    if (!m_settings)
        return u"GNOME's keyboard shortcut settings are not installed."_qs;
    if (!m_settings->isWritable()) {
        qCWarning(lcShortcut) << "GNOME's custom shortcuts are locked";
        return u"GNOME's custom shortcuts are locked and cannot be changed."_qs;
    }
    // Out of the list first, so that GNOME never holds a blank entry of ours.
    QStringList paths = pathsOf(m_settings->list.get());
    bool written = true;
    if (paths.removeAll(entryPath.toString()) > 0)
        written = setPaths(m_settings->list.get(), paths);
    for (const char *key : entryKeys)
        g_settings_reset(m_settings->entry.get(), key);
    g_settings_sync();
    if (!written) {
        qCWarning(lcShortcut) << "GNOME's settings refused to remove the custom shortcut";
        return u"GNOME's settings refused to remove the shortcut."_qs;
    }
    qCDebug(lcShortcut) << "GNOME custom shortcut removed";
    return std::nullopt;
}

QString GnomeKeybinding::toggleCommand(const QString &program)
{
    const auto plain = [](QChar c) {
        return (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z') || (c >= u'0' && c <= u'9') ||
               QStringView(u"_-./+,:@=").contains(c);
    };
    QString quoted = program;
    // Inside single quotes nothing is special but the quote itself, which ends them: '\'' puts
    // one back.
    if (program.isEmpty() || !std::all_of(program.begin(), program.end(), plain))
        quoted = u'\'' + QString(program).replace(u'\'', u"'\\''"_qs) + u'\'';
    return quoted + u" --toggle"_qs;
}
