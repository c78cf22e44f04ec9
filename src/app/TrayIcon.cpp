#include "TrayIcon.h"

#include "AppLog.h"
#include "notch/NotchBehavior.h"
#include "platform/FileRevealer.h"
#include "platform/LaunchAtLogin.h"
#include "platform/TrayHost.h"
#include "store/BoardStore.h"

#include <QApplication>
#include <QFileDialog>
#include <QMenu>
#include <QMessageBox>
#include <QPainter>
#include <QPainterPath>
#include <QSystemTrayIcon>

TrayIcon::TrayIcon(BoardStore *store, NotchBehavior *behavior, FileRevealer *revealer,
                   QObject *parent)
    : QObject(parent), m_store(store), m_behavior(behavior), m_revealer(revealer), m_menu(new QMenu)
{
    m_menu->addAction(u"Open Tallowfern"_qs, this, [this] { m_behavior->open(true); });
    m_menu->addAction(u"Open Today's Board in Obsidian"_qs, this,
                      [this] { m_store->openTodayInObsidian(); });
    m_menu->addAction(u"Show Boards Folder"_qs, this,
                      [this] { m_revealer->reveal(m_store->todayPath()); });
    m_menu->addSeparator();
    m_menu->addAction(u"Choose Vault\u2026"_qs, this, &TrayIcon::chooseVault);
    m_login = m_menu->addAction(u"Launch at Login"_qs, this, &TrayIcon::toggleLogin);
    m_login->setCheckable(true);
    m_menu->addSeparator();
    QAction *quit = m_menu->addAction(u"Quit Tallowfern"_qs, qApp, &QCoreApplication::quit);
    quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    // The mark always shows the real state, also after someone else changed the entry.
    connect(m_menu, &QMenu::aboutToShow, this, &TrayIcon::refreshLoginMark);
    refreshLoginMark();

    m_host = new TrayHost(this);
    connect(m_host, &TrayHost::presentChanged, this, &TrayIcon::refreshAvailability);
    m_available = m_host->isPresent();
    if (m_available)
        showIcon();
    else
        qCWarning(lcApp, "no tray on this desktop: Quit and the tray menu's other actions are "
                         "in the panel's Settings");
}

TrayIcon::~TrayIcon()
{
    delete m_menu;
}

QImage TrayIcon::picture(qreal scale, const QColor &ink, const QColor &halo)
{
    const int side = qRound(18 * scale);
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    image.fill(Qt::transparent);
    QPainterPath solid;
    solid.addRoundedRect(QRectF(6, 1.5, 6, 3.4), 1.5, 1.5);
    solid.addRoundedRect(QRectF(4.2, 7, 2.5, 6.6), 1, 1);
    solid.addRoundedRect(QRectF(7.75, 7, 2.5, 4), 1, 1);
    solid.addRoundedRect(QRectF(11.3, 7, 2.5, 5.3), 1, 1);
    QPainterPath outline;
    outline.addRoundedRect(QRectF(1.5, 2.2, 15, 13.6), 4, 4);

    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const auto draw = [&](const QColor &colour, qreal grow) {
        painter.setPen(QPen(colour, 1.4 + grow, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        painter.setBrush(Qt::NoBrush);
        painter.drawPath(outline);
        painter.setPen(grow > 0 ? QPen(colour, grow, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin)
                                : Qt::NoPen);
        painter.setBrush(colour);
        painter.drawPath(solid);
    };
    draw(halo, 1.2); // a thin contrasting rim keeps it legible on any panel colour
    draw(ink, 0);
    return image;
}

QIcon TrayIcon::icon()
{
    QIcon icon;
    const QColor ink(0xF2, 0xF2, 0xF2);
    const QColor halo(0, 0, 0, 150);
    for (qreal scale : {1.0, 1.5, 2.0, 3.0})
        icon.addPixmap(QPixmap::fromImage(picture(scale, ink, halo)));
    return icon;
}

void TrayIcon::refreshAvailability()
{
    m_host->refresh();
    const bool available = m_host->isPresent();
    if (available == m_available)
        return;
    m_available = available;
    qCInfo(lcApp, available ? "a tray appeared: the icon is in it" : "the tray went away");
    if (available)
        showIcon();
    emit availableChanged();
}

void TrayIcon::showIcon()
{
    // Made only once a host is there: Qt settles on its kind of tray when the first icon is
    // made, and would otherwise never use one that comes later.
    if (m_tray)
        return;
    m_tray = new QSystemTrayIcon(this);
    m_tray->setIcon(icon());
    m_tray->setToolTip(u"Tallowfern"_qs);
    m_tray->setContextMenu(m_menu);
    connect(m_tray, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason why) {
                if (why == QSystemTrayIcon::Trigger)
                    m_behavior->toggleFromHotKey();
            });
    m_tray->show();
}

void TrayIcon::chooseVault()
{
    const QString folder = QFileDialog::getExistingDirectory(
        nullptr, u"Choose your Obsidian vault folder"_qs, m_store->vaultDir());
    if (!folder.isEmpty())
        m_store->setVault(folder);
}

void TrayIcon::toggleLogin()
{
    const bool wanted = !LaunchAtLogin::isEnabled();
    if (const auto error =
            LaunchAtLogin::setEnabled(wanted, QCoreApplication::applicationFilePath())) {
        QMessageBox alert(QMessageBox::Warning, u"Tallowfern"_qs,
                          u"Couldn't change Launch at Login"_qs);
        alert.setInformativeText(*error);
        alert.exec();
    }
    refreshLoginMark();
}

void TrayIcon::refreshLoginMark()
{
    m_login->setChecked(LaunchAtLogin::isEnabled());
}
