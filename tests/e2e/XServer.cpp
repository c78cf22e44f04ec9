#include "XServer.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QTest>

#include <cstdlib>
#include <memory>

namespace {

struct FreeDeleter {
    void operator()(void *pointer) const { std::free(pointer); }
};
template <typename T> using Reply = std::unique_ptr<T, FreeDeleter>;

// Just enough openbox: new windows get the focus and a click focuses a window, as on a desktop.
constexpr char OpenboxConfig[] = R"(<?xml version="1.0" encoding="UTF-8"?>
<openbox_config xmlns="http://openbox.org/3.4/rc">
  <focus><focusNew>yes</focusNew><followMouse>no</followMouse></focus>
  <placement><policy>Smart</policy></placement>
  <desktops><number>2</number></desktops>
  <mouse>
    <context name="Client">
      <mousebind button="Left" action="Press"><action name="Focus"/><action name="Raise"/></mousebind>
    </context>
  </mouse>
</openbox_config>
)";

void stopProcess(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    process.terminate();
    if (!process.waitForFinished(3000)) {
        process.kill();
        process.waitForFinished(3000);
    }
}

int lowestSetBit(quint32 mask)
{
    int shift = 0;
    while (mask != 0 && (mask & 1u) == 0) {
        mask >>= 1;
        ++shift;
    }
    return shift;
}

// One colour channel scaled to 0..255, whatever width the visual gives it.
int channel(quint32 value, quint32 mask)
{
    if (mask == 0)
        return 0;
    const int shift = lowestSetBit(mask);
    const quint32 maximum = mask >> shift;
    return int(((value & mask) >> shift) * 255u / maximum);
}

} // namespace

XServer::~XServer()
{
    stop();
}

QString XServer::start(bool withWindowManager)
{
    if (!m_scratch.isValid())
        return u"no scratch folder"_qs;
    for (const char *name : {"home", "config", "state", "data", "cache"})
        QDir(m_scratch.path()).mkpath(QString::fromLatin1(name));

    // -displayfd makes Xvfb pick a free display and tell us which, so parallel runs never meet.
    m_xvfb.setProcessChannelMode(QProcess::SeparateChannels);
    m_xvfb.start(u"Xvfb"_qs, {u"-displayfd"_qs, u"1"_qs, u"-screen"_qs, u"0"_qs,
                              u"%1x%2x24"_qs.arg(Width).arg(Height), u"-dpi"_qs, u"96"_qs,
                              u"-nolisten"_qs, u"tcp"_qs, u"-noreset"_qs, u"-wr"_qs});
    if (!m_xvfb.waitForStarted(5000))
        return u"Xvfb did not start: "_qs + m_xvfb.errorString();
    QByteArray number;
    const QDeadlineTimer deadline(10000);
    while (!number.contains('\n') && !deadline.hasExpired()) {
        if (m_xvfb.state() == QProcess::NotRunning)
            break;
        m_xvfb.waitForReadyRead(100);
        number += m_xvfb.readAllStandardOutput();
    }
    if (!number.contains('\n'))
        return u"Xvfb gave no display number: "_qs +
               QString::fromLocal8Bit(m_xvfb.readAllStandardError());
    m_display = u":"_qs + QString::fromLatin1(number.trimmed());

    int screenNumber = 0;
    m_connection = xcb_connect(qPrintable(m_display), &screenNumber);
    if (xcb_connection_has_error(m_connection) != 0)
        return u"cannot connect to "_qs + m_display;
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
    for (int i = 0; i < screenNumber; ++i)
        xcb_screen_next(&screens);
    m_root = screens.data->root;

    paintRootWhite(screens.data);
    QString error = startHelper(m_compositor, u"xcompmgr"_qs, {}, "_NET_WM_CM_S0");
    if (!error.isEmpty() || !withWindowManager)
        return error;

    const QString config = QDir(m_scratch.path()).filePath(u"openbox-rc.xml"_qs);
    QFile file(config);
    if (!file.open(QIODevice::WriteOnly) || file.write(OpenboxConfig) < 0)
        return u"cannot write "_qs + config;
    file.close();
    error = startHelper(m_windowManager, u"openbox"_qs,
                        {u"--sm-disable"_qs, u"--config-file"_qs, config}, "WM_S0");
    if (error.isEmpty() && !waitForWindowManagement())
        error = u"openbox does not manage windows"_qs;
    return error;
}

void XServer::paintRootWhite(const xcb_screen_t *screen)
{
    // The compositing manager paints the root from the pixmap named here, grey without one.
    const xcb_pixmap_t pixmap = xcb_generate_id(m_connection);
    xcb_create_pixmap(m_connection, screen->root_depth, pixmap, m_root, 1, 1);
    const xcb_gcontext_t gc = xcb_generate_id(m_connection);
    const quint32 white[] = {screen->white_pixel};
    xcb_create_gc(m_connection, gc, pixmap, XCB_GC_FOREGROUND, white);
    const xcb_rectangle_t all{0, 0, 1, 1};
    xcb_poly_fill_rectangle(m_connection, pixmap, gc, 1, &all);
    xcb_free_gc(m_connection, gc);
    xcb_change_property(m_connection, XCB_PROP_MODE_REPLACE, m_root, atom("_XROOTPMAP_ID"),
                        XCB_ATOM_PIXMAP, 32, 1, &pixmap);
    xcb_flush(m_connection);
}

bool XServer::waitForWindowManagement()
{
    // Owning WM_S0 comes a little before redirecting the root's children: only a window that the
    // window manager has framed shows that it is at work.
    const xcb_window_t probe = xcb_generate_id(m_connection);
    xcb_create_window(m_connection, XCB_COPY_FROM_PARENT, probe, m_root, 0, 0, 10, 10, 0,
                      XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
    const auto framed = [&] {
        Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, probe), nullptr));
        return tree && tree->parent != m_root;
    };
    bool managed = false;
    const QDeadlineTimer deadline(10000);
    while (!managed && !deadline.hasExpired()) {
        // A map that slipped past unredirected is repeated.
        xcb_unmap_window(m_connection, probe);
        xcb_map_window(m_connection, probe);
        xcb_flush(m_connection);
        managed = waitFor(framed, 500);
    }
    xcb_destroy_window(m_connection, probe);
    xcb_flush(m_connection);
    return managed;
}

QString XServer::startHelper(QProcess &process, const QString &program,
                             const QStringList &arguments, const char *selection)
{
    process.setProcessEnvironment(clientEnvironment());
    // Their complaints about windows that vanished mid-request are noise; keep them aside.
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardOutputFile(QDir(m_scratch.path()).filePath(program + u".log"_qs));
    process.start(program, arguments);
    if (!process.waitForStarted(5000))
        return program + u" did not start: "_qs + process.errorString();
    // Ready once it owns its selection; compositing or managing starts only then.
    if (!waitForSelectionOwner(selection, 10000))
        return program + u" did not take "_qs + QString::fromLatin1(selection);
    return {};
}

void XServer::stop()
{
    stopProcess(m_windowManager);
    stopProcess(m_compositor);
    if (m_connection != nullptr) {
        xcb_disconnect(m_connection);
        m_connection = nullptr;
    }
    stopProcess(m_xvfb);
}

QProcessEnvironment XServer::clientEnvironment() const
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"DISPLAY"_qs, m_display);
    environment.remove(u"WAYLAND_DISPLAY"_qs);
    environment.remove(u"XAUTHORITY"_qs);
    const QDir dir(m_scratch.path());
    environment.insert(u"HOME"_qs, dir.filePath(u"home"_qs));
    environment.insert(u"XDG_CONFIG_HOME"_qs, dir.filePath(u"config"_qs));
    environment.insert(u"XDG_STATE_HOME"_qs, dir.filePath(u"state"_qs));
    environment.insert(u"XDG_DATA_HOME"_qs, dir.filePath(u"data"_qs));
    environment.insert(u"XDG_CACHE_HOME"_qs, dir.filePath(u"cache"_qs));
    return environment;
}

bool XServer::waitForSelectionOwner(const char *selection, int timeoutMs) const
{
    const xcb_atom_t name = atom(selection);
    return waitFor(
        [&] {
            Reply<xcb_get_selection_owner_reply_t> reply(xcb_get_selection_owner_reply(
                m_connection, xcb_get_selection_owner(m_connection, name), nullptr));
            return reply && reply->owner != XCB_NONE;
        },
        timeoutMs);
}

QImage XServer::grab(const QRect &area) const
{
    Reply<xcb_get_image_reply_t> reply(xcb_get_image_reply(
        m_connection,
        xcb_get_image(m_connection, XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, qint16(area.x()),
                      qint16(area.y()), quint16(area.width()), quint16(area.height()), ~0u),
        nullptr));
    if (!reply)
        return {};

    const xcb_setup_t *setup = xcb_get_setup(m_connection);
    int bitsPerPixel = 0;
    int scanlinePad = 0;
    for (xcb_format_iterator_t format = xcb_setup_pixmap_formats_iterator(setup); format.rem;
         xcb_format_next(&format)) {
        if (format.data->depth == reply->depth) {
            bitsPerPixel = format.data->bits_per_pixel;
            scanlinePad = format.data->scanline_pad;
        }
    }
    const xcb_visualtype_t *visual = nullptr;
    for (xcb_screen_iterator_t screen = xcb_setup_roots_iterator(setup); screen.rem && !visual;
         xcb_screen_next(&screen)) {
        for (xcb_depth_iterator_t depth = xcb_screen_allowed_depths_iterator(screen.data);
             depth.rem && !visual; xcb_depth_next(&depth)) {
            for (xcb_visualtype_iterator_t type = xcb_depth_visuals_iterator(depth.data); type.rem;
                 xcb_visualtype_next(&type)) {
                if (type.data->visual_id == reply->visual) {
                    visual = type.data;
                    break;
                }
            }
        }
    }
    if (visual == nullptr || (bitsPerPixel != 24 && bitsPerPixel != 32) || scanlinePad == 0)
        return {};

    const int bytesPerPixel = bitsPerPixel / 8;
    const int stride =
        (area.width() * bitsPerPixel + scanlinePad - 1) / scanlinePad * scanlinePad / 8;
    const uint8_t *data = xcb_get_image_data(reply.get());
    if (xcb_get_image_data_length(reply.get()) < stride * area.height())
        return {};
    const bool leastSignificantFirst = setup->image_byte_order == XCB_IMAGE_ORDER_LSB_FIRST;

    QImage image(area.size(), QImage::Format_RGB32);
    for (int y = 0; y < area.height(); ++y) {
        const uint8_t *line = data + y * stride;
        auto *out = reinterpret_cast<QRgb *>(image.scanLine(y));
        for (int x = 0; x < area.width(); ++x) {
            const uint8_t *bytes = line + x * bytesPerPixel;
            quint32 value = 0;
            for (int i = 0; i < bytesPerPixel; ++i) {
                const int index = leastSignificantFirst ? bytesPerPixel - 1 - i : i;
                value = (value << 8) | bytes[index];
            }
            out[x] = qRgb(channel(value, visual->red_mask), channel(value, visual->green_mask),
                          channel(value, visual->blue_mask));
        }
    }
    return image;
}

QRgb XServer::pixel(int x, int y) const
{
    const QImage image = grab(QRect(x, y, 1, 1));
    return image.isNull() ? qRgba(0, 0, 0, 0) : image.pixel(0, 0);
}

xcb_window_t XServer::findWindow(const QString &title) const
{
    const xcb_atom_t netName = atom("_NET_WM_NAME");
    const xcb_atom_t utf8 = atom("UTF8_STRING");
    QList<xcb_window_t> found;
    QList<xcb_window_t> level{m_root};
    while (!level.isEmpty()) {
        // One round trip per level of the tree rather than per window.
        QList<xcb_query_tree_cookie_t> trees;
        for (xcb_window_t window : level)
            trees.append(xcb_query_tree(m_connection, window));
        QList<xcb_window_t> next;
        for (xcb_query_tree_cookie_t cookie : trees) {
            Reply<xcb_query_tree_reply_t> tree(xcb_query_tree_reply(m_connection, cookie, nullptr));
            if (!tree)
                continue;
            const xcb_window_t *children = xcb_query_tree_children(tree.get());
            next.append(QList<xcb_window_t>(children,
                                            children + xcb_query_tree_children_length(tree.get())));
        }
        QList<xcb_get_property_cookie_t> netNames;
        QList<xcb_get_property_cookie_t> names;
        for (xcb_window_t window : next) {
            netNames.append(xcb_get_property(m_connection, 0, window, netName, utf8, 0, 256));
            names.append(xcb_get_property(m_connection, 0, window, XCB_ATOM_WM_NAME,
                                          XCB_ATOM_STRING, 0, 256));
        }
        for (qsizetype i = 0; i < next.size(); ++i) {
            bool named = false;
            for (xcb_get_property_cookie_t cookie : {netNames.at(i), names.at(i)}) {
                Reply<xcb_get_property_reply_t> reply(
                    xcb_get_property_reply(m_connection, cookie, nullptr));
                if (!named && reply && xcb_get_property_value_length(reply.get()) > 0) {
                    named = true;
                    const QString name = QString::fromUtf8(
                        static_cast<const char *>(xcb_get_property_value(reply.get())),
                        xcb_get_property_value_length(reply.get()));
                    if (name == title)
                        found.append(next.at(i));
                }
            }
        }
        level = next;
    }
    // Toolkits keep hidden windows of the same name around; the one on the screen matters.
    for (xcb_window_t window : std::as_const(found)) {
        if (isViewable(window))
            return window;
    }
    return 0;
}

bool XServer::isViewable(xcb_window_t window) const
{
    Reply<xcb_get_window_attributes_reply_t> reply(xcb_get_window_attributes_reply(
        m_connection, xcb_get_window_attributes(m_connection, window), nullptr));
    return reply && reply->map_state == XCB_MAP_STATE_VIEWABLE;
}

bool XServer::isOverrideRedirect(xcb_window_t window) const
{
    Reply<xcb_get_window_attributes_reply_t> reply(xcb_get_window_attributes_reply(
        m_connection, xcb_get_window_attributes(m_connection, window), nullptr));
    return reply && reply->override_redirect != 0;
}

QRect XServer::geometry(xcb_window_t window) const
{
    Reply<xcb_get_geometry_reply_t> size(
        xcb_get_geometry_reply(m_connection, xcb_get_geometry(m_connection, window), nullptr));
    Reply<xcb_translate_coordinates_reply_t> origin(xcb_translate_coordinates_reply(
        m_connection, xcb_translate_coordinates(m_connection, window, m_root, 0, 0), nullptr));
    if (!size || !origin)
        return {};
    return QRect(origin->dst_x, origin->dst_y, size->width, size->height);
}

xcb_window_t XServer::topLevel(xcb_window_t window) const
{
    while (window != 0) {
        Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
        if (!tree)
            return 0;
        if (tree->parent == m_root)
            return window;
        window = tree->parent;
    }
    return 0;
}

bool XServer::isSameOrInside(xcb_window_t window, xcb_window_t ancestor) const
{
    while (window != 0 && window != m_root) {
        if (window == ancestor)
            return true;
        Reply<xcb_query_tree_reply_t> tree(
            xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, window), nullptr));
        if (!tree)
            return false;
        window = tree->parent;
    }
    return false;
}

bool XServer::isStackedAbove(xcb_window_t upper, xcb_window_t lower) const
{
    const xcb_window_t upperTop = topLevel(upper);
    const xcb_window_t lowerTop = topLevel(lower);
    Reply<xcb_query_tree_reply_t> tree(
        xcb_query_tree_reply(m_connection, xcb_query_tree(m_connection, m_root), nullptr));
    if (!tree || upperTop == 0 || lowerTop == 0)
        return false;
    // The root's children come bottom first.
    const xcb_window_t *children = xcb_query_tree_children(tree.get());
    const QList<xcb_window_t> order(children,
                                    children + xcb_query_tree_children_length(tree.get()));
    return order.indexOf(upperTop) > order.indexOf(lowerTop) && order.contains(lowerTop);
}

xcb_atom_t XServer::atom(const char *name) const
{
    Reply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(
        m_connection, xcb_intern_atom(m_connection, 0, quint16(qstrlen(name)), name), nullptr));
    return reply ? reply->atom : xcb_atom_t(XCB_ATOM_NONE);
}

QStringList XServer::atomListProperty(xcb_window_t window, const char *property) const
{
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        m_connection,
        xcb_get_property(m_connection, 0, window, atom(property), XCB_ATOM_ATOM, 0, 1024),
        nullptr));
    QStringList names;
    if (!reply || reply->format != 32)
        return names;
    const auto *atoms = static_cast<const xcb_atom_t *>(xcb_get_property_value(reply.get()));
    for (int i = 0; i < xcb_get_property_value_length(reply.get()) / 4; ++i) {
        Reply<xcb_get_atom_name_reply_t> name(xcb_get_atom_name_reply(
            m_connection, xcb_get_atom_name(m_connection, atoms[i]), nullptr));
        if (name) {
            names.append(QString::fromLatin1(xcb_get_atom_name_name(name.get()),
                                             xcb_get_atom_name_name_length(name.get())));
        }
    }
    return names;
}

std::optional<quint32> XServer::cardinalProperty(xcb_window_t window, const char *property) const
{
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        m_connection,
        xcb_get_property(m_connection, 0, window, atom(property), XCB_ATOM_CARDINAL, 0, 1),
        nullptr));
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
        return std::nullopt;
    return *static_cast<const quint32 *>(xcb_get_property_value(reply.get()));
}

QByteArrayList XServer::stringListProperty(xcb_window_t window, const char *property) const
{
    Reply<xcb_get_property_reply_t> reply(xcb_get_property_reply(
        m_connection,
        xcb_get_property(m_connection, 0, window, atom(property), XCB_ATOM_STRING, 0, 1024),
        nullptr));
    if (!reply || reply->format != 8)
        return {};
    QByteArray value(static_cast<const char *>(xcb_get_property_value(reply.get())),
                     xcb_get_property_value_length(reply.get()));
    if (value.endsWith('\0'))
        value.chop(1);
    return value.split('\0');
}

xcb_window_t XServer::inputFocus() const
{
    Reply<xcb_get_input_focus_reply_t> reply(
        xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
    return reply ? reply->focus : 0;
}

void XServer::setInputFocus(xcb_window_t window) const
{
    xcb_set_input_focus(m_connection, XCB_INPUT_FOCUS_PARENT, window, XCB_CURRENT_TIME);
    xcb_flush(m_connection);
}

QStringList XServer::moveTo(QPoint point, const QStringList &then)
{
    return QStringList{u"mousemove"_qs, QString::number(point.x()), QString::number(point.y())} +
           then;
}

bool XServer::xdotool(const QStringList &arguments, QString *error) const
{
    QProcess process;
    process.setProcessEnvironment(clientEnvironment());
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(u"xdotool"_qs, arguments);
    const bool ok = process.waitForFinished(10000) &&
                    process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    if (!ok && error != nullptr) {
        *error = u"xdotool "_qs + arguments.join(u' ') + u": "_qs +
                 QString::fromLocal8Bit(process.readAll()) + process.errorString();
    }
    return ok;
}

int XServer::takeButtonPresses(xcb_window_t window)
{
    int presses = 0;
    while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
        if ((event->response_type & 0x7f) == XCB_BUTTON_PRESS &&
            reinterpret_cast<xcb_button_press_event_t *>(event)->event == window) {
            ++presses;
        }
        std::free(event);
    }
    return presses;
}

TestWindow::TestWindow(XServer &server, const QRect &geometry) : m_server(server)
{
    xcb_connection_t *connection = server.connection();
    const xcb_screen_t *screen = xcb_setup_roots_iterator(xcb_get_setup(connection)).data;
    m_window = xcb_generate_id(connection);
    // White like the root, so that it never passes for the panel in a screenshot.
    const quint32 values[] = {screen->white_pixel, XCB_EVENT_MASK_BUTTON_PRESS};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, m_window, server.root(),
                      qint16(geometry.x()), qint16(geometry.y()), quint16(geometry.width()),
                      quint16(geometry.height()), 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      screen->root_visual, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    const char title[] = "e2e helper";
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_NAME,
                        XCB_ATOM_STRING, 8, sizeof(title) - 1, title);
    // WM_NORMAL_HINTS with a user-given position and size: the window manager keeps them.
    quint32 sizeHints[18] = {};
    sizeHints[0] = 1 | 2; // USPosition | USSize
    sizeHints[1] = quint32(geometry.x());
    sizeHints[2] = quint32(geometry.y());
    sizeHints[3] = quint32(geometry.width());
    sizeHints[4] = quint32(geometry.height());
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_NORMAL_HINTS,
                        XCB_ATOM_WM_SIZE_HINTS, 32, 18, sizeHints);
    // WM_HINTS: takes the keyboard focus.
    const quint32 wmHints[9] = {1, 1, 0, 0, 0, 0, 0, 0, 0};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_HINTS,
                        XCB_ATOM_WM_HINTS, 32, 9, wmHints);
    xcb_flush(connection);
}

TestWindow::~TestWindow()
{
    if (m_server.connection() != nullptr) {
        xcb_destroy_window(m_server.connection(), m_window);
        xcb_flush(m_server.connection());
    }
}

void TestWindow::show()
{
    xcb_map_window(m_server.connection(), m_window);
    xcb_flush(m_server.connection());
}

void TestWindow::showBelowOthers()
{
    xcb_connection_t *connection = m_server.connection();
    xcb_map_window(connection, m_window);
    const quint32 below[] = {XCB_STACK_MODE_BELOW};
    xcb_configure_window(connection, m_window, XCB_CONFIG_WINDOW_STACK_MODE, below);
    xcb_flush(connection);
}

bool waitFor(const std::function<bool()> &condition, int timeoutMs)
{
    const QDeadlineTimer deadline(timeoutMs);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QTest::qWait(20);
    }
    return true;
}

bool holdsFor(const std::function<bool()> &condition, int durationMs)
{
    const QDeadlineTimer deadline(durationMs);
    while (!deadline.hasExpired()) {
        if (!condition())
            return false;
        QTest::qWait(20);
    }
    return condition();
}
