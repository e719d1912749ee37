# A finding ends the program, so that a test that meets one fails.
if(KELPO_SANITIZE)
    add_compile_options(-fsanitize=${KELPO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KELPO_SANITIZE})
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # What g++ 12 warns of only beside a sanitizer: inside std::regex, and of std::atomic_thread_fence, which the
        # thread sanitizer does not model and libraries use. The other builds keep the first warning.
        add_compile_options(-Wno-maybe-uninitialized)
        if(KELPO_SANITIZE STREQUAL thread)
            add_compile_options(-Wno-tsan)
        endif()
    endif()
endif()
