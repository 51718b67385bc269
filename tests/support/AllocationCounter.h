#pragma once

/// How many times the process has called `operator new` so far, in the library or elsewhere. A test program that links
/// `vdi_allocation_counter` has its global `operator new` counted.
long allocations();

/// Called before every allocation, on the thread that makes it; null to stop.
void setAllocationHook(void (*function)());
