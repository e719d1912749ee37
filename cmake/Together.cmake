# The files in each folder of a target named in KELPO_TOGETHER are compiled as one file, which reads their headers
# once. Where everything is built once and thrown away, that takes less than half the time. Two files of a folder then
# cannot define a function or a constant of the same name, not even in unnamed namespaces; such a thing belongs in one
# place. The environment variable of the same name sets the default.
set(KELPO_TOGETHER "$ENV{KELPO_TOGETHER}" CACHE STRING
    "Compile together the files of each folder of these targets, or of all that can be")

# Has the folders of `target` compiled this way. With BY_FIRST_WORD the files are in one folder, and the first word of a
# file's name says which folder it is about.
function(kelpo_compile_folders_together target)
    if(NOT KELPO_TOGETHER STREQUAL all AND NOT target IN_LIST KELPO_TOGETHER)
        return()
    endif()
    cmake_parse_arguments(PARSE_ARGV 1 arg "BY_FIRST_WORD" "" "")
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
        get_filename_component(folder ${source} DIRECTORY)
        if(arg_BY_FIRST_WORD)
            string(REGEX MATCH "^[a-z]+" folder ${source})
        endif()
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP "all_of_${folder}")
    endforeach()
endfunction()
