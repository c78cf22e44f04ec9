#include "NotchModel.h"

#include <limits>

NotchModel::NotchModel(QObject *parent) : QObject(parent) {}

QString NotchModel::tabTitle(Tab tab)
{
    switch (tab) {
    case Tab::Board:
        return QStringLiteral("Board");
    case Tab::Notes:
        return QStringLiteral("Notes");
    case Tab::Settings:
        return QStringLiteral("Settings");
    }
    Q_UNREACHABLE();
    return {};
}

void NotchModel::setOpen(bool open)
{
    if (m_isOpen == open)
        return;
    m_isOpen = open;
    const bool lapsed = !open && addFocusPending();
    if (lapsed)
        m_focusAddTaken = m_focusAddRequest;
    emit isOpenChanged();
    if (lapsed)
        emit addFocusPendingChanged();
}

void NotchModel::setPinned(bool pinned)
{
    if (m_isPinned == pinned)
        return;
    m_isPinned = pinned;
    emit isPinnedChanged();
}

void NotchModel::setTab(Tab tab)
{
    if (m_tab == tab)
        return;
    m_tab = tab;
    emit tabChanged();
}

void NotchModel::toggleSettings()
{
    setTab(m_tab == Tab::Settings ? Tab::Board : Tab::Settings);
}

void NotchModel::setEditing(bool editing)
{
    if (m_isEditing == editing)
        return;
    m_isEditing = editing;
    emit isEditingChanged();
}

void NotchModel::setMenuOpen(bool open)
{
    if (m_menuOpen == open)
        return;
    m_menuOpen = open;
    emit menuOpenChanged();
}

void NotchModel::setShowCalendar(bool show)
{
    if (m_showCalendar == show)
        return;
    m_showCalendar = show;
    emit showCalendarChanged();
}

void NotchModel::setRecording(std::optional<ShortcutTarget> target)
{
    if (m_recording == target)
        return;
    m_recording = target;
    emit recordingChanged();
}

QVariant NotchModel::recordingValue() const
{
    return m_recording ? QVariant::fromValue(*m_recording) : QVariant();
}

void NotchModel::setRecordingValue(const QVariant &value)
{
    if (!value.isValid() || value.isNull()) {
        setRecording(std::nullopt);
        return;
    }
    bool ok = false;
    const int raw = value.toInt(&ok);
    if (ok && (raw == int(ShortcutTarget::Open) || raw == int(ShortcutTarget::SwitchTab)))
        setRecording(ShortcutTarget(raw));
}

void NotchModel::requestAddFocus()
{
    if (m_focusAddRequest == std::numeric_limits<int>::max())
        qFatal("NotchModel: focusAddRequest overflow");
    const bool wasPending = addFocusPending();
    ++m_focusAddRequest;
    emit focusAddRequestChanged();
    if (!wasPending)
        emit addFocusPendingChanged();
}

bool NotchModel::takeAddFocus()
{
    if (!addFocusPending())
        return false;
    m_focusAddTaken = m_focusAddRequest;
    emit addFocusPendingChanged();
    return true;
}

void NotchModel::setNotchSize(QSizeF size)
{
    if (m_notchSize == size)
        return;
    m_notchSize = size;
    emit notchSizeChanged();
}

void NotchModel::requestClose() const
{
    if (m_closeRequested)
        m_closeRequested();
}

void NotchModel::requestOpen(bool pin) const
{
    if (m_openRequested)
        m_openRequested(pin);
}

void NotchModel::setTrayAvailable(bool available)
{
    if (m_trayAvailable == available)
        return;
    m_trayAvailable = available;
    emit trayAvailableChanged();
}

void NotchModel::setShortcutSetup(ShortcutSetup *setup)
{
    if (m_shortcutSetup == setup)
        return;
    m_shortcutSetup = setup;
    emit shortcutSetupChanged();
}
