# What every target of the project has in common. Nothing here reaches a consumer: the interface target is linked PRIVATE
# and never exported.

set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()
find_package(Threads REQUIRED)

add_library(vdi_build_flags INTERFACE)
target_compile_features(vdi_build_flags INTERFACE cxx_std_20)
target_compile_options(vdi_build_flags INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>
    # g++ 12 finds overlapping copies in every `"literal" + string` that it inlines; there are none.
    $<$<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
    # Records carry the source path relative to the source tree.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(VDI_WARNINGS_AS_ERRORS)
    target_compile_options(vdi_build_flags INTERFACE -Werror)
endif()
if(VDI_SANITIZE)
    target_compile_options(vdi_build_flags INTERFACE
        -fsanitize=${VDI_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer
        # Probes memory through a pipe, and so reports an error in every test that leaves no descriptors.
        -fno-sanitize=vptr)
    target_link_options(vdi_build_flags INTERFACE -fsanitize=${VDI_SANITIZE})
endif()
target_link_libraries(vdi_build_flags INTERFACE Threads::Threads)

if(VDI_SANITIZE MATCHES "thread")
    add_library(vdi_thread_sanitizer_defaults OBJECT ${PROJECT_SOURCE_DIR}/cmake/ThreadSanitizerDefaults.cpp)
    target_link_libraries(vdi_thread_sanitizer_defaults PRIVATE vdi_build_flags)
endif()

# A shared library that exports its interface and nothing else.
function(vdi_shared_library target export_map)
    set_target_properties(${target} PROPERTIES
        CXX_EXTENSIONS OFF
        CXX_VISIBILITY_PRESET hidden
        VISIBILITY_INLINES_HIDDEN ON
        VERSION ${PROJECT_VERSION}
        SOVERSION ${PROJECT_VERSION_MAJOR}
        LINK_DEPENDS "${export_map}")
    target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:vdi_build_flags>)
    if(NOT APPLE)
        # Calls inside the library bind at link time and calls out of it skip the lazy-binding stub.
        target_compile_options(${target} PRIVATE -fno-plt -fno-semantic-interposition)
        # Stays loaded once it is: threads that it started may still run when the host closes it.
        target_link_options(${target} PRIVATE -Wl,-z,now -Wl,-z,nodelete -Wl,--version-script=${export_map})
        if(NOT VDI_SANITIZE)
            target_link_options(${target} PRIVATE -Wl,-z,defs)
        endif()
    endif()
endfunction()

function(vdi_program target)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_link_libraries(${target} PRIVATE vdi_build_flags)
    get_target_property(type ${target} TYPE)
    if(TARGET vdi_thread_sanitizer_defaults AND type STREQUAL "EXECUTABLE")
        target_link_libraries(${target} PRIVATE vdi_thread_sanitizer_defaults)
    endif()
endfunction()
