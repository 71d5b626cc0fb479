// Types on KWin's keyboard: keyboard CODE…, codes as in <linux/input-event-codes.h>.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wayland-client.h>

#include "fake-input.h"

static struct org_kde_kwin_fake_input* input;

static void add(void* data, struct wl_registry* registry, uint32_t name, const char* interface,
                uint32_t version) {
    const uint32_t keyboard_version = 4;
    (void)data;
    if (strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0 &&
        version >= keyboard_version) {
        input =
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, keyboard_version);
    }
}

static void ignore(void* data, struct wl_registry* registry, uint32_t name) {
    (void)data, (void)registry, (void)name;
}

int main(int count, char** words) {
    static const struct wl_registry_listener listener = {add, ignore};
    struct wl_display* const display = wl_display_connect(NULL);
    if (display == NULL) {
        return EXIT_FAILURE;
    }
    wl_registry_add_listener(wl_display_get_registry(display), &listener, NULL);
    wl_display_roundtrip(display);
    if (input == NULL) {
        fputs("KWin lets this program not type\n", stderr);
        return EXIT_FAILURE;
    }
    org_kde_kwin_fake_input_authenticate(input, "keyboard", "the person types");
    for (int i = 1; i < count; ++i) {
        for (int is_down = 1; is_down >= 0; --is_down) {
            org_kde_kwin_fake_input_keyboard_key(input, (uint32_t)atoi(words[i]),
                                                 (uint32_t)is_down);
        }
    }
    return wl_display_roundtrip(display) < 0 ? EXIT_FAILURE : EXIT_SUCCESS;
}
