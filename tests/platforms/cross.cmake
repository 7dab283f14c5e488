# Cross-builds for Linux on another processor with Debian's compilers, and runs the tests under QEMU. TRAMOSTREAM_PLATFORM is
# the name that its compilers begin with: aarch64-linux-gnu, arm-linux-gnueabihf, i686-linux-gnu, s390x-linux-gnu.
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES TRAMOSTREAM_PLATFORM)
string(REGEX MATCH "^[^-]+" CMAKE_SYSTEM_PROCESSOR "${TRAMOSTREAM_PLATFORM}")
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_C_COMPILER ${TRAMOSTREAM_PLATFORM}-gcc)
set(CMAKE_CXX_COMPILER ${TRAMOSTREAM_PLATFORM}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${TRAMOSTREAM_PLATFORM})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# GoogleTest is built from its sources.
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/../../cmake/from-source)

# Of the headers of this machine, the compiler may see only RapidJSON.
set(other_headers ${CMAKE_BINARY_DIR}/other-headers)
file(MAKE_DIRECTORY ${other_headers})
file(CREATE_LINK /usr/include/rapidjson ${other_headers}/rapidjson SYMBOLIC)
set(TRAMOSTREAM_RAPIDJSON_INCLUDE_DIR ${other_headers} CACHE PATH "")

set(qemu ${CMAKE_SYSTEM_PROCESSOR})
if(qemu STREQUAL "i686")
    set(qemu i386)
endif()
# The path comes before the cache of this machine, which may have libraries of the platform in another version.
set(CMAKE_CROSSCOMPILING_EMULATOR
    /usr/bin/qemu-${qemu}-static -L /usr/${TRAMOSTREAM_PLATFORM} -E LD_LIBRARY_PATH=/usr/${TRAMOSTREAM_PLATFORM}/lib)
