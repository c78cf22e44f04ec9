#pragma once

#include <QObject>

#include <memory>

class BoardStore;
class FileRevealer;
class HotKey;
class NotchBehavior;
class NotchModel;
class ScreenDesktop;
class SessionMonitor;
class TrayIcon;
class UrlLauncher;

// The resident application: builds the store, the panel and the tray, in that order, and keeps
// them for the life of the process.
class AppDelegate : public QObject {
    Q_OBJECT

public:
    explicit AppDelegate(QObject *parent = nullptr);
    ~AppDelegate() override;

    [[nodiscard]] BoardStore *store() const { return m_store; }
    [[nodiscard]] NotchModel *model() const { return m_model; }
    [[nodiscard]] NotchBehavior *behavior() const { return m_behavior; }

private:
    void followOpenShortcut();

    std::unique_ptr<UrlLauncher> m_launcher;
    std::unique_ptr<ScreenDesktop> m_desktop;
    BoardStore *m_store = nullptr;
    NotchModel *m_model = nullptr;
    NotchBehavior *m_behavior = nullptr;
    HotKey *m_hotKey = nullptr;
    FileRevealer *m_revealer = nullptr;
    TrayIcon *m_tray = nullptr;
    SessionMonitor *m_session = nullptr;
};
