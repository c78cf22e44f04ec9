#pragma once

#include "model/Shortcut.h"
#include "platform/GlobalShortcutBackend.h"

#include <QList>
#include <QObject>

// The open shortcut, system-wide, through whichever of the desktop's mechanisms takes it: they
// are asked in order of preference and the first that binds the key keeps it. Which one that is,
// or why none did, is for Settings to show.
class GlobalShortcut : public QObject {
    Q_OBJECT

public:
    // `backends` in order of preference; `partial` (one of them, or null) binds a key that only
    // arrives while one of the session's X11 windows has the keyboard.
    GlobalShortcut(const QList<GlobalShortcutBackend *> &backends,
                   GlobalShortcutBackend *partial = nullptr, QObject *parent = nullptr);

    // The mechanisms of this session: KDE's service, the desktop portal (on Wayland), the X11
    // key grab (on X11 and XWayland).
    [[nodiscard]] static GlobalShortcut *forSession(QObject *parent = nullptr);

    // Asks for `shortcut` afresh, from the most preferred mechanism on.
    void bind(const Shortcut &shortcut);
    // Gives the key back everywhere, for instance while a new one is recorded.
    void unbind();

    [[nodiscard]] const QList<GlobalShortcutBackend *> &backends() const { return m_backends; }
    // The mechanism holding the key; null while asking, when unbound, or when none would.
    [[nodiscard]] GlobalShortcutBackend *current() const;
    [[nodiscard]] bool isPending() const;
    // The key arrives whatever window has the keyboard.
    [[nodiscard]] bool reachesEveryWindow() const;
    // Why no mechanism took the key; empty while one holds it or none was asked.
    [[nodiscard]] QString problem() const { return m_problem; }

signals:
    void activated();
    // The current mechanism, its status or the problem changed.
    void changed();
    // The user changed the key in the desktop's own settings.
    void shortcutChangedElsewhere(const Shortcut &shortcut);

private:
    void tryFrom(qsizetype index);
    void backendChanged(GlobalShortcutBackend *backend);
    void settle();

    QList<GlobalShortcutBackend *> m_backends;
    GlobalShortcutBackend *m_partial;
    Shortcut m_shortcut;
    bool m_wanted = false;
    bool m_asking = false;
    qsizetype m_index = -1;
    QString m_problem;
};
