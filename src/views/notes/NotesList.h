#pragma once

#include "notes/NotesIndex.h"

#include <QAbstractListModel>
#include <QFutureWatcher>
#include <QPointer>
#include <QtQml/qqml.h>

class BoardStore;

// The Notes tab's list: the vault's notes, newest first, narrowed by the search text to at most
// NotesIndex::maxShown rows. The vault is walked on a worker thread, so that a big vault never
// holds up the panel; the search runs on the walked list as the user types.
class NotesList : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(BoardStore *store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    // "Recent" without a query, otherwise the number of rows and " matches".
    Q_PROPERTY(QString header READ header NOTIFY headerChanged)
    // A walk of the vault is under way.
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)

public:
    enum Role { PathRole = Qt::UserRole, NameRole, FolderRole, ModifiedRole };
    Q_ENUM(Role)

    explicit NotesList(QObject *parent = nullptr);
    ~NotesList() override;

    [[nodiscard]] BoardStore *store() const { return m_store; }
    void setStore(BoardStore *store);
    [[nodiscard]] const QString &query() const { return m_query; }
    void setQuery(const QString &query);
    [[nodiscard]] int count() const { return int(m_shown.size()); }
    [[nodiscard]] QString header() const;
    [[nodiscard]] bool loading() const { return m_loading; }

    // Walks the vault again; the rows follow when it is done.
    Q_INVOKABLE void refresh();
    // Opens the note of a row, or the first row's; false when there is none.
    Q_INVOKABLE bool open(int row);
    Q_INVOKABLE bool openFirst() { return open(0); }

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

signals:
    void storeChanged();
    void queryChanged();
    void countChanged();
    void headerChanged();
    void loadingChanged();
    // A walk of the vault has finished and the rows show it.
    void refreshed();

private:
    void startWalk();
    // Narrows the list to the query; `headerBefore` is the header the user saw until now.
    void showMatches(const QString &headerBefore);

    QPointer<BoardStore> m_store;
    QString m_query;
    NotesIndex m_index;
    QList<NoteFile> m_shown;
    QFutureWatcher<NotesIndex> m_watcher;
    bool m_loading = false;
    // A walk asked for while another runs starts when that one ends.
    bool m_refreshAgain = false;
};
