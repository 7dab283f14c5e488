# Cross-builds for browsers, as WebAssembly, with Debian's clang 19, libc++ and wasi-libc.
set(CMAKE_SYSTEM_NAME WASI)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_CXX_COMPILER clang++-19)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_AR llvm-ar-19 CACHE FILEPATH "")
set(CMAKE_RANLIB llvm-ranlib-19 CACHE FILEPATH "")
list(APPEND CMAKE_MODULE_PATH ${CMAKE_CURRENT_LIST_DIR}/web ${CMAKE_CURRENT_LIST_DIR}/windows)

# Flags of the environment are for this machine's programs: the hardening of a package's build, for example.
foreach(flags CPPFLAGS CFLAGS CXXFLAGS LDFLAGS)
    set(ENV{${flags}} "")
endforeach()

# The C++ library for WebAssembly has no exceptions: what is thrown ends the module; see web/wasm/failure.cpp.
set(CMAKE_CXX_FLAGS_INIT "-stdlib=libc++ -fignore-exceptions")
# What the module does not need, the linker leaves out.
string(APPEND CMAKE_CXX_FLAGS_INIT " -ffunction-sections -fdata-sections -fvisibility=hidden")
set(CMAKE_CXX_FLAGS_RELEASE "-Oz -DNDEBUG" CACHE STRING "")

# Only these headers of the Linux packages.
set(debian_headers ${CMAKE_BINARY_DIR}/debian-headers)
file(MAKE_DIRECTORY ${debian_headers})
foreach(folder fmt rapidjson)
    file(CREATE_LINK /usr/include/${folder} ${debian_headers}/${folder} SYMBOLIC)
endforeach()
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${debian_headers})
set(TRAMOSTREAM_RAPIDJSON_INCLUDE_DIR ${debian_headers} CACHE PATH "")
