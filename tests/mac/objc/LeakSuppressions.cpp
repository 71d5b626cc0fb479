// What LeakSanitizer does not count as a leak in the tests on the doubles.

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the sanitizer's name
extern "C" const char* __lsan_default_suppressions() {
    // Both keep tables for the life of the process. Objects, which GNUstep allocates, the tests
    // count themselves.
    return "leak:libobjc.so\nleak:libgnustep-base.so\n";
}
