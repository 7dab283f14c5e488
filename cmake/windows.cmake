# Cross-builds for 64-bit Windows with Debian's MinGW-w64. The modules in cmake/windows and cmake/from-source find packages that
# Debian has for Linux only and that consist of headers or sources.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32 ${CMAKE_PREFIX_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/windows ${CMAKE_CURRENT_LIST_DIR}/from-source)
set(ZLIB_USE_STATIC_LIBS ON)

# Only these headers of the Linux packages.
set(debian_headers ${CMAKE_BINARY_DIR}/debian-headers)
file(MAKE_DIRECTORY ${debian_headers})
foreach(folder CLI fmt rapidjson)
    file(CREATE_LINK /usr/include/${folder} ${debian_headers}/${folder} SYMBOLIC)
endforeach()
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${debian_headers})
set(TRAMOSTREAM_RAPIDJSON_INCLUDE_DIR ${debian_headers} CACHE PATH "")

# Programs and the library need no other DLLs: neither the compiler's libraries nor that of threads.
foreach(kind EXE SHARED)
    set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static -s")
endforeach()

# Tests run if Wine is installed.
find_program(WINE wine64 PATHS /usr/lib/wine)
if(WINE)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${WINE})
endif()
