#include "SettingsState.h"

#include "DesktopServices.h"
#include "notch/NotchModel.h"
#include "store/BoardStore.h"

#include <QTimer>

SettingsState::SettingsState(BoardStore *store) : QObject(store), m_store(store) {}

SettingsState *SettingsState::of(BoardStore *store)
{
    if (!store)
        return nullptr;
    if (auto *state = store->findChild<SettingsState *>(QString(), Qt::FindDirectChildrenOnly))
        return state;
    return new SettingsState(store);
}

void SettingsState::setMessage(const QString &message)
{
    if (m_message == message)
        return;
    m_message = message;
    emit messageChanged();
}

QString SettingsState::startFolder(Location location) const
{
    switch (location) {
    case Location::Vault:
        return m_store->vaultDir();
    case Location::Boards:
        return m_store->boardsDir();
    case Location::Notes:
        return m_store->notesDir();
    }
    Q_UNREACHABLE();
    return {};
}

QString SettingsState::dialogTitle(Location location)
{
    switch (location) {
    case Location::Vault:
        return QStringLiteral("Choose your Obsidian vault folder");
    case Location::Boards:
        return QStringLiteral("Choose the folder for daily Kanban boards (inside your vault)");
    case Location::Notes:
        return QStringLiteral("Choose the folder for daily quick notes (inside your vault)");
    }
    Q_UNREACHABLE();
    return {};
}

void SettingsState::choose(Location location, NotchModel *model)
{
    // One dialog at a time; a second click while one is coming is the same request.
    if (m_choosing)
        return;
    m_choosing = true;
    if (model)
        model->requestClose();
    QTimer::singleShot(0, this, [this, location, guarded = QPointer<NotchModel>(model)] {
        runDialog(location, guarded);
    });
}

void SettingsState::runDialog(Location location, const QPointer<NotchModel> &model)
{
    DesktopServices *desktop = DesktopServices::current();
    const std::optional<QString> folder =
        desktop ? desktop->chooseFolder(dialogTitle(location), startFolder(location))
                : std::nullopt;
    m_choosing = false;
    // Applied before the panel comes back, so that the view it builds sees the outcome.
    if (folder)
        apply(location, *folder);
    if (model) {
        model->setTab(NotchModel::Tab::Settings);
        model->requestOpen(true);
    }
    emit chosen();
}

void SettingsState::apply(Location location, const QString &folder)
{
    if (location == Location::Vault) {
        setMessage({});
        m_store->setVault(folder);
        return;
    }
    const QVariant relative = m_store->vaultRelativePath(folder);
    const QString inside = relative.isNull() ? QString() : relative.toString();
    if (inside.isEmpty()) {
        setMessage(location == Location::Boards
                       ? QStringLiteral("Boards folder must be inside the vault")
                       : QStringLiteral("Quick notes folder must be inside the vault"));
        return;
    }
    setMessage({});
    if (location == Location::Boards)
        m_store->setBoardsFolder(inside);
    else
        m_store->setNotesFolder(inside);
}
