# Builds the program of a document, with the CMakeLists.txt that the document gives, against an installed tree.
file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
file(COPY_FILE ${LISTS} ${WORK}/CMakeLists.txt)
file(COPY_FILE ${PROGRAM} ${WORK}/main.cpp)

function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT result EQUAL 0)
        list(JOIN ARGN " " command)
        message(FATAL_ERROR "${command}\nended with ${result}:\n${output}")
    endif()
endfunction()

foreach(component Runtime Development)
    run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix --component ${component})
endforeach()
run(${CMAKE_COMMAND} -S ${WORK} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_CXX_FLAGS=${FLAGS})
run(${CMAKE_COMMAND} --build ${WORK}/build)
