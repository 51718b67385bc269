# Installs what was built into a folder of its own and builds a host against it there.
include(${CMAKE_CURRENT_LIST_DIR}/Hosts.cmake)
file(REMOVE_RECURSE ${WORK})
set(prefix ${WORK}/prefix)

# Each component alone, as packages would hold them.
foreach(component Runtime Development Tools)
    run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix} --component ${component})
endforeach()
foreach(file bin/vdi-agent bin/vdictl include/dpllogger/DPLLogger.h include/VDIFrameworkCommon/VDIFrameworkCommon.h)
    if(NOT EXISTS ${prefix}/${file})
        message(FATAL_ERROR "not installed: ${file}")
    endif()
endforeach()

check_hosts()
