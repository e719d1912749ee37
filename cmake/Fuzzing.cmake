# All code counts the branches that it takes, which guides the fuzzers (tests/fuzz). Only they contain the other half of
# the counters; other programs that are built this way may not run.
if(KELPO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "KELPO_FUZZ needs clang++")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
