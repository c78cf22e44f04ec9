#pragma once

#include "notch/NotchModel.h"

#include <QObject>
#include <QPointer>
#include <QString>
#include <QtQml/qqml.h>

class BoardStore;
class FolderField;
class Preferences;
class SettingsState;

// Everything the Settings tab does beyond binding to the store: the vault as shown, the two
// editable folders, choosing and revealing folders, the shortcut recorder's buttons, launch at
// login, and the welcome and message lines. One per view; the message lives on in the store's
// SettingsState.
class SettingsController : public QObject {
    Q_OBJECT
    QML_ELEMENT
    Q_PROPERTY(BoardStore *store READ store WRITE setStore NOTIFY storeChanged)
    Q_PROPERTY(NotchModel *model READ model WRITE setModel NOTIFY modelChanged)
    // Empty while there is nothing to report.
    Q_PROPERTY(QString message READ message NOTIFY messageChanged)
    Q_PROPERTY(bool welcome READ welcome NOTIFY welcomeChanged)
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin NOTIFY launchAtLoginChanged)
    Q_PROPERTY(QString vaultText READ vaultText NOTIFY vaultTextChanged)
    Q_PROPERTY(FolderField *boardsField READ boardsField CONSTANT)
    Q_PROPERTY(FolderField *notesField READ notesField CONSTANT)
    // As the desktop writes shortcuts: "Alt+N", "Ctrl+Tab".
    Q_PROPERTY(QString openShortcutLabel READ openShortcutLabel NOTIFY shortcutsChanged)
    Q_PROPERTY(QString switchTabShortcutLabel READ switchTabShortcutLabel NOTIFY shortcutsChanged)
    // Where the notch sits now: 0 left, 1 centre, 2 right (the desktop's choice until the user
    // makes one).
    Q_PROPERTY(int notchPosition READ notchPosition NOTIFY notchPositionChanged)
    Q_PROPERTY(bool recordingOpen READ recordingOpen NOTIFY recordingChanged)
    Q_PROPERTY(bool recordingSwitchTab READ recordingSwitchTab NOTIFY recordingChanged)

public:
    explicit SettingsController(QObject *parent = nullptr);
    ~SettingsController() override;

    [[nodiscard]] BoardStore *store() const { return m_store; }
    void setStore(BoardStore *store);
    [[nodiscard]] NotchModel *model() const { return m_model; }
    void setModel(NotchModel *model);

    [[nodiscard]] QString message() const;
    [[nodiscard]] bool welcome() const { return m_welcome; }
    [[nodiscard]] bool launchAtLogin() const { return m_launchAtLogin; }
    [[nodiscard]] QString vaultText() const;
    [[nodiscard]] FolderField *boardsField() const { return m_boardsField; }
    [[nodiscard]] FolderField *notesField() const { return m_notesField; }
    [[nodiscard]] QString openShortcutLabel() const;
    [[nodiscard]] QString switchTabShortcutLabel() const;
    [[nodiscard]] int notchPosition() const;
    Q_INVOKABLE void setNotchPosition(int position);
    [[nodiscard]] bool recordingOpen() const;
    [[nodiscard]] bool recordingSwitchTab() const;

    // The view came into view: the welcome line shows on the first run unless there is a message.
    Q_INVOKABLE void appeared();

    Q_INVOKABLE void chooseVault();
    Q_INVOKABLE void chooseBoardsFolder();
    Q_INVOKABLE void chooseNotesFolder();
    Q_INVOKABLE void revealVault() const;
    Q_INVOKABLE void revealBoardsFolder() const;
    Q_INVOKABLE void revealNotesFolder() const;

    // The tray menu's actions, for desktops without a tray.
    Q_INVOKABLE void openTodayInObsidian() const;
    Q_INVOKABLE void quit() const;

    // Registers or unregisters the autostart entry; the switch then shows what is really in force.
    Q_INVOKABLE void setLaunchAtLogin(bool on);

    // Starts recording a new shortcut for `target`, or stops when it is already being recorded.
    Q_INVOKABLE void toggleRecording(NotchModel::ShortcutTarget target);
    Q_INVOKABLE void resetShortcut(NotchModel::ShortcutTarget target);

    // `path` with the home folder written "~".
    [[nodiscard]] static QString abbreviatedPath(const QString &path, const QString &home);

signals:
    void storeChanged();
    void modelChanged();
    void messageChanged();
    void welcomeChanged();
    void launchAtLoginChanged();
    void vaultTextChanged();
    void shortcutsChanged();
    void recordingChanged();
    void notchPositionChanged();

private:
    void setWelcome(bool welcome);
    void readLaunchAtLogin();
    [[nodiscard]] SettingsState *state() const;
    // The store's settings, which is all of it this edits; null without a store.
    [[nodiscard]] Preferences *preferences() const;

    QPointer<BoardStore> m_store;
    QPointer<NotchModel> m_model;
    FolderField *m_boardsField;
    FolderField *m_notesField;
    bool m_welcome = false;
    bool m_launchAtLogin = false;
};
