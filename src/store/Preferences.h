#pragma once

#include "model/Shortcut.h"

#include <QObject>
#include <QString>

#include <memory>
#include <optional>

class QSettings;

// The user's settings, kept in an INI file and written through on every change. Values that
// cannot be used read as their defaults and stay in the file until they are set again.
class Preferences : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isFirstRun READ isFirstRun CONSTANT)
    Q_PROPERTY(QString vaultPath READ vaultPath WRITE setVaultPath NOTIFY vaultPathChanged)
    Q_PROPERTY(
        QString boardsFolder READ boardsFolder WRITE setBoardsFolder NOTIFY boardsFolderChanged)
    Q_PROPERTY(QString notesFolder READ notesFolder WRITE setNotesFolder NOTIFY notesFolderChanged)
    Q_PROPERTY(
        bool swipeToSwitch READ swipeToSwitch WRITE setSwipeToSwitch NOTIFY swipeToSwitchChanged)
    Q_PROPERTY(
        Shortcut openShortcut READ openShortcut WRITE setOpenShortcut NOTIFY openShortcutChanged)
    Q_PROPERTY(Shortcut switchTabShortcut READ switchTabShortcut WRITE setSwitchTabShortcut NOTIFY
                   switchTabShortcutChanged)
    Q_PROPERTY(NotchPosition notchPosition READ notchPosition WRITE setNotchPosition NOTIFY
                   notchPositionChanged)
    Q_PROPERTY(bool carryOver READ carryOver WRITE setCarryOver NOTIFY carryOverChanged)
    Q_PROPERTY(
        bool morningBanner READ morningBanner WRITE setMorningBanner NOTIFY morningBannerChanged)

public:
    static constexpr QStringView defaultBoardsFolder = u"01 Journal/Boards";
    static constexpr QStringView defaultNotesFolder = u"01 Journal/Quick Notes";

    // Where along the top edge the closed notch sits; Automatic leaves it to the desktop.
    enum class NotchPosition { Automatic, Left, Centre, Right };
    Q_ENUM(NotchPosition)

    struct Key {
        static constexpr QStringView vault = u"vaultPath";
        static constexpr QStringView boardsFolder = u"boardsFolder";
        static constexpr QStringView notesFolder = u"notesFolder";
        static constexpr QStringView swipeToSwitch = u"swipeToSwitch";
        static constexpr QStringView openShortcut = u"openShortcut";
        static constexpr QStringView switchTabShortcut = u"switchTabShortcut";
        static constexpr QStringView carryOver = u"carryOver";
        static constexpr QStringView morningBanner = u"morningBanner";
        static constexpr QStringView notchPosition = u"notchPosition";
    };

    // Reads the file at settingsPath(). Without a stored vault this is the first run: the vault
    // is looked for and kept, so that later launches do not go looking again.
    explicit Preferences(QObject *parent = nullptr);
    ~Preferences() override;

    // $XDG_CONFIG_HOME/Tallowfern/Tallowfern.conf.
    [[nodiscard]] static QString settingsPath();

    [[nodiscard]] bool isFirstRun() const { return m_isFirstRun; }
    [[nodiscard]] const QString &vaultPath() const { return m_vaultPath; }
    void setVaultPath(const QString &path);
    [[nodiscard]] const QString &boardsFolder() const { return m_boardsFolder; }
    void setBoardsFolder(const QString &folder);
    [[nodiscard]] const QString &notesFolder() const { return m_notesFolder; }
    void setNotesFolder(const QString &folder);
    [[nodiscard]] bool swipeToSwitch() const { return m_swipeToSwitch; }
    void setSwipeToSwitch(bool on);
    [[nodiscard]] Shortcut openShortcut() const { return m_openShortcut; }
    void setOpenShortcut(Shortcut shortcut);
    [[nodiscard]] Shortcut switchTabShortcut() const { return m_switchTabShortcut; }
    void setSwitchTabShortcut(Shortcut shortcut);
    [[nodiscard]] NotchPosition notchPosition() const { return m_notchPosition; }
    void setNotchPosition(NotchPosition position);
    [[nodiscard]] bool carryOver() const { return m_carryOver; }
    void setCarryOver(bool on);
    [[nodiscard]] bool morningBanner() const { return m_morningBanner; }
    void setMorningBanner(bool on);

signals:
    void vaultPathChanged();
    void boardsFolderChanged();
    void notesFolderChanged();
    void swipeToSwitchChanged();
    void notchPositionChanged();
    void openShortcutChanged();
    void switchTabShortcutChanged();
    void carryOverChanged();
    void morningBannerChanged();
    // The vault or the boards folder changed and is stored: the boards are somewhere else now.
    void boardsMoved();

private:
    [[nodiscard]] std::optional<Shortcut> loadShortcut(QStringView key) const;
    void storeValue(QStringView key, const QVariant &value);

    std::unique_ptr<QSettings> m_settings;
    bool m_isFirstRun = false;
    QString m_vaultPath;
    QString m_boardsFolder;
    QString m_notesFolder;
    bool m_swipeToSwitch = true;
    NotchPosition m_notchPosition = NotchPosition::Automatic;
    Shortcut m_openShortcut = Shortcut::defaultOpen();
    Shortcut m_switchTabShortcut = Shortcut::defaultSwitchTab();
    bool m_carryOver = true;
    bool m_morningBanner = true;
};
