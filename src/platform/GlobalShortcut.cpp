#include "GlobalShortcut.h"

#include "platform/HotKey.h"
#include "platform/KGlobalAccelShortcut.h"
#include "platform/KeyboardLayout.h"
#include "platform/PanelShell.h"
#include "platform/PlatformLog.h"
#include "platform/PortalShortcut.h"
#include "platform/ShortcutNotation.h"

using Status = GlobalShortcutBackend::Status;

GlobalShortcut::GlobalShortcut(const QList<GlobalShortcutBackend *> &backends,
                               GlobalShortcutBackend *partial, QObject *parent)
    : QObject(parent), m_backends(backends), m_partial(partial)
{
    for (GlobalShortcutBackend *backend : m_backends) {
        backend->setParent(this);
        connect(backend, &GlobalShortcutBackend::statusChanged, this,
                [this, backend] { backendChanged(backend); });
        connect(backend, &GlobalShortcutBackend::activated, this, [this, backend] {
            if (m_wanted && backend == current())
                emit activated();
        });
        connect(backend, &GlobalShortcutBackend::shortcutChangedElsewhere, this,
                [this, backend](const Shortcut &shortcut) {
                    if (backend == current())
                        emit shortcutChangedElsewhere(shortcut);
                });
    }
}

GlobalShortcut *GlobalShortcut::forSession(QObject *parent)
{
    // KDE's service first, on X11 too: Plasma's own settings then show and change the key.
    QList<GlobalShortcutBackend *> backends{new KGlobalAccelShortcut()};
    // The portal asks the user in a dialog; an X11 session has no need of it.
    if (PanelShell::current() != PanelShell::Kind::X11)
        backends.append(new PortalShortcut());
    GlobalShortcutBackend *partial = nullptr;
    if (PanelShell::current() != PanelShell::Kind::LayerShell) {
        auto *grab = new HotKey();
        backends.append(grab);
        if (PanelShell::current() == PanelShell::Kind::XWayland)
            partial = grab;
    }
    return new GlobalShortcut(backends, partial, parent);
}

void GlobalShortcut::bind(const Shortcut &shortcut)
{
    m_shortcut = shortcut;
    m_wanted = true;
    m_problem.clear();
    // A mechanism further down the list may hold the old key; the new one is asked for from the
    // top, and whatever ends up unused gives its key back.
    tryFrom(0);
}

void GlobalShortcut::unbind()
{
    m_wanted = false;
    m_index = -1;
    for (GlobalShortcutBackend *backend : m_backends) {
        if (backend->status() == Status::Bound || backend->status() == Status::Pending)
            backend->unbind();
    }
    emit changed();
}

GlobalShortcutBackend *GlobalShortcut::current() const
{
    if (!m_wanted || m_index < 0 || m_index >= m_backends.size())
        return nullptr;
    GlobalShortcutBackend *backend = m_backends.at(m_index);
    return backend->status() == Status::Bound ? backend : nullptr;
}

bool GlobalShortcut::isPending() const
{
    return m_wanted && m_index >= 0 && m_index < m_backends.size() &&
           m_backends.at(m_index)->status() == Status::Pending;
}

bool GlobalShortcut::reachesEveryWindow() const
{
    GlobalShortcutBackend *holder = current();
    return holder && holder != m_partial;
}

void GlobalShortcut::tryFrom(qsizetype index)
{
    m_asking = true;
    for (m_index = index; m_index < m_backends.size(); ++m_index) {
        GlobalShortcutBackend *backend = m_backends.at(m_index);
        backend->bind(m_shortcut);
        const Status status = backend->status();
        if (status == Status::Pending) {
            m_asking = false;
            emit changed();
            return;
        }
        if (status == Status::Bound)
            break;
        if (status == Status::Refused && m_problem.isEmpty())
            m_problem = backend->message();
        qCDebug(lcShortcut, "%s: %s", qPrintable(backend->name()),
                status == Status::Refused ? "refused" : "not in this session");
    }
    m_asking = false;
    settle();
}

void GlobalShortcut::backendChanged(GlobalShortcutBackend *backend)
{
    if (m_asking || !m_wanted)
        return;
    const qsizetype index = m_backends.indexOf(backend);
    // A preferred mechanism that turned up later (a shortcut service started after the app)
    // takes over from the one holding the key.
    if (index < m_index && backend->status() == Status::Bound) {
        m_index = index;
        settle();
        return;
    }
    if (index != m_index)
        return;
    switch (backend->status()) {
    case Status::Bound:
        settle();
        break;
    case Status::Pending:
        emit changed();
        break;
    case Status::Refused:
    case Status::Unavailable:
    case Status::Unbound:
        // Refused after asking, or lost later (a portal session the desktop closed): the next
        // mechanism gets its turn.
        if (backend->status() == Status::Refused && m_problem.isEmpty())
            m_problem = backend->message();
        tryFrom(index + 1);
        break;
    }
}

void GlobalShortcut::settle()
{
    const QString label = ShortcutNotation::label(m_shortcut, KeyboardLayout::current());
    // Only the holder keeps the key; one asked earlier in a previous round lets it go.
    for (qsizetype i = 0; i < m_backends.size(); ++i) {
        GlobalShortcutBackend *backend = m_backends.at(i);
        if (i != m_index && backend->status() == Status::Bound)
            backend->unbind();
    }
    if (GlobalShortcutBackend *holder = current()) {
        m_problem.clear();
        qCDebug(lcShortcut, "%s through %s", qPrintable(label), qPrintable(holder->name()));
    } else {
        if (m_problem.isEmpty())
            m_problem = u"Nothing on this desktop would take %1 for Tallowfern."_qs.arg(label);
        qCWarning(lcShortcut, "%s is not bound: %s", qPrintable(label), qPrintable(m_problem));
    }
    emit changed();
}
