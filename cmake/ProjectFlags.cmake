# Programs of this project are position-independent, even if that is not the compiler's default. The result of CMake's check
# applies to the whole build, so it is not done if this is a part of another project.
if(PROJECT_IS_TOP_LEVEL)
    include(CheckPIESupported)
    check_pie_supported(LANGUAGES CXX)
endif()

# Input files are untrusted: the protection of compiler and loader against overflows has no measurable cost.
set(tramostream_hardened OFF)
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT TRAMOSTREAM_SANITIZE AND CMAKE_SYSTEM_NAME STREQUAL "Linux"
        AND CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang)$")
    set(tramostream_hardened ON)
endif()

# Finds the sources that match these patterns. On Windows, NAME_windows.cpp replaces NAME.cpp, and in a browser NAME_wasi.cpp;
# elsewhere, they are ignored.
function(tramostream_sources variable)
    file(GLOB sources CONFIGURE_DEPENDS ${ARGN})
    foreach(system windows wasi)
        set(for_system ${sources})
        list(FILTER for_system INCLUDE REGEX "_${system}\\.cpp$")
        list(REMOVE_ITEM sources ${for_system})
        set(for_${system} ${for_system})
    endforeach()
    set(own "")
    if(WIN32)
        set(own windows)
    elseif(WASI)
        set(own wasi)
    endif()
    if(own)
        set(replaced ${for_${own}})
        list(TRANSFORM replaced REPLACE "_${own}\\.cpp$" ".cpp")
        list(REMOVE_ITEM sources ${replaced})
        list(APPEND sources ${for_${own}})
    endif()
    set(${variable} ${sources} PARENT_SCOPE)
endfunction()

# ccache stores results of compilations with precompiled headers only if it may ignore their macros and times. A build in another
# locale may use them, too: its messages are the only difference.
if(TRAMOSTREAM_PRECOMPILE AND CMAKE_CXX_COMPILER_LAUNCHER MATCHES "^[^;]*ccache$")
    list(PREPEND CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros,locale)
endif()

# Compiles headers that most sources of a target include only once, if wanted. The library and the tool do without: there, a
# source without an include that it needs does not compile.
function(tramostream_precompile target)
    if(TRAMOSTREAM_PRECOMPILE)
        if("REUSE_FROM" IN_LIST ARGN)
            target_precompile_headers(${target} ${ARGN})
        else()
            target_precompile_headers(${target} PRIVATE ${ARGN})
        endif()
        if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
            target_compile_options(${target} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")   # for ccache
        endif()
    endif()
endfunction()

# If wanted, compiles the sources of a target folder by folder, each as one source: half the time for a whole build, but all of it
# after every change. Not the sources of these folders, which use the same names: records, each of which is M, commands and
# tables.
function(tramostream_unity target)
    if(TRAMOSTREAM_UNITY)
        set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
        get_target_property(sources ${target} SOURCES)
        get_target_property(folder ${target} SOURCE_DIR)
        foreach(source ${sources})
            cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder})
            cmake_path(GET source PARENT_PATH room)
            cmake_path(RELATIVE_PATH room BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
            if(NOT room IN_LIST ARGN)
                set_property(SOURCE ${source} TARGET_DIRECTORY ${target} PROPERTY UNITY_GROUP ${room})
            endif()
        endforeach()
        # A local name hides one of another source, and a class of a source looks like one of a header: other builds check that.
        target_compile_options(${target} PRIVATE -Wno-shadow $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
    endif()
endfunction()

# Compiler flags of every target of this project; not passed on to targets that link the library.
function(tramostream_flags target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    # GCC copies and fills a line (2 KiB) with "rep movs" and "rep stos", which take twice the time of the C library.
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
        target_compile_definitions(${target} PRIVATE NOMINMAX)   # otherwise windows.h defines min and max as macros
    endif()
    if(MSVC)
        # C5030: an attribute of another compiler, which the language allows. The definitions silence warnings about functions
        # of the C library for which Visual C++ has its own variants.
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
        # The sanitizers' data of each check holds addresses: with fixed addresses, a program starts in half the time.
        get_target_property(type ${target} TYPE)
        if(type STREQUAL "EXECUTABLE" AND NOT TRAMOSTREAM_SANITIZE MATCHES "thread")
            target_link_options(${target} PRIVATE -no-pie)
        endif()
    endif()
endfunction()
