# Everything counts which of its branches are taken, which guides the fuzzers (tests/fuzz). They bring the counters' other
# half: nothing else that is built so can count on running.
if(KELPO_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL Clang)
        message(FATAL_ERROR "KELPO_FUZZ needs clang++")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
