#pragma once

#include <QRect>

class QWindow;

// What makes a window part of the desktop on X11 rather than an application window: on every
// workspace, above normal windows, outside the taskbar and pager, with an input area of its own
// choosing. Everything here is a no-op away from X11.
class X11Overlay {
public:
    X11Overlay() = delete;

    // Call after create() and before the first show(): window managers read the initial state
    // only when the window is mapped.
    static void prepare(QWindow *window);
    // The part of the window that takes pointer input, in the window's own coordinates; an empty
    // rectangle lets every click through to what lies beneath.
    static void setInputArea(QWindow *window, const QRect &area);
    // Transparent pixels are only transparent when a compositing manager runs.
    [[nodiscard]] static bool isCompositing();
    // The window that has the keyboard focus, so that it can get it back later; 0 when unknown.
    [[nodiscard]] static quint32 focusedWindow();
    // Whether an EWMH window manager runs.
    [[nodiscard]] static bool hasWindowManager();
    // Hands the keyboard back to `window` if it still exists and is viewable, telling the
    // window manager as a pager would.
    static void focusWindow(quint32 window);
    // The same without a word to the window manager (or compositor).
    static void setInputFocus(quint32 window);
    // Gives one of our own windows the keyboard now, whatever happened since Qt's last event.
    static void takeFocus(QWindow *window);
};
