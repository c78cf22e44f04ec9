#include "NotesList.h"

#include "notes/RelativeTime.h"
#include "store/BoardStore.h"

#include <QtConcurrent/QtConcurrentRun>

NotesList::NotesList(QObject *parent) : QAbstractListModel(parent)
{
    connect(&m_watcher, &QFutureWatcher<NotesIndex>::finished, this, [this] {
        m_index = m_watcher.result();
        if (m_refreshAgain) {
            m_refreshAgain = false;
            startWalk();
        } else {
            m_loading = false;
            emit loadingChanged();
        }
        showMatches(header());
        emit refreshed();
    });
}

NotesList::~NotesList()
{
    // The walk has nothing to cancel midway; wait for it rather than leave it to a dead list.
    m_watcher.waitForFinished();
}

void NotesList::setStore(BoardStore *store)
{
    if (m_store == store)
        return;
    m_store = store;
    emit storeChanged();
}

void NotesList::setQuery(const QString &query)
{
    if (m_query == query)
        return;
    const QString headerBefore = header();
    m_query = query;
    emit queryChanged();
    showMatches(headerBefore);
}

QString NotesList::header() const
{
    if (m_query.isEmpty())
        return u"Recent"_qs;
    return QString::number(m_shown.size()) + u" matches"_qs;
}

void NotesList::refresh()
{
    if (!m_store)
        return;
    if (m_loading) {
        m_refreshAgain = true;
        return;
    }
    m_loading = true;
    emit loadingChanged();
    startWalk();
}

void NotesList::startWalk()
{
    const QString vault = m_store ? m_store->locations()->vaultDir() : QString();
    const QString boards = m_store ? m_store->preferences()->boardsFolder() : QString();
    m_watcher.setFuture(
        QtConcurrent::run([vault, boards] { return NotesIndex::scan(vault, boards); }));
}

void NotesList::showMatches(const QString &headerBefore)
{
    const int countBefore = count();
    beginResetModel();
    m_shown = m_index.shown(m_query);
    endResetModel();
    if (count() != countBefore)
        emit countChanged();
    if (header() != headerBefore)
        emit headerChanged();
}

bool NotesList::open(int row)
{
    if (!m_store || row < 0 || row >= m_shown.size())
        return false;
    m_store->openInObsidian(m_shown[row].path);
    return true;
}

int NotesList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_shown.size());
}

QVariant NotesList::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid))
        return {};
    const NoteFile &note = m_shown[index.row()];
    switch (role) {
    case PathRole:
        return note.path;
    case NameRole:
    case Qt::DisplayRole:
        return note.name;
    case FolderRole:
        return note.folder;
    case ModifiedRole:
        return note.modified == NotesIndex::unknownModified()
                   ? QString()
                   : RelativeTime::describe(note.modified, QDateTime::currentDateTime());
    default:
        return {};
    }
}

QHash<int, QByteArray> NotesList::roleNames() const
{
    return {
        {PathRole, "path"}, {NameRole, "name"}, {FolderRole, "folder"}, {ModifiedRole, "modified"}};
}
