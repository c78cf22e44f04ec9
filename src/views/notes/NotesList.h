#pragma once

#include "notes/NoteFile.h"

#include <QAbstractListModel>
#include <QPointer>
#include <QtQml/qqml.h>

#include <optional>

class BoardStore;
class VaultNotes;

// The Notes tab's list: the vault's notes, newest first, narrowed by the search text to at most
// NotesIndex::maxShown rows, with a selection the arrow keys move. The notes come from the
// store's VaultNotes, which walks the vault once on a thread of its own and keeps the list
// current, so opening the tab shows it at once; while a walk is under way the list says so, and
// a query or Return given meanwhile is answered when it ends.
class NotesList : public QAbstractListModel {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(BoardStore *store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(QString query READ query WRITE setQuery NOTIFY queryChanged)
    Q_PROPERTY(int count READ count NOTIFY countChanged)
    // "Recent" without a query, otherwise the number of rows and " matches"; "Searching…" while
    // a query waits for the walk.
    Q_PROPERTY(QString header READ header NOTIFY headerChanged)
    // A walk of the vault is under way.
    Q_PROPERTY(bool loading READ loading NOTIFY loadingChanged)
    // The row Return opens; -1 when none is selected.
    Q_PROPERTY(int currentRow READ currentRow WRITE setCurrentRow NOTIFY currentRowChanged)

public:
    enum Role { PathRole = Qt::UserRole, NameRole, FolderRole, ModifiedRole };
    Q_ENUM(Role)

    explicit NotesList(QObject *parent = nullptr);

    [[nodiscard]] BoardStore *store() const { return m_store; }
    void setStore(BoardStore *store);
    [[nodiscard]] const QString &query() const { return m_query; }
    void setQuery(const QString &query);
    [[nodiscard]] int count() const { return int(m_shown.size()); }
    [[nodiscard]] QString header() const;
    [[nodiscard]] bool loading() const;
    [[nodiscard]] int currentRow() const { return m_currentRow; }
    void setCurrentRow(int row);

    // The list is about to be shown: walks the vault if nobody has yet, or if changes in it
    // cannot be followed.
    Q_INVOKABLE void refresh();
    // Opens the note of a row; false when there is none.
    Q_INVOKABLE bool open(int row);
    // Return: opens the selected row, or the first when none is. While the walk is under way,
    // the first match it finds for the query as it is now is opened when it ends.
    Q_INVOKABLE bool openCurrent();
    // Up (-1) and Down (+1): from no selection Down selects the first row, Up from the first row
    // selects none again; the last row stays selected at the bottom.
    Q_INVOKABLE void moveCurrent(int delta);
    // The same keys while the list itself has the keyboard: some row stays selected, the first
    // when none was, so that the focus can be seen; 0 only makes sure of that.
    Q_INVOKABLE void moveCurrentWithin(int delta);

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

signals:
    void storeChanged();
    void queryChanged();
    void countChanged();
    void headerChanged();
    void loadingChanged();
    void currentRowChanged();
    // The rows show the notes as they are now, after a walk or a change in the vault.
    void refreshed();

private:
    [[nodiscard]] VaultNotes *notes() const;
    // Narrows the list to the query; `headerBefore` is the header the user saw until now.
    void showMatches(const QString &headerBefore);
    void notesChanged();

    QPointer<BoardStore> m_store;
    QString m_query;
    QList<NoteFile> m_shown;
    int m_currentRow = -1;
    // loading() as last announced.
    bool m_loading = false;
    // Return pressed while the walk was under way, with the query of that moment.
    std::optional<QString> m_openWhenWalked;
};
