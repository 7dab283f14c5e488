# Writes the manual pages and completions of the tool to a folder: cmake -DTRAMO=PROGRAM -DFOLDER=FOLDER -P pages.cmake
function(page path)
    execute_process(COMMAND ${TRAMO} help ${ARGN} OUTPUT_FILE ${FOLDER}/${path} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(REMOVE_RECURSE ${FOLDER})
file(MAKE_DIRECTORY ${FOLDER}/man/man1 ${FOLDER}/man/man5 ${FOLDER}/bash ${FOLDER}/zsh ${FOLDER}/fish)
page(man/man1/tramo.1 --man)
page(man/man5/tramo-format.5 --man format)
page(bash/tramo --completion bash)
page(zsh/_tramo --completion zsh)
page(fish/tramo.fish --completion fish)

# The commands are the rows of "Commands:", except help.
execute_process(COMMAND ${TRAMO} help OUTPUT_VARIABLE overview COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE ".*\nCommands:(.*)\n  help .*" "\\1\n" rows "${overview}")
string(REGEX MATCHALL "\n  [a-z]+ " names "${rows}")
foreach(name ${names})
    string(STRIP ${name} name)
    page(man/man1/tramo-${name}.1 --man ${name})
endforeach()
