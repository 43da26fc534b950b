// What the sanitizers must not report, in every test program: Qt's own code. Its offscreen platform keeps a
// screen to the end, and what a lock inside Qt orders is not seen.
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libqoffscreen\nleak:libqxcb\nleak:libfontconfig\nleak:libdbus\nleak:libQt5XcbQpa\n";
}

// The library that reads pictures is loaded late and has variables of threads; the leak check guesses where
// they lie, and can end with a fault of its own instead of a report.
extern "C" const char *__asan_default_options();
extern "C" const char *__asan_default_options()
{
    return "intercept_tls_get_addr=0";
}

extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options()
{
    return "ignore_noninstrumented_modules=1";
}
