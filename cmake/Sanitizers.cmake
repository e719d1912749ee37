# A finding ends the program, so that a test that meets one fails.
if(KELPO_SANITIZE)
    add_compile_options(-fsanitize=${KELPO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KELPO_SANITIZE})
    if(KELPO_SANITIZE STREQUAL thread AND CMAKE_CXX_COMPILER_ID STREQUAL GNU)
        # g++ warns that it does not model std::atomic_thread_fence, which libraries use; none of ours does.
        add_compile_options(-Wno-tsan)
    endif()
endif()
