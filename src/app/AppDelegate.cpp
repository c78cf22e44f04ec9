#include "AppDelegate.h"

#include "TrayIcon.h"
#include "notch/NotchBehavior.h"
#include "notch/NotchController.h"
#include "notch/NotchModel.h"
#include "platform/FileRevealer.h"
#include "platform/SessionMonitor.h"
#include "platform/UrlLauncher.h"
#include "store/BoardStore.h"
#include "views/IconProvider.h"
#include "views/board/CardPreviewProvider.h"
#include "views/settings/SystemDesktopServices.h"

#include <QQmlEngine>

AppDelegate::AppDelegate(QObject *parent)
    : QObject(parent), m_launcher(std::make_unique<DesktopUrlLauncher>())
{
    m_store = new BoardStore(nullptr, m_launcher.get(), this);

    m_engine = new QQmlEngine(this);
    m_engine->addImportPath(u"qrc:/qt/qml"_qs);
    IconProvider::install(m_engine);
    CardPreviewProvider::install(m_engine);
    m_controller = new NotchController(m_store, m_engine, NotchController::defaultRootView(), this);

    m_revealer = new FileRevealer(m_launcher.get(), this);
    // The Settings tab's folder dialogs and file manager; gone with the delegate.
    DesktopServices::setCurrent(new SystemDesktopServices(m_revealer, this));
    m_tray = new TrayIcon(m_store, m_controller->behavior(), m_revealer, this);
    NotchModel *model = m_controller->model();
    model->setTrayAvailable(m_tray->isAvailable());
    connect(m_tray, &TrayIcon::availableChanged, model,
            [this, model] { model->setTrayAvailable(m_tray->isAvailable()); });
    // An XEmbed tray that came up later announces itself on no bus: while there is none, look
    // again when the panel opens, which is when the answer shows.
    connect(model, &NotchModel::isOpenChanged, m_tray, [this, model] {
        if (model->isOpen() && !m_tray->isAvailable())
            m_tray->refreshAvailability();
    });

    if (m_store->isFirstRun()) {
        m_controller->model()->setTab(NotchModel::Tab::Settings);
        m_controller->behavior()->open(true);
    }

    // A day that changed while the machine slept or the screen was locked shows up at once.
    m_session = new SessionMonitor(this);
    connect(m_session, &SessionMonitor::resumed, m_store, &BoardStore::loadToday);
    connect(m_session, &SessionMonitor::unlocked, m_store, &BoardStore::loadToday);
}

// The controller's windows go before the engine that their views come from.
AppDelegate::~AppDelegate()
{
    delete m_tray;
    delete m_controller;
}
