#pragma once

#include "store/BoardStore.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqml.h>

// The panel's message line: what went wrong with today's board or note, and what the user can do
// about it — look at the copy of replaced text that was kept, or, for a board file that cannot be
// read, open it in Obsidian or start a fresh board beside it.
class MessageLine : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(BoardStore *store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString text READ text NOTIFY changed)
    Q_PROPERTY(bool shown READ shown NOTIFY changed)
    Q_PROPERTY(bool canShowCopy READ canShowCopy NOTIFY changed)
    // Today's board cannot be read: edits wait for the user's choice, and the line stays.
    Q_PROPERTY(bool boardUnreadable READ boardUnreadable NOTIFY changed)

public:
    explicit MessageLine(QObject *parent = nullptr);

    [[nodiscard]] BoardStore *store() const { return m_store; }
    void setStore(BoardStore *store);

    [[nodiscard]] QString text() const;
    [[nodiscard]] bool shown() const { return !text().isEmpty(); }
    [[nodiscard]] bool canShowCopy() const;
    [[nodiscard]] bool boardUnreadable() const;

    // Shows the copy in the file manager.
    Q_INVOKABLE void showCopy() const;
    Q_INVOKABLE void openBoard() const;
    Q_INVOKABLE void startFreshBoard();
    // Hides the message; one about an unreadable board stays until that is resolved.
    Q_INVOKABLE void dismiss();

signals:
    void storeChanged();
    void changed();

private:
    QPointer<BoardStore> m_store;
};
