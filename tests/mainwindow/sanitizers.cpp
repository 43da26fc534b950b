// What the sanitizers report of libraries that are not ours: the offscreen platform keeps its screen to the
// end, and a lock that is taken inside Qt is not seen.
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libqoffscreen\n";
}

extern "C" const char *__tsan_default_options();
extern "C" const char *__tsan_default_options()
{
    return "ignore_noninstrumented_modules=1";
}
