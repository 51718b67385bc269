# Installs what was built into a folder of its own and builds a host against it there.
file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
    endif()
    set(output "${output}" PARENT_SCOPE)
endfunction()

# run_host(PROGRAM): what it says with the logging library that was installed, and with another in its place
function(run_host program)
    foreach(logger ${prefix}/${LIBDIR} ${RECORDING_LOGGER})
        run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${logger}:${prefix}/${LIBDIR} ${PRIVATE_SHM} ${program} ${WORK}/host.log)
        if(NOT output MATCHES "active: ([0-9]+), I am ([0-9]+)\n" OR NOT CMAKE_MATCH_1 EQUAL CMAKE_MATCH_2)
            message(FATAL_ERROR "${program} said: ${output}")
        endif()
    endforeach()
endfunction()

# Each component alone, as packages would hold them.
foreach(component Runtime Development Tools)
    run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix} --component ${component})
endforeach()
foreach(file bin/vdi-agent bin/vdictl include/dpllogger/DPLLogger.h include/VDIFrameworkCommon/VDIFrameworkCommon.h)
    if(NOT EXISTS ${prefix}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()

run(${CMAKE_COMMAND} -S ${CONSUMER} -B ${WORK}/cmake -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_CXX_FLAGS=${FLAGS})
run(${CMAKE_COMMAND} --build ${WORK}/cmake)
run_host(${WORK}/cmake/host)
if(NOT EXISTS ${WORK}/host.log)
    message(FATAL_ERROR "the installed logging library wrote no log")
endif()

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
run_host(${WORK}/host)
