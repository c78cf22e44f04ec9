#pragma once

#include <QList>
#include <QObject>

class QWindow;
class XcbEventSource;

// Keeps windows that no window manager looks after above the others: whenever another top-level
// window is mapped or restacked, ours go back on top. Full-screen windows keep the screen to
// themselves. Event-driven through a connection of our own; nothing polls.
class StackKeeper : public QObject {
    Q_OBJECT

public:
    explicit StackKeeper(QObject *parent = nullptr);

    // Bottom first: the last one ends on top.
    void keepAbove(const QList<QWindow *> &windows);
    // Puts the windows back on top now.
    void raise();

private:
    struct Above {
        bool covered = false;    // an ordinary window is stacked over one of ours
        bool fullScreen = false; // a window over ours covers the whole screen
        bool locker = false;     // ... and no window manager handles it
    };
    [[nodiscard]] Above stackAbove() const;
    void check();
    [[nodiscard]] bool ours(quint32 window) const;

    XcbEventSource *m_source = nullptr;
    QList<QWindow *> m_windows;
    bool m_checkQueued = false;
};
