# fmt without a library: its functions are compiled where they are used.
if(NOT TARGET fmt::fmt)
    add_library(fmt::fmt INTERFACE IMPORTED)
    target_compile_definitions(fmt::fmt INTERFACE FMT_HEADER_ONLY)
endif()
set(fmt_FOUND TRUE)
