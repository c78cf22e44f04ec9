#include "NotesList.h"

#include "notes/NotesIndex.h"
#include "notes/RelativeTime.h"
#include "store/BoardStore.h"
#include "store/VaultNotes.h"

#include <algorithm>

NotesList::NotesList(QObject *parent) : QAbstractListModel(parent) {}

VaultNotes *NotesList::notes() const
{
    return m_store ? m_store->vaultNotes() : nullptr;
}

void NotesList::setStore(BoardStore *store)
{
    if (m_store == store)
        return;
    if (VaultNotes *old = notes())
        disconnect(old, nullptr, this, nullptr);
    const QString headerBefore = header();
    m_store = store;
    if (VaultNotes *notes = this->notes()) {
        connect(notes, &VaultNotes::changed, this, &NotesList::notesChanged);
        connect(notes, &VaultNotes::loadingChanged, this, &NotesList::notesChanged);
    }
    emit storeChanged();
    if (loading() != m_loading) {
        m_loading = !m_loading;
        emit loadingChanged();
    }
    showMatches(headerBefore);
}

void NotesList::setQuery(const QString &query)
{
    if (m_query == query)
        return;
    const QString headerBefore = header();
    m_query = query;
    // Return opens what the query shows now, not what an older one would have found.
    m_openWhenWalked.reset();
    emit queryChanged();
    showMatches(headerBefore);
    setCurrentRow(-1);
}

bool NotesList::loading() const
{
    const VaultNotes *notes = this->notes();
    return notes && notes->loading();
}

QString NotesList::header() const
{
    if (m_query.isEmpty())
        return u"Recent"_qs;
    if (m_shown.isEmpty() && loading())
        return u"Searching…"_qs;
    return QString::number(m_shown.size()) + u" matches"_qs;
}

void NotesList::setCurrentRow(int row)
{
    row = std::clamp(row, -1, count() - 1);
    if (m_currentRow == row)
        return;
    m_currentRow = row;
    emit currentRowChanged();
}

void NotesList::moveCurrent(int delta)
{
    if (count() == 0)
        return;
    if (m_currentRow < 0)
        setCurrentRow(delta > 0 ? 0 : -1);
    else
        setCurrentRow(m_currentRow + delta);
}

void NotesList::moveCurrentWithin(int delta)
{
    if (count() == 0)
        return;
    if (m_currentRow < 0)
        setCurrentRow(0);
    else
        setCurrentRow(std::clamp(m_currentRow + delta, 0, count() - 1));
}

void NotesList::refresh()
{
    if (VaultNotes *notes = this->notes())
        notes->require();
}

void NotesList::notesChanged()
{
    const QString headerBefore = header();
    // The vault or the boards folder moved while the list is shown.
    if (VaultNotes *notes = this->notes(); notes && !notes->isKnown() && !notes->loading())
        notes->require();
    const bool walking = loading();
    if (walking != m_loading) {
        m_loading = walking;
        emit loadingChanged();
    }
    showMatches(headerBefore);
    if (walking)
        return;
    emit refreshed();
    if (m_openWhenWalked) {
        m_openWhenWalked.reset();
        openCurrent();
    }
}

void NotesList::showMatches(const QString &headerBefore)
{
    const VaultNotes *notes = this->notes();
    QList<NoteFile> matches = notes ? notes->shown(m_query) : QList<NoteFile>();
    if (matches != m_shown) {
        const QByteArray selected =
            m_currentRow >= 0 ? m_shown[m_currentRow].pathBytes : QByteArray();
        const int countBefore = count();
        beginResetModel();
        m_shown = std::move(matches);
        endResetModel();
        if (count() != countBefore)
            emit countChanged();
        // The selection stays on its note while that is shown.
        int row = -1;
        for (int i = 0; !selected.isEmpty() && i < count(); ++i) {
            if (m_shown[i].pathBytes == selected)
                row = i;
        }
        if (m_currentRow != row) {
            m_currentRow = row;
            emit currentRowChanged();
        }
    }
    if (header() != headerBefore)
        emit headerChanged();
}

bool NotesList::open(int row)
{
    if (!m_store || row < 0 || row >= m_shown.size())
        return false;
    m_store->openInObsidian(m_shown[row].pathBytes);
    return true;
}

bool NotesList::openCurrent()
{
    if (m_shown.isEmpty() && loading()) {
        m_openWhenWalked = m_query;
        return false;
    }
    return open(m_currentRow >= 0 ? m_currentRow : 0);
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
