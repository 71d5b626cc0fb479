// Loaded before everything else into a sway without a screen. Up to wlroots 0.16 an output that is
// in memory alone refuses to be switched off; here it does what an output with a plug does. Later
// releases do not ask for this function.

struct wlr_output;

// As the library itself names them.
// NOLINTBEGIN(readability-identifier-naming)
extern "C" void wlr_output_update_enabled(wlr_output* output, bool isEnabled);

extern "C" __attribute__((visibility("default"))) void wlr_output_enable(wlr_output* output,
                                                                         bool isEnabled) {
    wlr_output_update_enabled(output, isEnabled);
}
// NOLINTEND(readability-identifier-naming)
