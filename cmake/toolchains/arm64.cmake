# 64-bit ARM Linux, with Debian's cross compiler.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# Of the libraries only headers are used, and those of the build machine serve: they come after all that the compiler brings.
set(CMAKE_CXX_FLAGS_INIT "-idirafter /usr/include")
set(CMAKE_PROJECT_INCLUDE "${CMAKE_CURRENT_LIST_DIR}/HeadersOfBuildMachine.cmake")
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE NEVER)
file(GLOB packages /usr/lib/*-linux-gnu/cmake)
list(APPEND CMAKE_PREFIX_PATH ${packages})
