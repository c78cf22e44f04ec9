#pragma once

#include <QByteArrayList>
#include <QImage>
#include <QProcess>
#include <QRect>
#include <QStringList>
#include <QTemporaryDir>

#include <xcb/xcb.h>

#include <functional>
#include <optional>

// A private X server for one test: Xvfb on a display number of its own, a compositing manager
// (without one, translucent windows read back as black) and, when asked, openbox. Everything it
// started is stopped when it goes.
class XServer {
public:
    static constexpr int Width = 1920;
    static constexpr int Height = 1080;

    XServer() = default;
    ~XServer();
    XServer(const XServer &) = delete;
    XServer &operator=(const XServer &) = delete;

    // An empty string on success, otherwise what went wrong.
    [[nodiscard]] QString start(bool withWindowManager);
    void stop();

    [[nodiscard]] QString display() const { return m_display; }
    [[nodiscard]] xcb_connection_t *connection() const { return m_connection; }
    [[nodiscard]] xcb_window_t root() const { return m_root; }
    // The scratch folder that the helpers run in; callers may put their own files there.
    [[nodiscard]] QString scratch() const { return m_scratch.path(); }
    // The environment for a client of this server, with a scratch home.
    [[nodiscard]] QProcessEnvironment clientEnvironment() const;

    // What is on the screen, as the compositing manager painted it.
    [[nodiscard]] QImage grab(const QRect &area = QRect(0, 0, Width, Height)) const;
    [[nodiscard]] QRgb pixel(int x, int y) const;

    // A viewable window whose _NET_WM_NAME (or else WM_NAME) is `title`; 0 if there is none.
    [[nodiscard]] xcb_window_t findWindow(const QString &title) const;
    [[nodiscard]] bool isViewable(xcb_window_t window) const;
    [[nodiscard]] bool isOverrideRedirect(xcb_window_t window) const;
    [[nodiscard]] QRect geometry(xcb_window_t window) const; // in root coordinates
    // Whether `upper` is stacked above `lower`, comparing the top-level windows holding them.
    [[nodiscard]] bool isStackedAbove(xcb_window_t upper, xcb_window_t lower) const;
    [[nodiscard]] bool isSameOrInside(xcb_window_t window, xcb_window_t ancestor) const;

    [[nodiscard]] xcb_atom_t atom(const char *name) const;
    [[nodiscard]] QStringList atomListProperty(xcb_window_t window, const char *property) const;
    [[nodiscard]] std::optional<quint32> cardinalProperty(xcb_window_t window,
                                                          const char *property) const;
    [[nodiscard]] QByteArrayList stringListProperty(xcb_window_t window,
                                                    const char *property) const;
    [[nodiscard]] xcb_window_t inputFocus() const;
    void setInputFocus(xcb_window_t window) const;

    // Runs xdotool against this display; false (with its output in `error`) when it fails.
    bool xdotool(const QStringList &arguments, QString *error = nullptr) const;
    // xdotool steps that move the pointer to `point`, followed by `then`.
    [[nodiscard]] static QStringList moveTo(QPoint point, const QStringList &then = {});

    // Drains the event queue, counting the button presses that reached `window`.
    int takeButtonPresses(xcb_window_t window);

private:
    bool waitForSelectionOwner(const char *selection, int timeoutMs) const;
    void paintRootWhite(const xcb_screen_t *screen);
    bool waitForWindowManagement();
    QString startHelper(QProcess &process, const QString &program, const QStringList &arguments,
                        const char *selection);
    [[nodiscard]] xcb_window_t topLevel(xcb_window_t window) const;

    QTemporaryDir m_scratch;
    QProcess m_xvfb;
    QProcess m_compositor;
    QProcess m_windowManager;
    QString m_display;
    xcb_connection_t *m_connection = nullptr;
    xcb_window_t m_root = 0;
};

// A plain top-level window of the test's own: something to hold the focus and to catch clicks.
class TestWindow {
public:
    TestWindow(XServer &server, const QRect &geometry);
    ~TestWindow();
    TestWindow(const TestWindow &) = delete;
    TestWindow &operator=(const TestWindow &) = delete;

    [[nodiscard]] xcb_window_t id() const { return m_window; }
    // Maps the window on top, as a newly opened window would be.
    void show();
    // Maps the window at the bottom of the stack, where the panel's windows are above it.
    void showBelowOthers();

private:
    XServer &m_server;
    xcb_window_t m_window = 0;
};

// Polls `condition` every 20 ms until it holds or `timeoutMs` passes.
bool waitFor(const std::function<bool()> &condition, int timeoutMs = 5000);
// Whether `condition` holds at every poll for `durationMs`.
bool holdsFor(const std::function<bool()> &condition, int durationMs);
