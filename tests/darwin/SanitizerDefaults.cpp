// What the sanitizers are not to report in programs with Foundation: what its runtime and it keep to the end, which
// they make once for each class, and what they do between threads, which they were not built to show. Objects that the
// back end should have given up are counted by the tests instead.

extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libobjc.so\n"
           "leak:libgnustep-base.so\n";
}

extern "C" const char* __lsan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_options() {
    return "print_suppressions=0";
}

extern "C" const char* __tsan_default_options();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_options() {
    return "ignore_noninstrumented_modules=1";
}
