#pragma once

#include "notch/NotchModel.h"
#include "store/BoardStore.h"
#include "support/AnimationWatch.h"
#include "support/PanelView.h"
#include "support/StoreFixture.h"

#include <QColor>
#include <QQuickView>
#include <QSize>
#include <QTest>

#include <memory>

// What every view test sets up: a scratch vault on a clock the test sets, the store and the
// panel's model over it, and one of the panel's views in a real window. Test classes inherit it
// next to QObject.
class ViewFixture {
protected:
    std::unique_ptr<Scratch> m_scratch;
    FakeClock m_clock;
    RecordingLauncher m_launcher;
    std::unique_ptr<BoardStore> m_store;
    std::unique_ptr<NotchModel> m_model;
    std::unique_ptr<QQuickView> m_view;
    AnimationWatch m_animations;

    // For init(): an empty scratch vault, on Friday 7 March 2025 at 09:00.
    void freshVault()
    {
        m_scratch = std::make_unique<Scratch>();
        m_clock.set(2025, 3, 7);
        m_launcher.opened.clear();
    }

    // The store and the model over the vault as it is now.
    void makeStore()
    {
        m_store = std::make_unique<BoardStore>(&m_clock, &m_launcher);
        m_model = std::make_unique<NotchModel>();
    }

    // `file` (such as "board/BoardView.qml") in a window of `size`, shown; with no size the
    // window takes the view's own.
    void showView(const QString &file, const QSize &size, const QColor &colour = Qt::black)
    {
        m_view = panelView(file, m_model.get(), m_store.get(), colour);
        QVERIFY2(m_view->status() == QQuickView::Ready, qPrintable(loadErrors(*m_view)));
        if (size.isEmpty())
            m_view->setResizeMode(QQuickView::SizeViewToRootObject);
        else
            m_view->resize(size);
        m_view->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_view.get()));
    }

    // Keys go to the active window only.
    void activateView()
    {
        m_view->requestActivate();
        QVERIFY(QTest::qWaitForWindowActive(m_view.get()));
    }

    // Waits until the view has laid out and every animation has ended: cards that moved are
    // where they land, menus and fades are done.
    void settle() { QVERIFY2(m_animations.settle(m_view.get()), "the view never came to rest"); }

    // For cleanup(): the view goes before the model and the store it shows.
    void closeView()
    {
        m_view.reset();
        m_model.reset();
        m_store.reset();
    }
};
