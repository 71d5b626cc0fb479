// What ThreadSanitizer does not count as a race in the tests on a PipeWire of their own.

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the sanitizer's name
extern "C" const char* __tsan_default_suppressions() {
    // Whoever connects looks up the user's name, by a function with one result for all. In the
    // program one thread does; here a scripted source does beside it.
    // Two that disconnect unload modules, which the system's loader guards by a lock of its own
    // that the sanitizer does not see.
    return "race:pw_get_user_name\nrace:_dl_close_worker\n";
}
