# Joins the modules, the style and the frame of the page into one file without any reference to another:
#
#   cmake -DOUT=page.cpp -P assemble.cmake    C++: the page in three pieces, between which are its title and its data
#   cmake -DOUT=page.html -P assemble.cmake   the page itself
#
# Options: MAIN: the module to begin with (main.js). STYLE: the style sheet (style.css). SCRIPTS: more sources of scripts that the page allows, such as
# 'wasm-unsafe-eval'. POLICY: more directives. Of HTML, TITLE, and DATA: a file with the elements for the data.
#
# The page allows scripts and styles by their hashes only, and nothing else.
cmake_minimum_required(VERSION 3.25)

set(web ${CMAKE_CURRENT_LIST_DIR})
include(${web}/squeeze.cmake)
if(NOT MAIN)
    set(MAIN main.js)
endif()
if(NOT STYLE)
    set(STYLE style.css)
endif()

# ---- One script -----------------------------------------------------------------------------------------------------
# All modules get one scope: the words "import" and "export" go, and a module comes after those that it imports.

set(script "")
set(seen "")
set(names "")

function(add_module name)
    if(name IN_LIST seen)
        return()
    endif()
    list(APPEND seen ${name})
    file(READ ${web}/${name} text)
    set(text "\n${text}")
    string(REGEX MATCHALL "\nimport [^\n]* from '\\./[A-Za-z0-9_/-]+\\.js'" imports "${text}")
    foreach(import IN LISTS imports)
        if(import MATCHES " as ")
            message(FATAL_ERROR "${name}: \"as\" cannot be joined into one script: ${import}")
        endif()
        string(REGEX REPLACE ".* from '\\./(.*)'" "\\1" other "${import}")
        add_module(${other})
    endforeach()
    string(REGEX REPLACE "\nimport [^\n]* from '\\./[A-Za-z0-9_/-]+\\.js';?" "" text "${text}")
    string(REGEX REPLACE "\nexport default " "\n" text "${text}")
    string(REGEX REPLACE "\nexport " "\n" text "${text}")
    if(text MATCHES "\nimport ")
        message(FATAL_ERROR "${name}: an import must be one line, from './NAME.js'")
    endif()
    string(REGEX MATCHALL "\n(const|let|class|function|async function)\\*? [A-Za-z_$][A-Za-z0-9_$]*" declared "${text}")
    foreach(declaration IN LISTS declared)
        string(REGEX REPLACE ".* " "" declaration "${declaration}")
        if(declaration IN_LIST names)
            message(FATAL_ERROR "${name}: another module has the name \"${declaration}\", too: all modules become one script")
        endif()
        list(APPEND names ${declaration})
    endforeach()
    set(script "${script}${text}" PARENT_SCOPE)
    set(seen "${seen}" PARENT_SCOPE)
    set(names "${names}" PARENT_SCOPE)
endfunction()

add_module(${MAIN})
squeeze_script(script)

# ---- One style ------------------------------------------------------------------------------------------------------
# A style sheet imports its parts, one a line, or is a part itself.

set(style "")
function(add_style sheet)
    file(STRINGS ${web}/${sheet} imports REGEX "^@import ")
    if(NOT imports)
        file(READ ${web}/${sheet} text)
        set(style "${style}${text}" PARENT_SCOPE)
        return()
    endif()
    foreach(import IN LISTS imports)
        string(REGEX REPLACE "^@import '(.*)'.*" "\\1" part "${import}")
        add_style(${part})
    endforeach()
    set(style "${style}" PARENT_SCOPE)
endfunction()

add_style(${STYLE})
squeeze_style(style)
if("${script}${style}" MATCHES "</(script|style)|<!--")
    message(FATAL_ERROR "the text \"${CMAKE_MATCH_0}\" would end the script or the style")
endif()

# ---- What the page allows -------------------------------------------------------------------------------------------

set(alphabet "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")

# The hash of a text, as a content security policy names it.
function(hash_source variable text)
    string(SHA256 digest "${text}")
    string(APPEND digest "00")   # 32 bytes are ten groups of three, and two bytes
    set(encoded "")
    foreach(at RANGE 0 60 6)
        string(SUBSTRING ${digest} ${at} 6 group)
        math(EXPR bits "0x${group}")
        foreach(shift 18 12 6 0)
            math(EXPR index "(${bits} >> ${shift}) & 63")
            string(SUBSTRING ${alphabet} ${index} 1 sign)
            string(APPEND encoded ${sign})
        endforeach()
    endforeach()
    string(REGEX REPLACE "A$" "=" encoded ${encoded})
    set(${variable} "'sha256-${encoded}'" PARENT_SCOPE)
endfunction()

hash_source(script_hash "${script}")
hash_source(style_hash "${style}")
string(STRIP "${script_hash} ${SCRIPTS}" scripts)
set(policy "default-src 'none'; script-src ${scripts}; style-src ${style_hash}; base-uri 'none'; form-action 'none'")
if(POLICY)
    string(APPEND policy "; ${POLICY}")
endif()

# ---- The page -------------------------------------------------------------------------------------------------------

file(READ ${web}/index.html frame)
string(REGEX MATCH "^(.*){{title}}(.*){{data}}(.*)$" whole "${frame}")
if(NOT whole)
    message(FATAL_ERROR "index.html must have {{title}}, and {{data}} after it")
endif()
foreach(number 1 2 3)
    set(piece "${CMAKE_MATCH_${number}}")
    string(REPLACE "{{csp}}" "${policy}" piece "${piece}")
    string(REPLACE "{{css}}" "${style}" piece "${piece}")
    string(REPLACE "{{js}}" "${script}" piece "${piece}")
    set(piece_${number} "${piece}")
endforeach()

if(OUT MATCHES "\\.html$")
    set(data "")
    if(DATA)
        file(READ ${DATA} data)
    endif()
    file(WRITE ${OUT} "${piece_1}${TITLE}${piece_2}${data}${piece_3}")
    return()
endif()

# String literals have a greatest length: a piece is an array of them, each of whole lines.
set(source "// Made by web/assemble.cmake.\n#include \"cli/commands/report_page.h\"\n\nnamespace tramo::cli {\n")
foreach(number 1 2 3)
    set(rest "${piece_${number}}")
    set(literals "")
    string(LENGTH "${rest}" left)
    while(left GREATER 0)
        string(SUBSTRING "${rest}" 0 12000 part)
        string(FIND "${part}" "\n" end REVERSE)
        if(left LESS_EQUAL 12000)
            set(end ${left})
        elseif(end EQUAL -1)
            string(FIND "${rest}" "\n" end)
            if(end EQUAL -1)
                set(end ${left})
            endif()
        else()
            math(EXPR end "${end} + 1")
        endif()
        string(SUBSTRING "${rest}" 0 ${end} part)
        string(SUBSTRING "${rest}" ${end} -1 rest)
        string(LENGTH "${rest}" left)
        string(APPEND literals "    R\"~page~(${part})~page~\",\n")
    endwhile()
    string(APPEND source "\nstatic constexpr std::string_view piece${number}[] = {\n${literals}};\n")
endforeach()
string(APPEND source "\nconst PageFrame pageFrame{piece1, piece2, piece3};\n\n}  // namespace tramo::cli\n")
file(WRITE ${OUT} "${source}")
