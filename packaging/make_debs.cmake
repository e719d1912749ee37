# Run by cpack once the components are staged.
execute_process(
    COMMAND ${CPACK_KELPO_MAKE_DEBS} ${CPACK_TEMPORARY_DIRECTORY} ${CPACK_PACKAGE_DIRECTORY} ${CPACK_KELPO_VERSION}
        ${CPACK_KELPO_STRIP} ${CPACK_KELPO_SYSROOT}
    RESULT_VARIABLE result
)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "no packages were made")
endif()
