/* Pointer and keyboard input for a test session of KWin, through KWin's fake-input protocol.
 *
 * Reads one command a line on stdin and answers "ok" once KWin has handled it (or "error ..."):
 *   move X Y                   pointer to an absolute position in the global space
 *   motion DX DY               pointer by a distance
 *   button CODE press|release  evdev button code (BTN_LEFT is 272)
 *   key CODE press|release     evdev key code
 * The connection stays open between commands, so KWin sees one lasting device, as a user's
 * mouse and keyboard are. KWin only honours this protocol for trusted clients: a test session
 * runs it with KWIN_WAYLAND_NO_PERMISSION_CHECKS=1.
 */
#include "fake-input-client-protocol.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wayland-client.h>

static struct org_kde_kwin_fake_input *fake_input;
static uint32_t fake_input_version;

static void global_added(void *data, struct wl_registry *registry, uint32_t name,
                         const char *interface, uint32_t version)
{
    (void)data;
    if (strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0) {
        fake_input_version = version < 4 ? version : 4;
        fake_input = wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface,
                                      fake_input_version);
    }
}

static void global_removed(void *data, struct wl_registry *registry, uint32_t name)
{
    (void)data;
    (void)registry;
    (void)name;
}

static const struct wl_registry_listener registry_listener = {global_added, global_removed};

static int parse_state(const char *word, uint32_t *state)
{
    if (strcmp(word, "press") == 0)
        *state = 1;
    else if (strcmp(word, "release") == 0)
        *state = 0;
    else
        return 0;
    return 1;
}

int main(void)
{
    struct wl_display *display = wl_display_connect(NULL);
    if (!display) {
        printf("error cannot connect to the Wayland display\n");
        return 1;
    }
    struct wl_registry *registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &registry_listener, NULL);
    wl_display_roundtrip(display);
    if (!fake_input) {
        printf("error the compositor offers no org_kde_kwin_fake_input\n");
        return 1;
    }
    org_kde_kwin_fake_input_authenticate(fake_input, "tallowfern tests",
                                         "drives the app in an end-to-end test");
    wl_display_roundtrip(display);
    printf("ready %u\n", fake_input_version);
    fflush(stdout);

    char line[256];
    while (fgets(line, sizeof line, stdin)) {
        char command[32] = "", word[32] = "";
        double a = 0, b = 0;
        uint32_t state = 0;
        const char *error = NULL;
        if (sscanf(line, "%31s", command) != 1)
            continue;
        if (strcmp(command, "move") == 0 && sscanf(line, "%*s %lf %lf", &a, &b) == 2) {
            if (fake_input_version < 3)
                error = "absolute motion needs version 3";
            else
                org_kde_kwin_fake_input_pointer_motion_absolute(fake_input, wl_fixed_from_double(a),
                                                                wl_fixed_from_double(b));
        } else if (strcmp(command, "motion") == 0 && sscanf(line, "%*s %lf %lf", &a, &b) == 2) {
            org_kde_kwin_fake_input_pointer_motion(fake_input, wl_fixed_from_double(a),
                                                   wl_fixed_from_double(b));
        } else if (strcmp(command, "button") == 0 && sscanf(line, "%*s %lf %31s", &a, word) == 2 &&
                   parse_state(word, &state)) {
            org_kde_kwin_fake_input_button(fake_input, (uint32_t)a, state);
        } else if (strcmp(command, "key") == 0 && sscanf(line, "%*s %lf %31s", &a, word) == 2 &&
                   parse_state(word, &state)) {
            if (fake_input_version < 4)
                error = "keys need version 4";
            else
                org_kde_kwin_fake_input_keyboard_key(fake_input, (uint32_t)a, state);
        } else {
            error = "unknown command";
        }
        // The round trip makes "ok" mean that KWin has handled the request.
        if (!error && wl_display_roundtrip(display) < 0)
            error = "lost the compositor";
        if (error)
            printf("error %s\n", error);
        else
            printf("ok\n");
        fflush(stdout);
        if (error && strcmp(error, "lost the compositor") == 0)
            return 1;
    }
    wl_display_disconnect(display);
    return 0;
}
