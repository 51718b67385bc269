#pragma once

/// Which sanitizer the tests are built with, for what cannot be shown under one. The build says so.
namespace sanitizers {

inline constexpr bool address = VDI_TEST_ADDRESS_SANITIZER != 0;
inline constexpr bool thread = VDI_TEST_THREAD_SANITIZER != 0;

}  // namespace sanitizers
