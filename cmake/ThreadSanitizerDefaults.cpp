// What the thread sanitizer is not to report, in every program of a build with it.

extern "C" const char* __tsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
extern "C" const char* __tsan_default_suppressions() {
    return
        // A storage unlocks its guard right after creating it, though it never locked it: the guard must be free
        // whatever happened before, and other processes rely on that.
        "mutex:SHMStorageBase::createNamedMutex\n"
        // They unlock what they do not hold, and look at what that does.
        "mutex:tests/unit/MutexTest.cpp\n"
        "mutex:tests/unit/NamedConditionTest.cpp\n"
        "mutex:tests/unit/SHMStorageTest.cpp\n"
        // Not built with the sanitizer, which does not see the locks that these take.
        "race:libgio-2.0.so\n"
        "race:libglib-2.0.so\n"
        "race:libgobject-2.0.so\n";
}
