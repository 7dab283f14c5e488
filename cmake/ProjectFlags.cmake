# How every target of this project is compiled; not passed on to targets that link the library.
function(tramostream_flags target)
    target_compile_features(${target} PUBLIC cxx_std_20)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
    # GCC copies a line (2 KiB) with "rep movs", in twice the time of the C library's memcpy.
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
        target_compile_options(${target} PRIVATE -mmemcpy-strategy=unrolled_loop:128:noalign,libcall:-1:noalign)
    endif()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
    if(TRAMOSTREAM_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${TRAMOSTREAM_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${TRAMOSTREAM_SANITIZE})
    endif()
endfunction()
