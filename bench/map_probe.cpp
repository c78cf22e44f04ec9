// bench_map_probe: starts a program and reports how long it took until its window was mapped.
//
//   bench_map_probe [--name TITLE] [--timeout SECONDS] [--hold] -- PROGRAM [ARGS...]
//
// Watches the root window of $DISPLAY (SubstructureNotify) before spawning, so no map is missed
// and nothing is sampled at an interval. The window that counts is a viewable one titled TITLE
// (WM_NAME or _NET_WM_NAME), or without --name any window whose _NET_WM_PID is the child's. A
// reparenting window manager maps the client inside its frame, so frames are watched as well and
// a mapped frame is searched for the client.
//
// Prints one line "mapped <milliseconds> <pid> <window>" on stdout; the program's own output goes
// to stderr and its stdin is /dev/null. Then it stops the program (SIGTERM, SIGKILL after 5 s) —
// or, with --hold, leaves it running, closes its own X connection so that it does not disturb the
// program, and stops it when a line or end of file arrives on stdin or this probe gets SIGTERM,
// SIGINT or SIGHUP. Exit status: 0 mapped, 2 bad usage, 3 the program ended before its window was
// mapped, 4 timeout, 5 X or spawn failure.

#include "XcbWindows.h"

#include <xcb/xcb.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

extern char **environ;

namespace {

constexpr int ExitUsage = 2;
constexpr int ExitEnded = 3;
constexpr int ExitTimeout = 4;
constexpr int ExitFailure = 5;

class Display : public XcbWindows {
public:
    explicit Display(xcb_connection_t *connection) : XcbWindows(connection)
    {
        m_netWmPid = atom("_NET_WM_PID");
    }

    void watch(xcb_window_t window)
    {
        const uint32_t mask = XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY;
        xcb_change_window_attributes(m_c, window, XCB_CW_EVENT_MASK, &mask);
    }

    // The window itself or a descendant that is viewable and ours; 0 if none (yet).
    xcb_window_t findTarget(xcb_window_t window, const std::optional<std::string> &title, pid_t pid)
    {
        return find(window, [&](xcb_window_t candidate) { return matches(candidate, title, pid); });
    }

private:
    bool matches(xcb_window_t window, const std::optional<std::string> &title, pid_t pid)
    {
        if (title)
            return hasTitle(window, *title);
        const std::string value = property(window, m_netWmPid, XCB_ATOM_CARDINAL);
        uint32_t owner = 0;
        if (value.size() != sizeof owner)
            return false;
        std::memcpy(&owner, value.data(), sizeof owner);
        return owner == static_cast<uint32_t>(pid);
    }

    xcb_atom_t m_netWmPid = XCB_ATOM_NONE;
};

int usage()
{
    std::fprintf(stderr, "usage: bench_map_probe [--name TITLE] [--timeout SECONDS] [--hold] -- "
                         "PROGRAM [ARGS...]\n");
    return ExitUsage;
}

// Stops the program and collects it; a program that ignores SIGTERM gets SIGKILL after 5 s.
int stop(pid_t pid, int pidfd)
{
    kill(pid, SIGTERM);
    pollfd ended{pidfd, POLLIN, 0};
    if (poll(&ended, 1, 5000) <= 0)
        kill(pid, SIGKILL);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    std::optional<std::string> title;
    double timeoutSeconds = 30;
    bool hold = false;
    int first = 1;
    for (; first < argc; ++first) {
        const std::string_view arg = argv[first];
        if (arg == "--") {
            ++first;
            break;
        }
        if (arg == "--hold") {
            hold = true;
        } else if (arg == "--name" && first + 1 < argc) {
            title = argv[++first];
        } else if (arg == "--timeout" && first + 1 < argc) {
            timeoutSeconds = std::atof(argv[++first]);
        } else {
            return usage();
        }
    }
    if (first >= argc || timeoutSeconds <= 0)
        return usage();

    // Signals arrive through a descriptor so that one poll() covers X, the child and us; the
    // child must not inherit the blocked mask.
    sigset_t handled;
    sigemptyset(&handled);
    for (const int sig : {SIGTERM, SIGINT, SIGHUP})
        sigaddset(&handled, sig);
    sigprocmask(SIG_BLOCK, &handled, nullptr);
    const int signals = signalfd(-1, &handled, SFD_CLOEXEC);
    std::signal(SIGPIPE, SIG_IGN);

    int screenNumber = 0;
    xcb_connection_t *connection = xcb_connect(nullptr, &screenNumber);
    if (xcb_connection_has_error(connection)) {
        std::fprintf(stderr, "bench_map_probe: cannot open display\n");
        return ExitFailure;
    }
    auto display = std::make_unique<Display>(connection);
    xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    for (int i = 0; i < screenNumber && screens.rem; ++i)
        xcb_screen_next(&screens);
    const xcb_window_t root = screens.data->root;
    display->watch(root);
    // The selection must be in place before the program can map anything.
    own(xcb_get_input_focus_reply(connection, xcb_get_input_focus(connection), nullptr));

    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    sigset_t defaults = handled;
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes, &defaults);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    // Our stdout carries only the result line; the program's output goes with our stderr.
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);

    pid_t pid = 0;
    const double started = nowMs();
    const int spawned = posix_spawnp(&pid, argv[first], &files, &attributes, argv + first, environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (spawned != 0) {
        std::fprintf(stderr, "bench_map_probe: cannot start %s: %s\n", argv[first],
                     std::strerror(spawned));
        return ExitFailure;
    }
    const int pidfd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
    if (pidfd < 0) {
        std::fprintf(stderr, "bench_map_probe: pidfd_open: %s\n", std::strerror(errno));
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
        return ExitFailure;
    }

    const double deadline = started + timeoutSeconds * 1e3;
    xcb_window_t target = 0;
    double mappedAt = 0;
    int result = 0;
    while (!target) {
        xcb_flush(connection);
        pollfd fds[3] = {{xcb_get_file_descriptor(connection), POLLIN, 0},
                         {pidfd, POLLIN, 0},
                         {signals, POLLIN, 0}};
        const double left = deadline - nowMs();
        if (left <= 0) {
            std::fprintf(stderr, "bench_map_probe: no window mapped within %g s\n", timeoutSeconds);
            result = ExitTimeout;
            break;
        }
        if (poll(fds, 3, static_cast<int>(left) + 1) < 0 && errno != EINTR)
            break;
        if (fds[2].revents) {
            result = ExitFailure;
            break;
        }
        while (xcb_generic_event_t *raw = xcb_poll_for_event(connection)) {
            const auto event = own(raw);
            const uint8_t type = event->response_type & 0x7f;
            if (type == XCB_CREATE_NOTIFY) {
                // A new top-level may be a frame that will hold the client.
                const auto *created = reinterpret_cast<xcb_create_notify_event_t *>(raw);
                if (created->parent == root)
                    display->watch(created->window);
            } else if (type == XCB_MAP_NOTIFY && !target) {
                const double at = nowMs();
                const auto *mapped = reinterpret_cast<xcb_map_notify_event_t *>(raw);
                target = display->findTarget(mapped->window, title, pid);
                if (target)
                    mappedAt = at;
            }
        }
        if (xcb_connection_has_error(connection)) {
            std::fprintf(stderr, "bench_map_probe: lost the display\n");
            result = ExitFailure;
            break;
        }
        if (!target && fds[1].revents) {
            int status = 0;
            waitpid(pid, &status, 0);
            std::fprintf(stderr, "bench_map_probe: %s ended (status %d) before mapping a window\n",
                         argv[first], status);
            return ExitEnded;
        }
    }
    if (!target) {
        stop(pid, pidfd);
        return result ? result : ExitFailure;
    }

    std::printf("mapped %.3f %d 0x%x\n", mappedAt - started, static_cast<int>(pid), target);
    std::fflush(stdout);
    // From here on the program runs undisturbed: no events of ours queue up in the server.
    display.reset();
    xcb_disconnect(connection);

    if (hold) {
        pollfd fds[3] = {{STDIN_FILENO, POLLIN, 0}, {pidfd, POLLIN, 0}, {signals, POLLIN, 0}};
        for (;;) {
            if (poll(fds, 3, -1) < 0) {
                if (errno == EINTR)
                    continue;
                break;
            }
            if (fds[1].revents) {
                int status = 0;
                waitpid(pid, &status, 0);
                std::fprintf(stderr, "bench_map_probe: %s ended (status %d) while held\n",
                             argv[first], status);
                return ExitEnded;
            }
            if (fds[2].revents)
                break;
            if (fds[0].revents)
                break;
        }
    }
    stop(pid, pidfd);
    return 0;
}
