# Everything counts which of its branches are taken, which guides the fuzzers (tests/fuzz). They contain the other half
# of the counters: other programs that are built this way may not run.
if(KELPO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "KELPO_FUZZ needs clang++")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
