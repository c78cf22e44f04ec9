#include "ShortcutSetup.h"

#include "platform/DesktopSession.h"
#include "platform/GlobalShortcut.h"
#include "platform/GnomeKeybinding.h"
#include "platform/KeyboardLayout.h"
#include "platform/PanelShell.h"
#include "platform/PlatformLog.h"
#include "platform/ShortcutNotation.h"
#include "store/BoardStore.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QFileInfo>
#include <QGuiApplication>
#include <QStandardPaths>

namespace {

ShortcutSetup::Session sessionNow()
{
    switch (PanelShell::current()) {
    case PanelShell::Kind::X11:
        return ShortcutSetup::Session::X11;
    case PanelShell::Kind::XWayland:
        return ShortcutSetup::Session::XWayland;
    case PanelShell::Kind::LayerShell:
        break;
    }
    return ShortcutSetup::Session::Wayland;
}

ShortcutSetup::Desktop desktopNow()
{
    if (DesktopSession::isGnome())
        return ShortcutSetup::Desktop::Gnome;
    switch (DesktopSession::compositor()) {
    case DesktopSession::Compositor::Sway:
        return ShortcutSetup::Desktop::Sway;
    case DesktopSession::Compositor::River:
        return ShortcutSetup::Desktop::River;
    case DesktopSession::Compositor::Hyprland:
        return ShortcutSetup::Desktop::Hyprland;
    case DesktopSession::Compositor::Other:
        break;
    }
    return ShortcutSetup::Desktop::Other;
}

// Single quotes unless the text needs none: what shells and GNOME's command parser both read.
QString shellQuoted(const QString &text)
{
    static const QString plain = u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                 u"/._-+,:@%="_qs;
    if (!text.isEmpty() &&
        std::all_of(text.begin(), text.end(), [](QChar c) { return plain.contains(c); }))
        return text;
    QString quoted = text;
    quoted.replace(u'\'', u"'\\''"_qs);
    return u'\'' + quoted + u'\'';
}

} // namespace

ShortcutSetup::ShortcutSetup(GlobalShortcut *shortcut, BoardStore *store, QObject *parent)
    : ShortcutSetup(shortcut, store, sessionNow(), desktopNow(),
                    desktopNow() == Desktop::Gnome && GnomeKeybinding::isAvailable()
                        ? new GnomeKeybinding
                        : nullptr,
                    QCoreApplication::applicationFilePath(), parent)
{}

ShortcutSetup::ShortcutSetup(GlobalShortcut *shortcut, BoardStore *store, Session session,
                             Desktop desktop, GnomeKeybinding *gnome, const QString &program,
                             QObject *parent)
    : QObject(parent), m_shortcut(shortcut), m_store(store), m_session(session), m_desktop(desktop),
      m_gnome(gnome), m_program(program)
{
    if (m_gnome) {
        m_gnome->setParent(this);
        connect(m_gnome, &GnomeKeybinding::changed, this, &ShortcutSetup::changed);
    }
    if (m_shortcut)
        connect(m_shortcut, &GlobalShortcut::changed, this, &ShortcutSetup::changed);
    if (m_store)
        connect(m_store, &BoardStore::openShortcutChanged, this, &ShortcutSetup::followShortcut);
}

ShortcutSetup::~ShortcutSetup() = default;

QString ShortcutSetup::label() const
{
    return m_store ? ShortcutNotation::label(m_store->openShortcut(), KeyboardLayout::current())
                   : QString();
}

QString ShortcutSetup::summary() const
{
    if (gnomeShortcutAdded())
        return u"Through GNOME's keyboard shortcuts"_qs;
    if (!m_shortcut)
        return {};
    if (m_shortcut->isPending())
        return u"Asking the desktop for the key\u2026"_qs;
    GlobalShortcutBackend *holder = m_shortcut->current();
    if (!holder)
        return {};
    if (!m_shortcut->reachesEveryWindow())
        return u"Only while one of the desktop's X11 windows is active"_qs;
    return u"Works in every application (%1)"_qs.arg(holder->name());
}

QString ShortcutSetup::problem() const
{
    if (!m_gnomeError.isEmpty())
        return m_gnomeError;
    if (!m_shortcut || m_shortcut->isPending() || gnomeShortcutAdded())
        return {};
    if (!m_shortcut->current())
        return m_shortcut->problem();
    return {};
}

ShortcutSetup::Advice ShortcutSetup::advice() const
{
    if (m_session == Session::X11)
        return Advice::None;
    if (m_desktop == Desktop::Gnome && m_gnome)
        return Advice::Gnome; // also while added: that is where it is removed
    if (m_shortcut && (m_shortcut->reachesEveryWindow() || m_shortcut->isPending()))
        return Advice::None;
    return Advice::ConfigLine;
}

bool ShortcutSetup::gnomeShortcutAdded() const
{
    return m_gnome && m_gnome->isInstalled();
}

QString ShortcutSetup::gnomeNote() const
{
    return gnomeShortcutAdded() ? u"Added to GNOME's keyboard shortcuts."_qs
                                : u"GNOME can run Tallowfern on this key from any application."_qs;
}

QString ShortcutSetup::gnomeAction() const
{
    return gnomeShortcutAdded() ? u"Remove"_qs : u"Add to GNOME"_qs;
}

QString ShortcutSetup::configHint() const
{
    switch (m_desktop) {
    case Desktop::Sway:
        return u"For %1 in every application, add this line to sway's configuration "
               "(~/.config/sway/config) and reload it:"_qs.arg(label());
    case Desktop::River:
        return u"For %1 in every application, add this line to river's init script:"_qs.arg(
            label());
    case Desktop::Hyprland:
        return u"For %1 in every application, add this line to hyprland.conf:"_qs.arg(label());
    case Desktop::Gnome:
    case Desktop::Other:
        break;
    }
    return u"For %1 in every application, have your desktop's keyboard settings run:"_qs.arg(
        label());
}

QString ShortcutSetup::configLine() const
{
    const QString command = toggleCommand(m_program);
    if (!m_store)
        return command;
    const Shortcut shortcut = m_store->openShortcut();
    const KeyboardLayout *layout = KeyboardLayout::current();
    switch (m_desktop) {
    case Desktop::Sway:
        if (const auto keys = ShortcutNotation::swayKeys(shortcut, layout))
            return u"bindsym %1 exec %2"_qs.arg(*keys, command);
        break;
    case Desktop::River:
        if (const auto keys = ShortcutNotation::swayKeys(shortcut, layout)) {
            // river takes the same keysyms, with the modifiers apart: "Mod1 n".
            QStringList parts = keys->split(u'+');
            const QString key = parts.takeLast();
            for (QString &part : parts)
                part = part == u"Ctrl" ? u"Control"_qs : part;
            const QString modifiers = parts.isEmpty() ? u"None"_qs : parts.join(u'+');
            return u"riverctl map normal %1 %2 spawn %3"_qs.arg(modifiers, key,
                                                                shellQuoted(command));
        }
        break;
    case Desktop::Hyprland:
        if (const auto keys = ShortcutNotation::swayKeys(shortcut, layout)) {
            QStringList parts = keys->split(u'+');
            const QString key = parts.takeLast();
            for (QString &part : parts)
                part = part == u"Mod1" ? u"ALT"_qs : part == u"Mod4" ? u"SUPER"_qs : part.toUpper();
            return u"bind = %1, %2, exec, %3"_qs.arg(parts.join(u' '), key, command);
        }
        break;
    case Desktop::Gnome:
    case Desktop::Other:
        break;
    }
    return command;
}

QString ShortcutSetup::commandProgram(const QString &program)
{
    const QString onPath = QStandardPaths::findExecutable(u"tallowfern"_qs);
    const bool byName = !onPath.isEmpty() && QFileInfo(onPath).canonicalFilePath() ==
                                                 QFileInfo(program).canonicalFilePath();
    return byName ? u"tallowfern"_qs : program;
}

QString ShortcutSetup::toggleCommand(const QString &program)
{
    return shellQuoted(commandProgram(program)) + u" --toggle"_qs;
}

void ShortcutSetup::addGnomeShortcut()
{
    if (!m_gnome || !m_store)
        return;
    const auto accelerator =
        ShortcutNotation::gtkAccelerator(m_store->openShortcut(), KeyboardLayout::current());
    const std::optional<QString> error =
        accelerator ? m_gnome->install(*accelerator,
                                       GnomeKeybinding::toggleCommand(commandProgram(m_program)))
                    : std::optional<QString>(u"GNOME has no name for %1."_qs.arg(label()));
    m_gnomeError = error.value_or(QString());
    if (error)
        qCWarning(lcShortcut, "could not add the GNOME shortcut: %s", qPrintable(*error));
    emit changed();
}

void ShortcutSetup::removeGnomeShortcut()
{
    if (!m_gnome)
        return;
    const std::optional<QString> error = m_gnome->remove();
    m_gnomeError = error.value_or(QString());
    if (error)
        qCWarning(lcShortcut, "could not remove the GNOME shortcut: %s", qPrintable(*error));
    emit changed();
}

void ShortcutSetup::toggleGnomeShortcut()
{
    if (gnomeShortcutAdded())
        removeGnomeShortcut();
    else
        addGnomeShortcut();
}

void ShortcutSetup::copyConfigLine() const
{
    if (QClipboard *clipboard = QGuiApplication::clipboard())
        clipboard->setText(configLine());
}

void ShortcutSetup::followShortcut()
{
    // A GNOME shortcut the user added follows a newly recorded key.
    if (gnomeShortcutAdded())
        addGnomeShortcut();
    emit changed();
}
