#include "AppDelegate.h"

#include "TrayIcon.h"
#include "notch/NotchBehavior.h"
#include "notch/NotchModel.h"
#include "platform/FileRevealer.h"
#include "platform/HotKey.h"
#include "platform/ScreenDesktop.h"
#include "platform/SessionMonitor.h"
#include "platform/UrlLauncher.h"
#include "store/BoardStore.h"

#include <QGuiApplication>
#include <QScreen>

AppDelegate::AppDelegate(QObject *parent)
    : QObject(parent), m_launcher(std::make_unique<DesktopUrlLauncher>()),
      m_desktop(std::make_unique<ScreenDesktop>())
{
    m_store = new BoardStore(nullptr, m_launcher.get(), this);

    m_model = new NotchModel(this);
    m_behavior = new NotchBehavior(m_model, m_store, m_desktop.get(), this);
    const auto relayout = [this] { m_behavior->layout(); };
    connect(qGuiApp, &QGuiApplication::primaryScreenChanged, this, relayout);
    for (QScreen *screen : QGuiApplication::screens()) {
        connect(screen, &QScreen::geometryChanged, this, relayout);
        connect(screen, &QScreen::availableGeometryChanged, this, relayout);
    }
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [this, relayout](QScreen *screen) {
        connect(screen, &QScreen::geometryChanged, this, relayout);
        connect(screen, &QScreen::availableGeometryChanged, this, relayout);
        relayout();
    });

    // The hot key follows the stored shortcut and is off while a shortcut is being recorded, so
    // that the keys reach the recorder.
    m_hotKey = new HotKey([this] { m_behavior->toggleFromHotKey(); }, this);
    connect(m_store, &BoardStore::openShortcutChanged, this, &AppDelegate::followOpenShortcut);
    connect(m_model, &NotchModel::recordingChanged, this, &AppDelegate::followOpenShortcut);
    followOpenShortcut();

    m_revealer = new FileRevealer(m_launcher.get(), this);
    m_tray = new TrayIcon(m_store, m_behavior, m_revealer, this);

    if (m_store->isFirstRun()) {
        m_model->setTab(NotchModel::Tab::Settings);
        m_behavior->open(true);
    }

    // A day that changed while the machine slept or the screen was locked shows up at once.
    m_session = new SessionMonitor(this);
    connect(m_session, &SessionMonitor::resumed, m_store, &BoardStore::loadToday);
    connect(m_session, &SessionMonitor::unlocked, m_store, &BoardStore::loadToday);
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::followOpenShortcut()
{
    if (m_model->recording())
        m_hotKey->unregister();
    else
        m_hotKey->registerShortcut(m_store->openShortcut());
}
