#pragma once

#include <QObject>

#include <memory>

class BoardStore;
class FileRevealer;
class NotchController;
class QQmlEngine;
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
    [[nodiscard]] NotchController *controller() const { return m_controller; }

private:
    std::unique_ptr<UrlLauncher> m_launcher;
    BoardStore *m_store = nullptr;
    QQmlEngine *m_engine = nullptr;
    NotchController *m_controller = nullptr;
    FileRevealer *m_revealer = nullptr;
    TrayIcon *m_tray = nullptr;
    SessionMonitor *m_session = nullptr;
};
