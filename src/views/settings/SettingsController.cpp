#include "SettingsController.h"

#include "DesktopServices.h"
#include "FolderField.h"
#include "SettingsState.h"
#include "model/Shortcut.h"
#include "platform/DesktopSession.h"
#include "platform/KeyboardLayout.h"
#include "platform/KeyboardLayoutWatcher.h"
#include "platform/LaunchAtLogin.h"
#include "platform/ShortcutNotation.h"
#include "store/BoardStore.h"

#include <QCoreApplication>
#include <QDir>

SettingsController::SettingsController(QObject *parent)
    : QObject(parent), m_boardsField(new FolderField(
                           [this](const QString &folder) {
                               if (Preferences *prefs = preferences())
                                   prefs->setBoardsFolder(folder);
                           },
                           this)),
      m_notesField(new FolderField(
          [this](const QString &folder) {
              if (Preferences *prefs = preferences())
                  prefs->setNotesFolder(folder);
          },
          this))
{
    readLaunchAtLogin();
    // Key names follow the keyboard layout.
    connect(KeyboardLayoutWatcher::instance(), &KeyboardLayoutWatcher::layoutChanged, this,
            &SettingsController::shortcutsChanged);
}

// The fields go first: they may still hand the keyboard back to the model.
SettingsController::~SettingsController()
{
    delete m_boardsField;
    delete m_notesField;
}

void SettingsController::setStore(BoardStore *store)
{
    if (m_store == store)
        return;
    if (m_store) {
        disconnect(m_store->preferences(), nullptr, this, nullptr);
        if (SettingsState *old = state())
            disconnect(old, nullptr, this, nullptr);
    }
    m_store = store;
    if (Preferences *prefs = preferences()) {
        connect(prefs, &Preferences::vaultPathChanged, this, &SettingsController::vaultTextChanged);
        connect(prefs, &Preferences::boardsFolderChanged, this,
                [this, prefs] { m_boardsField->setValue(prefs->boardsFolder()); });
        connect(prefs, &Preferences::notesFolderChanged, this,
                [this, prefs] { m_notesField->setValue(prefs->notesFolder()); });
        connect(prefs, &Preferences::openShortcutChanged, this,
                &SettingsController::shortcutsChanged);
        connect(prefs, &Preferences::switchTabShortcutChanged, this,
                &SettingsController::shortcutsChanged);
        connect(prefs, &Preferences::notchPositionChanged, this,
                &SettingsController::notchPositionChanged);
        connect(state(), &SettingsState::messageChanged, this, &SettingsController::messageChanged);
        m_boardsField->setValue(prefs->boardsFolder());
        m_notesField->setValue(prefs->notesFolder());
    } else {
        m_boardsField->setValue({});
        m_notesField->setValue({});
    }
    emit storeChanged();
    emit vaultTextChanged();
    emit shortcutsChanged();
    emit messageChanged();
    emit notchPositionChanged();
}

Preferences *SettingsController::preferences() const
{
    return m_store ? m_store->preferences() : nullptr;
}

void SettingsController::setModel(NotchModel *model)
{
    if (m_model == model)
        return;
    if (m_model)
        disconnect(m_model, nullptr, this, nullptr);
    m_model = model;
    if (m_model)
        connect(m_model, &NotchModel::recordingChanged, this,
                &SettingsController::recordingChanged);
    m_boardsField->setModel(model);
    m_notesField->setModel(model);
    emit modelChanged();
    emit recordingChanged();
}

SettingsState *SettingsController::state() const
{
    return SettingsState::of(m_store);
}

QString SettingsController::message() const
{
    const SettingsState *current = state();
    return current ? current->message() : QString();
}

void SettingsController::setWelcome(bool welcome)
{
    if (m_welcome == welcome)
        return;
    m_welcome = welcome;
    emit welcomeChanged();
}

void SettingsController::appeared()
{
    const Preferences *prefs = preferences();
    setWelcome(prefs && prefs->isFirstRun() && message().isEmpty());
    readLaunchAtLogin();
}

QString SettingsController::vaultText() const
{
    const Preferences *prefs = preferences();
    return prefs ? abbreviatedPath(prefs->vaultPath(), QDir::homePath()) : QString();
}

QString SettingsController::abbreviatedPath(const QString &path, const QString &home)
{
    const QString root = QDir::cleanPath(home);
    // A home at the root of the file system would turn every path into one under "~".
    if (root.isEmpty() || root == u"/")
        return path;
    if (path == root)
        return QStringLiteral("~");
    if (path.startsWith(root) && path.at(root.size()) == u'/')
        return u'~' + path.sliced(root.size());
    return path;
}

void SettingsController::chooseVault()
{
    if (SettingsState *current = state())
        current->choose(SettingsState::Location::Vault, m_model);
}

void SettingsController::chooseBoardsFolder()
{
    if (SettingsState *current = state())
        current->choose(SettingsState::Location::Boards, m_model);
}

void SettingsController::chooseNotesFolder()
{
    if (SettingsState *current = state())
        current->choose(SettingsState::Location::Notes, m_model);
}

void SettingsController::revealVault() const
{
    if (DesktopServices *desktop = DesktopServices::current(); desktop && m_store)
        desktop->reveal(m_store->locations()->vaultDir());
}

void SettingsController::revealBoardsFolder() const
{
    if (DesktopServices *desktop = DesktopServices::current(); desktop && m_store)
        desktop->reveal(m_store->locations()->boardsDir());
}

void SettingsController::revealNotesFolder() const
{
    if (DesktopServices *desktop = DesktopServices::current(); desktop && m_store)
        desktop->reveal(m_store->locations()->notesDir());
}

void SettingsController::readLaunchAtLogin()
{
    const bool on = LaunchAtLogin::isEnabled();
    if (m_launchAtLogin == on)
        return;
    m_launchAtLogin = on;
    emit launchAtLoginChanged();
}

void SettingsController::setLaunchAtLogin(bool on)
{
    const std::optional<QString> error =
        LaunchAtLogin::setEnabled(on, QCoreApplication::applicationFilePath());
    if (error) {
        if (SettingsState *current = state())
            current->setMessage(u"Launch at login: "_qs + *error);
    }
    readLaunchAtLogin();
}

QString SettingsController::openShortcutLabel() const
{
    const Preferences *prefs = preferences();
    return prefs ? ShortcutNotation::label(prefs->openShortcut(), KeyboardLayout::current())
                 : QString();
}

QString SettingsController::switchTabShortcutLabel() const
{
    const Preferences *prefs = preferences();
    return prefs ? ShortcutNotation::label(prefs->switchTabShortcut(), KeyboardLayout::current())
                 : QString();
}

bool SettingsController::recordingOpen() const
{
    return m_model && m_model->recording() == NotchModel::ShortcutTarget::Open;
}

bool SettingsController::recordingSwitchTab() const
{
    return m_model && m_model->recording() == NotchModel::ShortcutTarget::SwitchTab;
}

void SettingsController::toggleRecording(NotchModel::ShortcutTarget target)
{
    if (!m_model)
        return;
    if (m_model->recording() == target)
        m_model->setRecording(std::nullopt);
    else
        m_model->setRecording(target);
}

void SettingsController::resetShortcut(NotchModel::ShortcutTarget target)
{
    Preferences *prefs = preferences();
    if (!prefs)
        return;
    if (target == NotchModel::ShortcutTarget::Open)
        prefs->setOpenShortcut(Shortcut::defaultOpen());
    else
        prefs->setSwitchTabShortcut(Shortcut::defaultSwitchTab());
}

int SettingsController::notchPosition() const
{
    using Position = Preferences::NotchPosition;
    const Preferences *prefs = preferences();
    const Position position = prefs ? prefs->notchPosition() : Position::Automatic;
    if (position == Position::Automatic)
        return DesktopSession::keepsTopCentre() ? 0 : 1;
    return int(position) - int(Position::Left);
}

void SettingsController::setNotchPosition(int position)
{
    using Position = Preferences::NotchPosition;
    Preferences *prefs = preferences();
    if (!prefs || position < 0 || position > 2)
        return;
    prefs->setNotchPosition(Position(int(Position::Left) + position));
}

void SettingsController::openTodayInObsidian() const
{
    if (m_store)
        m_store->openTodayInObsidian();
}

void SettingsController::quit() const
{
    // From the event loop: the button that asked is still handling its click.
    QMetaObject::invokeMethod(QCoreApplication::instance(), &QCoreApplication::quit,
                              Qt::QueuedConnection);
}
