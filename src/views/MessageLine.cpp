#include "MessageLine.h"

#include "views/settings/DesktopServices.h"

MessageLine::MessageLine(QObject *parent) : QObject(parent) {}

void MessageLine::setStore(BoardStore *store)
{
    if (m_store == store)
        return;
    if (m_store)
        disconnect(m_store, nullptr, this, nullptr);
    m_store = store;
    if (m_store) {
        connect(m_store, &BoardStore::lastErrorChanged, this, &MessageLine::changed);
        connect(m_store, &BoardStore::unreadableChanged, this, &MessageLine::changed);
    }
    emit storeChanged();
    emit changed();
}

QString MessageLine::text() const
{
    if (!m_store)
        return {};
    // Other news may come and go; the unreadable board is what blocks the user.
    if (!m_store->boardUnreadable().isEmpty())
        return m_store->boardUnreadable() +
               u". Edits wait until it can be read, or until you start a fresh board."_qs;
    return m_store->lastError();
}

bool MessageLine::canShowCopy() const
{
    return m_store && m_store->boardUnreadable().isEmpty() && !m_store->lastCopy().isEmpty();
}

bool MessageLine::boardUnreadable() const
{
    return m_store && !m_store->boardUnreadable().isEmpty();
}

void MessageLine::showCopy() const
{
    if (!canShowCopy())
        return;
    if (DesktopServices *services = DesktopServices::current())
        services->reveal(m_store->lastCopy());
}

void MessageLine::openBoard() const
{
    if (m_store)
        m_store->openTodayInObsidian();
}

void MessageLine::startFreshBoard()
{
    if (boardUnreadable())
        m_store->startFreshBoard();
}

void MessageLine::dismiss()
{
    if (m_store && !boardUnreadable())
        m_store->dismissError();
}
