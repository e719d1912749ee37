# A finding ends the program, so that a test that meets one fails.
if(KELPO_SANITIZE)
    add_compile_options(-fsanitize=${KELPO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KELPO_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # g++ 12 gives these warnings only together with a sanitizer: one inside std::regex, and one for
        # std::atomic_thread_fence, which libraries use and the thread sanitizer does not model. The other builds keep
        # the first.
        add_compile_options(-Wno-maybe-uninitialized)
        if(KELPO_SANITIZE STREQUAL thread)
            add_compile_options(-Wno-tsan)
        endif()
    endif()
endif()
