# Builds the program of a document, with the CMakeLists.txt that the document gives, against an installed tree.
include(${CMAKE_CURRENT_LIST_DIR}/../support/Run.cmake)

file(REMOVE_RECURSE ${WORK})
file(MAKE_DIRECTORY ${WORK})
file(COPY_FILE ${LISTS} ${WORK}/CMakeLists.txt)
file(COPY_FILE ${PROGRAM} ${WORK}/main.cpp)

foreach(component Runtime Development)
    run(${CMAKE_COMMAND} --install ${BUILD} --prefix ${WORK}/prefix --component ${component})
endforeach()
run(${CMAKE_COMMAND} -S ${WORK} -B ${WORK}/build -DCMAKE_PREFIX_PATH=${WORK}/prefix -DCMAKE_CXX_COMPILER=${COMPILER}
    -DCMAKE_CXX_FLAGS=${FLAGS})
run(${CMAKE_COMMAND} --build ${WORK}/build)
