#include "Preferences.h"

#include "store/VaultLocator.h"

#include <QDir>
#include <QSettings>

namespace {

std::optional<bool> storedBool(const QVariant &value)
{
    if (value.typeId() == QMetaType::Bool)
        return value.toBool();
    // The INI file keeps no types: a Boolean comes back as the text it was written as.
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString();
        if (text == u"true")
            return true;
        if (text == u"false")
            return false;
    }
    return std::nullopt;
}

// As stored, in the order of Preferences::NotchPosition.
constexpr QStringView notchPositionNames[] = {u"automatic", u"left", u"centre", u"right"};

// A name someone mistyped in the file means the desktop's choice, not an error.
Preferences::NotchPosition notchPositionFrom(const QVariant &value)
{
    const QString name = value.toString().trimmed().toLower();
    for (int i = 0; i < int(std::size(notchPositionNames)); ++i) {
        if (name == notchPositionNames[i])
            return Preferences::NotchPosition(i);
    }
    return Preferences::NotchPosition::Automatic;
}

std::optional<QString> storedText(const QVariant &value)
{
    if (value.typeId() == QMetaType::QString)
        return value.toString();
    return std::nullopt;
}

} // namespace

Preferences::Preferences(QObject *parent)
    : QObject(parent), m_settings(std::make_unique<QSettings>(settingsPath(), QSettings::IniFormat))
{
    const std::optional<QString> storedVault = storedText(m_settings->value(Key::vault.toString()));
    m_isFirstRun = !storedVault.has_value();
    m_vaultPath = storedVault ? *storedVault : VaultLocator::detectVault();
    m_boardsFolder = storedText(m_settings->value(Key::boardsFolder.toString()))
                         .value_or(defaultBoardsFolder.toString());
    m_notesFolder = storedText(m_settings->value(Key::notesFolder.toString()))
                        .value_or(defaultNotesFolder.toString());
    m_swipeToSwitch = storedBool(m_settings->value(Key::swipeToSwitch.toString())).value_or(true);
    m_openShortcut = loadShortcut(Key::openShortcut).value_or(Shortcut::defaultOpen());
    m_switchTabShortcut =
        loadShortcut(Key::switchTabShortcut).value_or(Shortcut::defaultSwitchTab());
    m_notchPosition = notchPositionFrom(m_settings->value(Key::notchPosition.toString()));
    m_carryOver = storedBool(m_settings->value(Key::carryOver.toString())).value_or(true);
    m_morningBanner = storedBool(m_settings->value(Key::morningBanner.toString())).value_or(true);
    if (m_isFirstRun)
        storeValue(Key::vault, m_vaultPath);
}

Preferences::~Preferences() = default;

QString Preferences::settingsPath()
{
    QString config = qEnvironmentVariable("XDG_CONFIG_HOME");
    if (config.isEmpty() || !QDir::isAbsolutePath(config))
        config = QDir::homePath() + u"/.config"_qs;
    return config + u"/Tallowfern/Tallowfern.conf"_qs;
}

std::optional<Shortcut> Preferences::loadShortcut(QStringView key) const
{
    const QVariant value = m_settings->value(key.toString());
    if (value.typeId() == QMetaType::QByteArray)
        return Shortcut::fromJson(value.toByteArray());
    if (value.typeId() == QMetaType::QString)
        return Shortcut::fromJson(value.toString().toUtf8());
    return std::nullopt;
}

void Preferences::storeValue(QStringView key, const QVariant &value)
{
    m_settings->setValue(key.toString(), value);
    m_settings->sync();
}

void Preferences::setVaultPath(const QString &path)
{
    if (m_vaultPath == path)
        return;
    m_vaultPath = path;
    emit vaultPathChanged();
    storeValue(Key::vault, path);
    emit boardsMoved();
}

void Preferences::setBoardsFolder(const QString &folder)
{
    if (m_boardsFolder == folder)
        return;
    m_boardsFolder = folder;
    emit boardsFolderChanged();
    storeValue(Key::boardsFolder, folder);
    emit boardsMoved();
}

void Preferences::setNotesFolder(const QString &folder)
{
    if (m_notesFolder == folder)
        return;
    m_notesFolder = folder;
    emit notesFolderChanged();
    storeValue(Key::notesFolder, folder);
}

void Preferences::setSwipeToSwitch(bool on)
{
    if (m_swipeToSwitch == on)
        return;
    m_swipeToSwitch = on;
    emit swipeToSwitchChanged();
    storeValue(Key::swipeToSwitch, on);
}

void Preferences::setNotchPosition(NotchPosition position)
{
    if (m_notchPosition == position)
        return;
    m_notchPosition = position;
    emit notchPositionChanged();
    storeValue(Key::notchPosition, notchPositionNames[int(position)].toString());
}

void Preferences::setOpenShortcut(Shortcut shortcut)
{
    if (m_openShortcut == shortcut)
        return;
    m_openShortcut = shortcut;
    emit openShortcutChanged();
    storeValue(Key::openShortcut, shortcut.toJson());
}

void Preferences::setSwitchTabShortcut(Shortcut shortcut)
{
    if (m_switchTabShortcut == shortcut)
        return;
    m_switchTabShortcut = shortcut;
    emit switchTabShortcutChanged();
    storeValue(Key::switchTabShortcut, shortcut.toJson());
}

void Preferences::setCarryOver(bool on)
{
    if (m_carryOver == on)
        return;
    m_carryOver = on;
    emit carryOverChanged();
    storeValue(Key::carryOver, on);
}

void Preferences::setMorningBanner(bool on)
{
    if (m_morningBanner == on)
        return;
    m_morningBanner = on;
    emit morningBannerChanged();
    storeValue(Key::morningBanner, on);
}
