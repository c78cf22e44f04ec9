/* Scrolls on a wlroots compositor as a touchpad or a wheel mouse does, through a virtual pointer
 * (wlr-virtual-pointer): the compositor passes the events on with their axis source and stop
 * events, as it would a real device's.
 *
 *     virtual_swipe finger|wheel X Y DX EVENTS INTERVAL_MS
 *
 * moves the pointer to X,Y on the 1920x1080 output, then sends EVENTS horizontal scroll events
 * of DX each, INTERVAL_MS apart: a two-finger stroke ended by an axis stop, or wheel clicks. */

#define _POSIX_C_SOURCE 200809L

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <wayland-client.h>

#include "wlr-virtual-pointer-unstable-v1-client-protocol.h"

static struct wl_seat *seat;
static struct zwlr_virtual_pointer_manager_v1 *manager;

static void global(void *data, struct wl_registry *registry, uint32_t name, const char *interface,
                   uint32_t version)
{
    (void)data;
    (void)version;
    if (strcmp(interface, wl_seat_interface.name) == 0 && !seat)
        seat = wl_registry_bind(registry, name, &wl_seat_interface, 1);
    else if (strcmp(interface, zwlr_virtual_pointer_manager_v1_interface.name) == 0)
        manager = wl_registry_bind(registry, name, &zwlr_virtual_pointer_manager_v1_interface, 1);
}

static void global_remove(void *data, struct wl_registry *registry, uint32_t name)
{
    (void)data;
    (void)registry;
    (void)name;
}

static const struct wl_registry_listener registry_listener = {global, global_remove};

static uint32_t now_ms(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (uint32_t)(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

static void sleep_ms(long ms)
{
    struct timespec pause = {ms / 1000, (ms % 1000) * 1000000};
    nanosleep(&pause, NULL);
}

int main(int argc, char **argv)
{
    if (argc != 7 || (strcmp(argv[1], "finger") != 0 && strcmp(argv[1], "wheel") != 0)) {
        fprintf(stderr, "usage: %s finger|wheel X Y DX EVENTS INTERVAL_MS\n", argv[0]);
        return 2;
    }
    const int finger = strcmp(argv[1], "finger") == 0;
    const uint32_t x = (uint32_t)atoi(argv[2]);
    const uint32_t y = (uint32_t)atoi(argv[3]);
    const double dx = atof(argv[4]);
    const int events = atoi(argv[5]);
    const long interval = atol(argv[6]);

    struct wl_display *display = wl_display_connect(NULL);
    if (!display) {
        fprintf(stderr, "no Wayland display\n");
        return 1;
    }
    struct wl_registry *registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registry_listener, NULL);
    wl_display_roundtrip(display);
    if (!seat || !manager) {
        fprintf(stderr, "the compositor offers no %s\n", seat ? "virtual pointers" : "seat");
        return 1;
    }
    struct zwlr_virtual_pointer_v1 *pointer =
        zwlr_virtual_pointer_manager_v1_create_virtual_pointer(manager, seat);

    zwlr_virtual_pointer_v1_motion_absolute(pointer, now_ms(), x, y, 1920, 1080);
    zwlr_virtual_pointer_v1_frame(pointer);
    wl_display_roundtrip(display);
    sleep_ms(interval);

    const uint32_t axis = WL_POINTER_AXIS_HORIZONTAL_SCROLL;
    for (int i = 0; i < events; ++i) {
        if (finger) {
            zwlr_virtual_pointer_v1_axis_source(pointer, WL_POINTER_AXIS_SOURCE_FINGER);
            zwlr_virtual_pointer_v1_axis(pointer, now_ms(), axis, wl_fixed_from_double(dx));
        } else {
            zwlr_virtual_pointer_v1_axis_source(pointer, WL_POINTER_AXIS_SOURCE_WHEEL);
            zwlr_virtual_pointer_v1_axis_discrete(pointer, now_ms(), axis, wl_fixed_from_double(dx),
                                                  dx < 0 ? -1 : 1);
        }
        zwlr_virtual_pointer_v1_frame(pointer);
        wl_display_flush(display);
        sleep_ms(interval);
    }
    if (finger) {
        zwlr_virtual_pointer_v1_axis_source(pointer, WL_POINTER_AXIS_SOURCE_FINGER);
        zwlr_virtual_pointer_v1_axis_stop(pointer, now_ms(), axis);
        zwlr_virtual_pointer_v1_frame(pointer);
    }
    wl_display_roundtrip(display);
    zwlr_virtual_pointer_v1_destroy(pointer);
    zwlr_virtual_pointer_manager_v1_destroy(manager);
    wl_display_roundtrip(display);
    wl_display_disconnect(display);
    return 0;
}
