# What the checks of an installed tree share. They say where it lies with `prefix` and LIBDIR, and in WORK is room for what is built.

include(${CMAKE_CURRENT_LIST_DIR}/../support/Run.cmake)

# run_host(PROGRAM LOGGER): what it says with the logging library of that folder
function(run_host program logger)
    file(REMOVE ${WORK}/host.log)
    run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${logger}:${prefix}/${LIBDIR} ${PRIVATE_SHM} ${program} ${WORK}/host.log)
    if(NOT output MATCHES "active: ([0-9]+), I am ([0-9]+)\n" OR NOT CMAKE_MATCH_1 EQUAL CMAKE_MATCH_2)
        message(FATAL_ERROR "${program} said: ${output}")
    endif()
endfunction()

# check_host(PROGRAM): it runs with the logging library that was installed, and with another in its place, which writes no file
function(check_host program)
    run_host(${program} ${RECORDING_LOGGER})
    if(EXISTS ${WORK}/host.log)
        message(FATAL_ERROR "${program} did not take the other logging library")
    endif()
    run_host(${program} ${prefix}/${LIBDIR})
    if(NOT EXISTS ${WORK}/host.log)
        message(FATAL_ERROR "the installed logging library wrote no log")
    endif()
endfunction()

# A host builds and runs against the tree, found through CMake and through pkg-config.
function(check_hosts)
    run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/cmake -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${COMPILER}
        -DCMAKE_CXX_FLAGS=${FLAGS})
    run(${CMAKE_COMMAND} --build ${WORK}/cmake)
    check_host(${WORK}/cmake/host)

    # Another major version is another interface.
    execute_process(COMMAND ${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/later -DCMAKE_PREFIX_PATH=${prefix}
            -DCMAKE_CXX_COMPILER=${COMPILER} -DWANTED=2
        RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(result EQUAL 0)
        message(FATAL_ERROR "version 2 was found where 1 is installed")
    endif()

    find_program(pkg_config pkg-config REQUIRED)
    set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
    run(${pkg_config} --cflags --libs VDIFrameworkCommon)
    separate_arguments(host_flags UNIX_COMMAND "${FLAGS} ${output}")
    run(${COMPILER} -std=c++17 ${CONSUMER}/main.cpp -o ${WORK}/host ${host_flags} -Wl,-rpath-link,${prefix}/${LIBDIR})
    check_host(${WORK}/host)
endfunction()
