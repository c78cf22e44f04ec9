#include "AppDelegate.h"

#include "AppLog.h"
#include "TrayIcon.h"
#include "io/ReplacedCopies.h"
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

#include <QCoreApplication>
#include <QDateTime>
#include <QQmlEngine>

namespace {

// Copies of replaced bytes are kept long enough to notice a loss, not for ever.
void removeOldReplacedCopies()
{
    const ReplacedCopies::Removal removal =
        ReplacedCopies::removeOlderThan(QDateTime::currentDateTime());
    for (const QString &path : removal.removed)
        qCDebug(lcApp, "removed the replaced copy %s", qPrintable(path));
    if (!removal.removed.isEmpty())
        qCInfo(lcApp, "removed %lld replaced copies older than %lld days from %s",
               static_cast<long long>(removal.removed.size()),
               static_cast<long long>(ReplacedCopies::keptFor.count()),
               qPrintable(ReplacedCopies::folder()));
    for (const QString &failure : removal.failures)
        qCWarning(lcApp, "old replaced copies: %s", qPrintable(failure));
}

} // namespace

AppDelegate::AppDelegate(QObject *parent)
    : QObject(parent), m_launcher(std::make_unique<DesktopUrlLauncher>())
{
    m_store = new BoardStore(nullptr, m_launcher.get(), this);
    // Every way of quitting (the tray, the bus, a signal) ends the event loop; the note typed
    // last is written before the windows and the store go.
    connect(QCoreApplication::instance(), &QCoreApplication::aboutToQuit, m_store,
            &BoardStore::flushQuickNote);

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

    removeOldReplacedCopies();
}

// The controller's windows go before the engine that their views come from.
AppDelegate::~AppDelegate()
{
    delete m_tray;
    delete m_controller;
}
