# A finding ends the program, so that a test that meets one fails.
if(KELPO_SANITIZE)
    add_compile_options(-fsanitize=${KELPO_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${KELPO_SANITIZE})
endif()
