#pragma once

#include "model/Shortcut.h"

#include <QObject>
#include <QString>

// One way a desktop delivers a system-wide key to this program: an X11 key grab, KDE's global
// shortcut service, the desktop portal. GlobalShortcut tries them in turn and keeps the first
// that takes the key.
class GlobalShortcutBackend : public QObject {
    Q_OBJECT

public:
    enum class Status {
        Unbound,     // nothing asked yet, or given back
        Pending,     // asked; the desktop has not answered
        Bound,       // pressing the key reaches this program
        Refused,     // the mechanism is there but would not take the key; message() says why
        Unavailable, // the mechanism is not there at all in this session
    };
    Q_ENUM(Status)

    explicit GlobalShortcutBackend(QObject *parent = nullptr) : QObject(parent) {}

    // The mechanism as Settings names it ("KDE global shortcuts").
    [[nodiscard]] virtual QString name() const = 0;
    // Replaces the key delivered with `shortcut`. The outcome arrives through statusChanged,
    // which may already have been emitted when this returns.
    virtual void bind(const Shortcut &shortcut) = 0;
    // Stops delivering the key, for instance while a new one is recorded; a later bind() brings
    // it back.
    virtual void unbind() = 0;

    [[nodiscard]] Status status() const { return m_status; }
    // One line for the user when the key was refused; empty otherwise.
    [[nodiscard]] QString message() const { return m_message; }

signals:
    // The key was pressed (once per press; held keys do not repeat).
    void activated();
    void statusChanged();
    // The user gave the key another shortcut in the desktop's own settings.
    void shortcutChangedElsewhere(const Shortcut &shortcut);

protected:
    void setStatus(Status status, const QString &message = {})
    {
        if (status == m_status && message == m_message)
            return;
        m_status = status;
        m_message = message;
        emit statusChanged();
    }

private:
    Status m_status = Status::Unbound;
    QString m_message;
};
