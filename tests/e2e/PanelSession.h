#pragma once

#include "Checks.h"
#include "PanelScreen.h"
#include "ScreenText.h"
#include "TallowfernProcess.h"
#include "XServer.h"

#include <QRect>
#include <QString>
#include <QStringList>
#include <QTest>

#include <functional>
#include <memory>
#include <utility>

// The real app on a private X server under a window manager, as the tab tests drive it: starting
// it closed, opening it pinned, where its windows are, clicks and keys, and a picture of the
// screen when a check fails. Test classes inherit it next to QObject.
class PanelSession {
protected:
    explicit PanelSession(QString screenshotDir) : m_screenshotDir(std::move(screenshotDir)) {}

    std::unique_ptr<XServer> m_x;
    std::unique_ptr<TallowfernProcess> m_app;
    xcb_window_t m_content = 0;
    QRect m_window; // the content window, in root coordinates

    // For initTestCase(): fails at once when a program the test drives is missing.
    void prepare(const QStringList &programs) const
    {
        PanelScreen::prepare(m_screenshotDir, programs);
    }
    // For init(): the X server, under a window manager as on a desktop.
    void startServer()
    {
        m_x = std::make_unique<XServer>();
        const QString error = m_x->start(true);
        QVERIFY2(error.isEmpty(), qPrintable(error));
    }
    // For cleanup(): what the app printed when the test failed, then everything stops.
    void stopAll()
    {
        if (m_app && QTest::currentTestFailed())
            qWarning().noquote() << "the app printed:\n" << m_app->output();
        TallowfernProcess::finish(m_app);
        m_x.reset();
        m_content = 0;
        m_window = QRect();
    }

    // Starts the app with the pointer far away; `before` prepares m_app (its files, its
    // environment) first. Returns once the closed notch shows.
    void startApp(const std::function<void()> &before = {})
    {
        CHECKED(run(XServer::moveTo(PanelLayout::FarAway)));
        m_app = std::make_unique<TallowfernProcess>(*m_x);
        if (before)
            CHECKED(before());
        const QString error = m_app->start();
        QVERIFY2(error.isEmpty(), qPrintable(error));
        CHECKED(awaitWindows());
    }
    // The panel's windows of a freshly started app, and the closed notch drawn in them.
    void awaitWindows()
    {
        m_content = m_app->waitForPanel();
        QVERIFY2(m_content != 0, "the panel's windows never mapped");
        m_window = m_x->geometry(m_content);
        QCOMPARE(m_window.size(), QSize(860, 420));
        VERIFY_SCREEN(waitFor([this] { return PanelScreen::showsNotch(*m_x, m_window); }),
                      u"the closed notch never showed"_qs);
    }
    // Alt+N: the panel opens pinned and takes the keyboard; then `area` comes to rest.
    void openPinned(const QRect &area)
    {
        CHECKED(key(u"alt+n"_qs));
        VERIFY_SCREEN(waitFor([this] { return isOpen(); }), u"Alt+N did not open the panel"_qs);
        VERIFY_SCREEN(waitFor([this] { return contentHasFocus(); }),
                      u"the pinned panel did not take the keyboard focus"_qs);
        VERIFY_SCREEN(ScreenText::settle(*m_x, area), u"the panel never came to rest"_qs);
    }

    [[nodiscard]] QRgb at(QPoint point) const { return m_x->pixel(point.x(), point.y()); }
    [[nodiscard]] bool isOpen() const { return PanelScreen::isOpen(*m_x, m_window); }
    [[nodiscard]] bool isClosed() const { return PanelScreen::isClosed(*m_x, m_window); }
    [[nodiscard]] bool contentHasFocus() const
    {
        return m_content != 0 && m_x->isSameOrInside(m_x->inputFocus(), m_content);
    }

    // The message for VERIFY_SCREEN, with a picture of the screen saved beside it.
    [[nodiscard]] QString failure(const QString &what) const
    {
        return PanelScreen::failure(*m_x, m_screenshotDir, m_window, what);
    }
    void expectNoText(const QList<Word> &words, const QString &phrase, const QString &where)
    {
        VERIFY_SCREEN(!ScreenText::findPhrase(words, phrase).has_value(),
                      u"\"%1\" is still in %2; tesseract read %3"_qs.arg(
                          phrase, where, ScreenText::describe(words)));
    }

    void run(const QStringList &arguments)
    {
        QString error;
        QVERIFY2(m_x->xdotool(arguments, &error), qPrintable(error));
    }
    void click(QPoint point, int button = 1)
    {
        run(XServer::moveTo(point, {u"sleep"_qs, u"0.1"_qs, u"click"_qs, QString::number(button)}));
    }
    void type(const QString &text) { run({u"type"_qs, u"--delay"_qs, u"30"_qs, u"--"_qs, text}); }
    void key(const QString &name) { run({u"key"_qs, name}); }

private:
    QString m_screenshotDir;
};
