#include <objc/thr.h>

namespace {

// Threads will send messages that the runtime has not made. Unless it is told of one, it takes the program to have a
// single thread, and frees tables of methods in which others may be looking for theirs.
[[gnu::constructor]] void tellOfThreads() {
    objc_thread_add();
}

}  // namespace
