#pragma once

#include <chrono>

/// A run loop whose clock is moved by hand. It takes the place of the system's: a test program compiles this file and
/// the units that it tests, and does without the runtime library.
///
/// Timers fire on the thread that moves the clock.
namespace fakes {

/// The time since the program began, as far as the test has let it pass.
std::chrono::nanoseconds now();

/// Lets time pass without firing anything, as if the loop's thread were busy.
void busyFor(std::chrono::nanoseconds time);

/// Fires what is due now.
void dispatch();

/// Lets time pass on a loop that is idle: every timer fires exactly when it is due.
void pass(std::chrono::nanoseconds time);

}  // namespace fakes
