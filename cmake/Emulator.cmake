# Sets `variable` to the file that a test runs to start the program `target`: the program itself, or in a cross build a
# native command that runs it in the emulator. An emulated program can start only native ones.
function(kelpo_started_as variable target)
    set(started $<TARGET_FILE:${target}>)
    if(CMAKE_CROSSCOMPILING_EMULATOR)
        set(started ${CMAKE_CURRENT_BINARY_DIR}/${target}-emulated)
        set(emulator ${CMAKE_CROSSCOMPILING_EMULATOR})
        list(TRANSFORM emulator REPLACE "(.+)" "'\\1'")
        list(JOIN emulator " " emulator)
        file(GENERATE OUTPUT ${started}
            CONTENT "#!/bin/sh\nexec ${emulator} '$<TARGET_FILE:${target}>' \"$@\"\n"
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    endif()
    set(${variable} ${started} PARENT_SCOPE)
endfunction()
