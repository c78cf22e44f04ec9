#pragma once

#include <QIcon>
#include <QObject>

class BoardStore;
class FileRevealer;
class NotchBehavior;
class QAction;
class QMenu;
class QSystemTrayIcon;
class TrayHost;

// The tray icon and its menu: the way to reach the panel's files, the vault, launch at login,
// and the only way to quit.
class TrayIcon : public QObject {
    Q_OBJECT

public:
    TrayIcon(BoardStore *store, NotchBehavior *behavior, FileRevealer *revealer,
             QObject *parent = nullptr);
    ~TrayIcon() override;

    // A rounded screen with a notch at its top edge and three board columns, 18 × 18 at
    // `scale`, in `ink`, outlined so that it reads on light and dark panels alike.
    [[nodiscard]] static QImage picture(qreal scale, const QColor &ink, const QColor &halo);
    [[nodiscard]] static QIcon icon();

    [[nodiscard]] QMenu *menu() const { return m_menu; }
    // A tray host shows the icon. Desktops without one (GNOME without an extension) have none;
    // a panel that starts after the app gets the icon once it is there.
    [[nodiscard]] bool isAvailable() const { return m_available; }

public slots:
    // Asks again; done whenever a tray host comes or goes on the bus.
    void refreshAvailability();

signals:
    void availableChanged();

private:
    void chooseVault();
    void toggleLogin();
    void refreshLoginMark();

    BoardStore *m_store;
    NotchBehavior *m_behavior;
    FileRevealer *m_revealer;
    QMenu *m_menu;
    QAction *m_login;
    void showIcon();

    TrayHost *m_host = nullptr;
    QSystemTrayIcon *m_tray = nullptr;
    bool m_available = false;
};
