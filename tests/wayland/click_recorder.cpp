// A plain window that stands for another program's window under the panel: it reports every
// press, release, typed text and focus change on stdout, one line each, so that a test can tell
// which input reached it.
#include <QGuiApplication>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPainter>
#include <QRasterWindow>
#include <cstdio>

namespace {

void report(const char *format, auto... args)
{
    if constexpr (sizeof...(args) == 0)
        std::fputs(format, stdout);
    else
        std::printf(format, args...);
    std::putchar('\n');
    // The test reads the lines while the window is still running.
    std::fflush(stdout);
}

class RecorderWindow : public QRasterWindow {
protected:
    void paintEvent(QPaintEvent *) override
    {
        QPainter painter(this);
        painter.fillRect(QRect(QPoint(0, 0), size()), QColor(0x80, 0x80, 0x80));
    }

    void mousePressEvent(QMouseEvent *event) override { reportButton("press", event); }
    void mouseReleaseEvent(QMouseEvent *event) override { reportButton("release", event); }

    void keyPressEvent(QKeyEvent *event) override
    {
        if (!event->text().isEmpty())
            report("key %s", event->text().toUtf8().constData());
        else
            report("keycode %d", event->key());
    }

    void focusInEvent(QFocusEvent *) override { report("focus in"); }
    void focusOutEvent(QFocusEvent *) override { report("focus out"); }

    void exposeEvent(QExposeEvent *event) override
    {
        QRasterWindow::exposeEvent(event);
        if (isExposed() && !m_shown) {
            m_shown = true;
            report("exposed %d %d", width(), height());
        }
    }

private:
    void reportButton(const char *what, QMouseEvent *event)
    {
        // Wayland gives a window no global position; the local one, plus where the window sits
        // as far as Qt knows, is what a test can compare.
        const QPoint local = event->position().toPoint();
        const QPoint global = event->globalPosition().toPoint();
        report("%s %d %d global %d %d", what, local.x(), local.y(), global.x(), global.y());
    }

    bool m_shown = false;
};

} // namespace

int main(int argc, char **argv)
{
    QGuiApplication app(argc, argv);
    RecorderWindow window;
    window.setTitle(QStringLiteral("click recorder"));
    window.showMaximized();
    return app.exec();
}
