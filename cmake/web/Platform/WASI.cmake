# For versions of CMake that do not know this system.
set(WASI 1)
set(CMAKE_EXECUTABLE_SUFFIX .wasm)
