# `cpack` stages the three components of cmake/Install.cmake and hands them to packaging/make_debs. The DEB generator
# of CPack itself calls ldconfig from the package's scripts, where Debian wants a trigger.
set(CPACK_GENERATOR External)
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${PROJECT_SOURCE_DIR}/packaging/make_debs.cmake)
set(CPACK_COMPONENTS_ALL runtime dev tools)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_KELPO_MAKE_DEBS ${PROJECT_SOURCE_DIR}/packaging/make_debs)
set(CPACK_KELPO_STRIP ${CMAKE_STRIP})
set(CPACK_KELPO_SYSROOT ${CMAKE_SYSROOT})
set(CPACK_KELPO_VERSION ${PROJECT_VERSION})
include(CPack)
