# document.h of RapidJSON 1.1.0 assigns to constants, in a function that is never called. Newer compilers reject that: clang 19,
# unless it parses template functions only where they are called.
include(CheckCXXSourceCompiles)

set(tramostream_json_options "")
block(PROPAGATE tramostream_json_options)
    set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
    set(CMAKE_REQUIRED_INCLUDES ${TRAMOSTREAM_RAPIDJSON_INCLUDE_DIR})
    set(CMAKE_REQUIRED_QUIET ON)
    set(uses_document "#include <rapidjson/document.h>\nbool use() { return rapidjson::Document().IsNull(); }")
    check_cxx_source_compiles("${uses_document}" TRAMOSTREAM_JSON_COMPILES)
    if(NOT TRAMOSTREAM_JSON_COMPILES)
        set(tramostream_json_options -fdelayed-template-parsing -Wno-delayed-template-parsing-in-cxx20)
        list(JOIN tramostream_json_options " " CMAKE_REQUIRED_FLAGS)
        check_cxx_source_compiles("${uses_document}" TRAMOSTREAM_JSON_COMPILES_DELAYED)
        if(NOT TRAMOSTREAM_JSON_COMPILES_DELAYED)
            message(FATAL_ERROR "The compiler rejects rapidjson/document.h in ${TRAMOSTREAM_RAPIDJSON_INCLUDE_DIR}. "
                "Set TRAMOSTREAM_RAPIDJSON_INCLUDE_DIR to the folder of a RapidJSON newer than 1.1.0.")
        endif()
    endif()
endblock()

# Sets the flags of those sources of this folder that include rapidjson/document.h.
function(tramostream_json_sources)
    set_source_files_properties(${ARGN} PROPERTIES COMPILE_OPTIONS "${tramostream_json_options}")
endfunction()
