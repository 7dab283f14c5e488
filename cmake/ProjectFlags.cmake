# Programs of this project are position-independent also where that is not the compiler's habit. What CMake finds out for
# it holds for all of a build, so another project is left alone.
if(PROJECT_IS_TOP_LEVEL)
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
endif()

# Files come from anywhere: what the compiler and the loader can do against an overflow costs nothing measurable.
set(tramostream_hardened OFF)
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT TRAMOSTREAM_SANITIZE AND CMAKE_SYSTEM_NAME STREQUAL "Linux"
        AND CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang)$")
    set(tramostream_hardened ON)
endif()

# The sources that these patterns mean, of two for one purpose the platform's: NAME_windows.cpp takes the place of NAME.cpp
# on Windows, and is nothing elsewhere.
function(tramostream_sources variable)
    file(GLOB sources CONFIGURE_DEPENDS ${ARGN})
    set(for_windows ${sources})
    list(FILTER for_windows INCLUDE REGEX "_windows\\.cpp$")
    if(WIN32)
        list(TRANSFORM for_windows REPLACE "_windows\\.cpp$" ".cpp")
    endif()
    list(REMOVE_ITEM sources ${for_windows})
    set(${variable} ${sources} PARENT_SCOPE)
endfunction()

# How every target of this project is compiled; not passed on to targets that link the library.
function(tramostream_flags target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    # GCC copies and fills a line (2 KiB) with "rep movs" and "rep stos", in twice the time of the C library.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
        target_compile_options(${target} PRIVATE
            -mmemcpy-strategy=unrolled_loop:128:noalign,libcall:-1:noalign
            -mmemset-strategy=unrolled_loop:128:noalign,libcall:-1:noalign)
    endif()
    if(tramostream_hardened)
        target_compile_options(${target} PRIVATE
            -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3 -fstack-protector-strong -fstack-clash-protection)
        target_link_options(${target} PRIVATE -Wl,-z,relro,-z,now,-z,noexecstack)
        set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
    endif()
    if(WIN32)
        target_compile_definitions(${target} PRIVATE NOMINMAX)   # or windows.h makes macros of std::min and std::max
    endif()
    if(MSVC)
        # C5030: an attribute of another compiler, which the language allows. The other names are those of the C library's
        # functions that Visual C++ has its own variants of.
        target_compile_options(${target} PRIVATE /W4 /wd5030 /permissive- /utf-8)
        target_compile_definitions(${target} PRIVATE _CRT_SECURE_NO_WARNINGS _CRT_NONSTDC_NO_WARNINGS)
    else()
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    endif()
    if(TRAMOSTREAM_WERROR)
        set_target_properties(${target} PROPERTIES COMPILE_WARNING_AS_ERROR ON)
    endif()
    if(TRAMOSTREAM_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${TRAMOSTREAM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${TRAMOSTREAM_SANITIZE})
        # What the sanitizers know of each check holds addresses: with fixed ones a program starts in half the time.
        get_target_property(type ${target} TYPE)
        if(type STREQUAL "EXECUTABLE" AND NOT TRAMOSTREAM_SANITIZE MATCHES "thread")
            target_link_options(${target} PRIVATE -no-pie)
        endif()
    endif()
endfunction()
