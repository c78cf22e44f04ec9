#pragma once

#include <QAnimationDriver>
#include <QCoreApplication>
#include <QQuickWindow>
#include <QTest>
#include <QTimer>
#include <QtQuickTest/quicktest.h>

// Runs the animations on the real clock (the base class's), a frame every 16 ms as Qt's own
// driver does, and knows whether any is running, so that a test can wait for a view to come to rest
// rather than for a guessed time.
class AnimationWatch : public QAnimationDriver {
public:
    AnimationWatch()
    {
        m_frames.setTimerType(Qt::PreciseTimer);
        m_frames.setInterval(16);
        QObject::connect(&m_frames, &QTimer::timeout, this, [this] { advance(); });
        install();
    }
    ~AnimationWatch() override { uninstall(); }

    // Until the window has laid out what changed and every animation that started has ended.
    // Animations start on the next turn of the event loop, transitions of views as they lay
    // out, so both are waited for before the animations are.
    [[nodiscard]] bool settle(QQuickWindow *window, int timeoutMs = 10000)
    {
        QCoreApplication::processEvents();
        if (window && !QQuickTest::qWaitForPolish(window, timeoutMs))
            return false;
        QCoreApplication::processEvents();
        return QTest::qWaitFor([this] { return !isRunning(); }, timeoutMs);
    }

protected:
    void start() override
    {
        QAnimationDriver::start();
        m_frames.start();
    }
    void stop() override
    {
        m_frames.stop();
        QAnimationDriver::stop();
    }

private:
    QTimer m_frames;
};
