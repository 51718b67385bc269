// What the leak sanitizer is not to report in the tests above GNUstep.

extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __lsan_default_suppressions() {
    // The Objective-C runtime and Foundation never give back what they keep of each class.
    return "leak:libobjc.so\n"
           "leak:libgnustep-base.so\n";
}
