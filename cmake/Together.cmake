# The files of one folder of a library in KELPO_TOGETHER are compiled as one, which reads their headers once: less than
# half the time where all is built once and thrown away. Two files of a folder cannot have a function or a constant of
# one name then, not even in unnamed namespaces: such a thing belongs into one place. The environment may say which.
set(KELPO_TOGETHER "$ENV{KELPO_TOGETHER}" CACHE STRING
    "Compile together the files of each folder of kelpo_host, kelpo_plc, kelpo_demo, host_tests, or several of these")

# Lets the files of the tests `target` be compiled so which begin with the same word: the folder that they are about.
function(kelpo_compile_tests_together target)
    if(NOT target IN_LIST KELPO_TOGETHER)
        return()
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
        string(REGEX MATCH "^[a-z]+" folder ${source})
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP "all_of_${folder}")
    endforeach()
endfunction()

# Lets the folders of `target` be compiled so, but those in ARGN, whose files are alike on purpose.
function(kelpo_compile_folders_together target)
    if(NOT target IN_LIST KELPO_TOGETHER)
        return()
    endif()
    set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_MODE GROUP)
    get_target_property(sources ${target} SOURCES)
    foreach(source IN LISTS sources)
        get_filename_component(folder ${source} DIRECTORY)
        if(folder IN_LIST ARGN)
            continue()
        endif()
        set_source_files_properties(${source} PROPERTIES UNITY_GROUP "all_of_${folder}")
    endforeach()
endfunction()
