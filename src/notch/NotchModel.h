#pragma once

#include "notch/ShortcutSetup.h"

#include <QObject>
#include <QPointer>
#include <QSizeF>
#include <QVariant>

#include <functional>
#include <optional>

// The transient state of the panel. Nothing here is persisted: every launch starts from the
// defaults.
class NotchModel : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isOpen READ isOpen WRITE setOpen NOTIFY isOpenChanged)
    Q_PROPERTY(bool isPinned READ isPinned WRITE setPinned NOTIFY isPinnedChanged)
    Q_PROPERTY(Tab tab READ tab WRITE setTab NOTIFY tabChanged)
    Q_PROPERTY(bool isEditing READ isEditing WRITE setEditing NOTIFY isEditingChanged)
    Q_PROPERTY(bool showCalendar READ showCalendar WRITE setShowCalendar NOTIFY showCalendarChanged)
    // A context menu is open over the panel: it is modal, and Escape closes it, not the panel.
    Q_PROPERTY(bool menuOpen READ menuOpen WRITE setMenuOpen NOTIFY menuOpenChanged)
    // Null while nothing is being recorded, otherwise a ShortcutTarget.
    Q_PROPERTY(
        QVariant recording READ recordingValue WRITE setRecordingValue NOTIFY recordingChanged)
    Q_PROPERTY(int focusAddRequest READ focusAddRequest NOTIFY focusAddRequestChanged)
    // A request for the add field that no field has taken yet.
    Q_PROPERTY(bool addFocusPending READ addFocusPending NOTIFY addFocusPendingChanged)
    Q_PROPERTY(QSizeF notchSize READ notchSize WRITE setNotchSize NOTIFY notchSizeChanged)
    Q_PROPERTY(QSizeF openSize READ openSizeValue CONSTANT)
    // How the open shortcut reaches the program, for Settings; null until the controller has it.
    Q_PROPERTY(ShortcutSetup *shortcutSetup READ shortcutSetup NOTIFY shortcutSetupChanged)
    // False where the desktop shows no tray icons: the panel then offers the tray menu's actions.
    Q_PROPERTY(
        bool trayAvailable READ trayAvailable WRITE setTrayAvailable NOTIFY trayAvailableChanged)
    Q_PROPERTY(qreal wingWidth READ wingWidthValue CONSTANT)

public:
    enum class Tab { Board, Notes, Settings };
    Q_ENUM(Tab)
    enum class ShortcutTarget { Open, SwitchTab };
    Q_ENUM(ShortcutTarget)

    static constexpr QSizeF openSize{780, 380};
    static constexpr qreal wingWidth = 64;
    static constexpr QSizeF defaultNotchSize{190, 32};

    explicit NotchModel(QObject *parent = nullptr);

    [[nodiscard]] static QList<Tab> allTabs() { return {Tab::Board, Tab::Notes, Tab::Settings}; }
    // The tab's raw value, shown as its title.
    Q_INVOKABLE static QString tabTitle(NotchModel::Tab tab);

    [[nodiscard]] bool isOpen() const { return m_isOpen; }
    void setOpen(bool open);
    [[nodiscard]] bool isPinned() const { return m_isPinned; }
    void setPinned(bool pinned);
    [[nodiscard]] Tab tab() const { return m_tab; }
    void setTab(Tab tab);
    // The Settings button: to Settings, and from Settings back to the Board, never to Notes.
    Q_INVOKABLE void toggleSettings();
    [[nodiscard]] bool isEditing() const { return m_isEditing; }
    void setEditing(bool editing);
    [[nodiscard]] bool showCalendar() const { return m_showCalendar; }
    void setShowCalendar(bool show);
    [[nodiscard]] bool menuOpen() const { return m_menuOpen; }
    void setMenuOpen(bool open);
    [[nodiscard]] std::optional<ShortcutTarget> recording() const { return m_recording; }
    void setRecording(std::optional<ShortcutTarget> target);
    [[nodiscard]] int focusAddRequest() const { return m_focusAddRequest; }
    Q_INVOKABLE void requestAddFocus();
    // A request waits for the add field that takes it, which may be made only after it (the open
    // content is still being built when the hot key asks); true once for each request. A request
    // not taken by the time the panel closes lapses.
    [[nodiscard]] bool addFocusPending() const { return m_focusAddTaken != m_focusAddRequest; }
    Q_INVOKABLE bool takeAddFocus();
    [[nodiscard]] QSizeF notchSize() const { return m_notchSize; }
    void setNotchSize(QSizeF size);
    [[nodiscard]] ShortcutSetup *shortcutSetup() const { return m_shortcutSetup; }
    void setShortcutSetup(ShortcutSetup *setup);
    [[nodiscard]] bool trayAvailable() const { return m_trayAvailable; }
    void setTrayAvailable(bool available);

    // Installed once by the controller, which captures itself weakly so that the model never
    // keeps it alive.
    void setCloseRequested(std::function<void()> callback)
    {
        m_closeRequested = std::move(callback);
    }
    void setOpenRequested(std::function<void(bool)> callback)
    {
        m_openRequested = std::move(callback);
    }
    Q_INVOKABLE void requestClose() const;
    Q_INVOKABLE void requestOpen(bool pin) const;

signals:
    void isOpenChanged();
    void isPinnedChanged();
    void tabChanged();
    void isEditingChanged();
    void showCalendarChanged();
    void menuOpenChanged();
    void recordingChanged();
    void focusAddRequestChanged();
    void addFocusPendingChanged();
    void notchSizeChanged();
    void trayAvailableChanged();
    void shortcutSetupChanged();

private:
    [[nodiscard]] QVariant recordingValue() const;
    void setRecordingValue(const QVariant &value);
    [[nodiscard]] QSizeF openSizeValue() const { return openSize; }
    [[nodiscard]] qreal wingWidthValue() const { return wingWidth; }

    bool m_isOpen = false;
    bool m_isPinned = false;
    Tab m_tab = Tab::Board;
    bool m_isEditing = false;
    bool m_showCalendar = false;
    bool m_menuOpen = false;
    std::optional<ShortcutTarget> m_recording;
    int m_focusAddRequest = 0;
    int m_focusAddTaken = 0;
    QSizeF m_notchSize = defaultNotchSize;
    bool m_trayAvailable = true;
    QPointer<ShortcutSetup> m_shortcutSetup;
    std::function<void()> m_closeRequested;
    std::function<void(bool)> m_openRequested;
};
