// bench_open_probe: reports, as they happen, the input that opens a panel and the frames that
// then reach the screen, so that latency and frame intervals can be read from X events alone.
//
//   bench_open_probe --sensor TITLE --panel TITLE [--keysym VALUE] [--point DX Y]...
//                    [--timeout SECONDS]
//
// Finds the two windows by title (WM_NAME or _NET_WM_NAME, waiting up to --timeout for them to be
// mapped), paints the root window grey, then prints one line per event on stdout:
//
//   ready <sensor> <panel> <sensor x y w h> <panel x y w h> <keycode> <rt>
//   enter <received ms> <server ms>        the pointer entered the sensor (EnterNotify)
//   key <received ms> <server ms> <code>   a key went down anywhere (XI 2.2 raw event)
//   frame <received ms>                    the panel window was drawn on (Damage)
//   screen <received ms>                   the screen was drawn on (Damage on the root window: a
//                                          compositing manager's painting, the server's own
//                                          for a window of another depth, or any drawing into a
//                                          window that is not redirected)
//   pixels <received ms> <rgb>...          the screen's pixels at the --point places, read after
//                                          every batch of events holding a "screen" and after
//                                          each "mark"; the time is the batch's
//   mark <received ms> <text>              echo of a line "<text>" read on stdin
//
// A --point is DX right of the panel window's centre line and Y below its top. The pixels tell a
// frame that shows the panel moving from one that only repaints it (a text cursor, a focus change,
// a restack), and the grey root lets a black panel's edge show where nothing else lies behind it.
//
// Every time is CLOCK_MONOTONIC in milliseconds, taken when the event arrives here: the server's
// own stamps (its clock is CLOCK_MONOTONIC in whole milliseconds, unwrapped here) are right for
// raw key events, but crossings and Damage carry the server's "current time", which Xvfb only
// moves on some requests and real input, so they can be hundreds of milliseconds old. Input and
// frames reach the app and this probe in the same flush of the server's output. To make the
// arrival prompt on a loaded machine the probe asks for SCHED_FIFO; <rt> says whether it got it.
// It only sleeps in poll() otherwise.
//
// Raw key events reach every client that selects them, even while another client's passive grab
// takes the key. The keycode printed in "ready" is the one for --keysym (e.g. 0x6e for n), 0 if
// none. Ends on end of file on stdin, SIGTERM/SIGINT/SIGHUP, or when either window goes away.
// Exit status: 0 ended as asked, 2 bad usage, 4 windows not found in time, 5 X failure or a window
// went away.

#include "XcbWindows.h"

#include <xcb/damage.h>
#include <xcb/xcb.h>
#include <xcb/xinput.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <poll.h>
#include <sched.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace {

constexpr int ExitUsage = 2;
constexpr int ExitTimeout = 4;
constexpr int ExitFailure = 5;

// The server's 32-bit millisecond stamp on our clock: the latest time at or before `received`
// whose low 32 bits are `stamp`.
double serverMs(xcb_timestamp_t stamp, double received)
{
    const auto now = static_cast<uint64_t>(received);
    const uint32_t behind = static_cast<uint32_t>(now) - stamp;
    return static_cast<double>(now - behind);
}

class Probe : public XcbWindows {
public:
    explicit Probe(xcb_connection_t *connection, xcb_window_t root)
        : XcbWindows(connection), m_root(root)
    {}

    // A window below the root titled `title`; 0 if none (yet).
    xcb_window_t find(const std::string &title)
    {
        return XcbWindows::find(
            m_root, [&](xcb_window_t window) { return hasTitle(window, title); }, true);
    }

    xcb_keycode_t keycodeFor(xcb_keysym_t keysym)
    {
        const xcb_setup_t *setup = xcb_get_setup(m_c);
        const uint8_t first = setup->min_keycode;
        const auto count = static_cast<uint8_t>(setup->max_keycode - setup->min_keycode + 1);
        auto keys = own(xcb_get_keyboard_mapping_reply(
            m_c, xcb_get_keyboard_mapping(m_c, first, count), nullptr));
        if (!keys || keysym == 0)
            return 0;
        const xcb_keysym_t *syms = xcb_get_keyboard_mapping_keysyms(keys.get());
        const int perKey = keys->keysyms_per_keycode;
        for (int code = 0; code < count; ++code) {
            for (int level = 0; level < perKey; ++level) {
                if (syms[code * perKey + level] == keysym)
                    return static_cast<xcb_keycode_t>(first + code);
            }
        }
        return 0;
    }

    xcb_get_geometry_reply_t geometry(xcb_window_t window)
    {
        auto reply = own(xcb_get_geometry_reply(m_c, xcb_get_geometry(m_c, window), nullptr));
        return reply ? *reply : xcb_get_geometry_reply_t{};
    }

private:
    xcb_window_t m_root;
};

int usage()
{
    std::fprintf(stderr, "usage: bench_open_probe --sensor TITLE --panel TITLE [--keysym VALUE] "
                         "[--point DX Y]... [--timeout SECONDS]\n");
    return ExitUsage;
}

bool hasExtension(xcb_connection_t *c, xcb_extension_t *extension, uint8_t *firstEvent,
                  uint8_t *majorOpcode)
{
    const xcb_query_extension_reply_t *data = xcb_get_extension_data(c, extension);
    if (!data || !data->present)
        return false;
    if (firstEvent)
        *firstEvent = data->first_event;
    if (majorOpcode)
        *majorOpcode = data->major_opcode;
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    std::string sensorTitle;
    std::string panelTitle;
    xcb_keysym_t keysym = 0;
    std::vector<std::pair<int, int>> points;
    double timeoutSeconds = 30;
    for (int i = 1; i < argc; ++i) {
        const std::string_view arg = argv[i];
        if (arg == "--sensor" && i + 1 < argc) {
            sensorTitle = argv[++i];
        } else if (arg == "--panel" && i + 1 < argc) {
            panelTitle = argv[++i];
        } else if (arg == "--keysym" && i + 1 < argc) {
            keysym = static_cast<xcb_keysym_t>(std::strtoul(argv[++i], nullptr, 0));
        } else if (arg == "--point" && i + 2 < argc) {
            points.emplace_back(std::atoi(argv[i + 1]), std::atoi(argv[i + 2]));
            i += 2;
        } else if (arg == "--timeout" && i + 1 < argc) {
            timeoutSeconds = std::atof(argv[++i]);
        } else {
            return usage();
        }
    }
    if (sensorTitle.empty() || panelTitle.empty() || timeoutSeconds <= 0)
        return usage();

    sigset_t handled;
    sigemptyset(&handled);
    for (const int sig : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&handled, sig);
    sigprocmask(SIG_BLOCK, &handled, nullptr);
    const int signals = signalfd(-1, &handled, SFD_CLOEXEC);
    std::signal(SIGPIPE, SIG_IGN);

    // Frames are timed on arrival: a probe waiting behind the renderer's threads for a core would
    // add its wait to every interval.
    sched_param priority{};
    priority.sched_priority = 1;
    const bool realtime = sched_setscheduler(0, SCHED_FIFO, &priority) == 0;

    int screenNumber = 0;
    xcb_connection_t *c = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(c)) {
        std::fprintf(stderr, "bench_open_probe: cannot open display\n");
        return ExitFailure;
    }
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(c));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    const xcb_window_t root = screens.data->root;

    uint8_t damageEvent = 0;
    uint8_t inputOpcode = 0;
    if (!hasExtension(c, &xcb_damage_id, &damageEvent, nullptr) ||
        !hasExtension(c, &xcb_input_id, nullptr, &inputOpcode)) {
        std::fprintf(stderr, "bench_open_probe: the server lacks DAMAGE or XInputExtension\n");
        return ExitFailure;
    }
    own(xcb_damage_query_version_reply(c, xcb_damage_query_version(c, 1, 1), nullptr));
    // Raw events go to every client only from XI 2.1 on; 2.2 is what the app asks for too.
    auto xi =
        own(xcb_input_xi_query_version_reply(c, xcb_input_xi_query_version(c, 2, 2), nullptr));
    if (!xi || xi->major_version < 2 || (xi->major_version == 2 && xi->minor_version < 2)) {
        std::fprintf(stderr, "bench_open_probe: the server lacks XInput 2.2\n");
        return ExitFailure;
    }

    Probe probe(c, root);
    // Mapped windows are looked for again whenever something is mapped or renamed.
    const uint32_t rootMask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, root, XCB_CW_EVENT_MASK, &rootMask);
    xcb_window_t sensor = probe.find(sensorTitle);
    xcb_window_t panel = probe.find(panelTitle);
    const double deadline = nowMs() + timeoutSeconds * 1e3;
    while (!sensor || !panel) {
        xcb_flush(c);
        const double left = deadline - nowMs();
        if (left <= 0) {
            std::fprintf(stderr, "bench_open_probe: no windows titled '%s' and '%s' within %g s\n",
                         sensorTitle.c_str(), panelTitle.c_str(), timeoutSeconds);
            return ExitTimeout;
        }
        pollfd fds[2] = {{xcb_get_file_descriptor(c), POLLIN, 0}, {signals, POLLIN, 0}};
        if (poll(fds, 2, static_cast<int>(left) + 1) < 0 && errno != EINTR)
            return ExitFailure;
        if (fds[1].revents)
            return 0;
        bool mapped = false;
        while (xcb_generic_event_t *event = xcb_poll_for_event(c)) {
            mapped = mapped || (event->response_type & 0x7f) == XCB_MAP_NOTIFY;
            std::free(event);
        }
        if (xcb_connection_has_error(c))
            return ExitFailure;
        if (mapped) {
            sensor = sensor ? sensor : probe.find(sensorTitle);
            panel = panel ? panel : probe.find(panelTitle);
        }
    }

    // Only the sensor's crossings and the two windows' end from here on; the root's substructure
    // also tells when either window is destroyed.
    const uint32_t panelMask = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, panel, XCB_CW_EVENT_MASK, &panelMask);
    const uint32_t sensorMask = XCB_EVENT_MASK_ENTER_WINDOW | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(c, sensor, XCB_CW_EVENT_MASK, &sensorMask);
    const uint32_t noRootMask = XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(c, root, XCB_CW_EVENT_MASK, &noRootMask);

    struct {
        xcb_input_event_mask_t head;
        uint32_t bits;
    } keyMask{{XCB_INPUT_DEVICE_ALL_MASTER, 1}, XCB_INPUT_XI_EVENT_MASK_RAW_KEY_PRESS};
    xcb_input_xi_select_events(c, root, 1, &keyMask.head);

    // NonEmpty: one event when the window goes from clean to drawn on; subtracting after each
    // event arms the next, so a frame drawn in several requests comes as one event or a few
    // close together.
    const xcb_damage_damage_t panelDamage = xcb_generate_id(c);
    xcb_damage_create(c, panelDamage, panel, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    const xcb_damage_damage_t screenDamage = xcb_generate_id(c);
    xcb_damage_create(c, screenDamage, root, XCB_DAMAGE_REPORT_LEVEL_NON_EMPTY);
    const uint32_t grey = 0x808080;
    xcb_change_window_attributes(c, root, XCB_CW_BACK_PIXEL, &grey);
    xcb_clear_area(c, 0, root, 0, 0, 0, 0);
    const xcb_keycode_t keycode = probe.keycodeFor(keysym);
    const xcb_get_geometry_reply_t sensorPlace = probe.geometry(sensor);
    const xcb_get_geometry_reply_t panelPlace = probe.geometry(panel);
    for (auto &[x, y] : points) {
        x += panelPlace.x + panelPlace.width / 2;
        y += panelPlace.y;
    }
    own(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));
    if (xcb_connection_has_error(c))
        return ExitFailure;

    std::printf("ready 0x%x 0x%x %d %d %u %u %d %d %u %u %u %d\n", sensor, panel, sensorPlace.x,
                sensorPlace.y, sensorPlace.width, sensorPlace.height, panelPlace.x, panelPlace.y,
                panelPlace.width, panelPlace.height, keycode, realtime ? 1 : 0);
    std::fflush(stdout);

    // Whatever came in with the replies above predates "ready": it is dropped, not timed now.
    while (xcb_generic_event_t *stale = xcb_poll_for_queued_event(c)) {
        if (const uint8_t type = stale->response_type & 0x7f;
            type == damageEvent + XCB_DAMAGE_NOTIFY)
            xcb_damage_subtract(c, reinterpret_cast<xcb_damage_notify_event_t *>(stale)->damage,
                                XCB_NONE, XCB_NONE);
        std::free(stale);
    }

    const auto samplePixels = [&](double at) {
        if (points.empty())
            return;
        std::vector<xcb_get_image_cookie_t> cookies;
        for (const auto &[x, y] : points)
            cookies.push_back(xcb_get_image(c, XCB_IMAGE_FORMAT_Z_PIXMAP, root,
                                            static_cast<int16_t>(x), static_cast<int16_t>(y), 1, 1,
                                            ~0u));
        std::printf("pixels %.3f", at);
        for (const xcb_get_image_cookie_t cookie : cookies) {
            auto image = own(xcb_get_image_reply(c, cookie, nullptr));
            uint32_t pixel = 0;
            if (image && xcb_get_image_data_length(image.get()) >= 4)
                std::memcpy(&pixel, xcb_get_image_data(image.get()), sizeof pixel);
            std::printf(" %06x", pixel & 0xffffff);
        }
        std::printf("\n");
    };

    std::string input;
    int result = 0;
    for (bool running = true; running;) {
        xcb_flush(c);
        pollfd fds[3] = {{xcb_get_file_descriptor(c), POLLIN, 0},
                         {STDIN_FILENO, POLLIN, 0},
                         {signals, POLLIN, 0}};
        // Reading the pixels may have queued events in xcb: those are handled without sleeping.
        xcb_generic_event_t *queued = xcb_poll_for_queued_event(c);
        if (!queued && poll(fds, 3, -1) < 0) {
            if (errno == EINTR)
                continue;
            result = ExitFailure;
            break;
        }
        const double received = nowMs();
        bool screenDrawn = false;
        while (xcb_generic_event_t *raw = queued ? queued : xcb_poll_for_event(c)) {
            queued = nullptr;
            const auto event = own(raw);
            const uint8_t type = raw->response_type & 0x7f;
            if (type == damageEvent + XCB_DAMAGE_NOTIFY) {
                const auto *damage = reinterpret_cast<xcb_damage_notify_event_t *>(raw);
                xcb_damage_subtract(c, damage->damage, XCB_NONE, XCB_NONE);
                const bool onScreen = damage->damage == screenDamage;
                screenDrawn = screenDrawn || onScreen;
                std::printf("%s %.3f\n", onScreen ? "screen" : "frame", received);
            } else if (type == XCB_ENTER_NOTIFY) {
                const auto *enter = reinterpret_cast<xcb_enter_notify_event_t *>(raw);
                if (enter->event == sensor && enter->mode == XCB_NOTIFY_MODE_NORMAL)
                    std::printf("enter %.3f %.0f\n", received, serverMs(enter->time, received));
            } else if (type == XCB_GE_GENERIC) {
                const auto *generic = reinterpret_cast<xcb_ge_generic_event_t *>(raw);
                if (generic->extension == inputOpcode &&
                    generic->event_type == XCB_INPUT_RAW_KEY_PRESS) {
                    const auto *key = reinterpret_cast<xcb_input_raw_key_press_event_t *>(raw);
                    std::printf("key %.3f %.0f %u\n", received, serverMs(key->time, received),
                                key->detail);
                }
            } else if (type == XCB_DESTROY_NOTIFY || type == XCB_UNMAP_NOTIFY) {
                std::fprintf(stderr, "bench_open_probe: a watched window went away\n");
                result = ExitFailure;
                running = false;
            } else if (type == 0) {
                const auto *error = reinterpret_cast<xcb_generic_error_t *>(raw);
                std::fprintf(stderr, "bench_open_probe: X error %u (request %u)\n",
                             error->error_code, error->major_code);
            }
        }
        if (screenDrawn)
            samplePixels(received);
        if (xcb_connection_has_error(c)) {
            std::fprintf(stderr, "bench_open_probe: lost the display\n");
            result = ExitFailure;
            break;
        }
        if (fds[1].revents) {
            char buffer[512];
            const ssize_t got = read(STDIN_FILENO, buffer, sizeof buffer);
            if (got <= 0)
                break;
            input.append(buffer, static_cast<size_t>(got));
            for (size_t end; (end = input.find('\n')) != std::string::npos;) {
                const double at = nowMs();
                std::printf("mark %.3f %s\n", at, input.substr(0, end).c_str());
                samplePixels(at);
                input.erase(0, end + 1);
            }
        }
        if (fds[2].revents)
            break;
        std::fflush(stdout);
    }
    std::fflush(stdout);
    xcb_disconnect(c);
    return result;
}
