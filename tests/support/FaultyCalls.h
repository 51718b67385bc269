#pragma once

#include <sys/types.h>

/// System calls that fail when a test says so: a test program that has FaultyCalls.cpp among its sources calls these in
/// place of the C library's, and so do the libraries that it links.
namespace faulty {

/// What the next calls do instead of their work.
struct Fault {
    int times = 0;                  ///< for how many calls
    ssize_t result = 0;             ///< what they return; a negated error number for a failure
    void (*meanwhile)() = nullptr;  ///< what happens before each of them
};

extern Fault pread;     ///< with a result above 0 so many bytes at most are read
extern Fault write;     ///< with a result above 0 so many bytes at most are written
extern Fault sendfile;  ///< with a result above 0 so many bytes at most are sent, and then none
extern Fault close;     ///< the file is closed all the same

}  // namespace faulty
