# What `cmake --install` installs, in three components: `runtime` (the library), `dev` (what a host is built with) and
# `tools` (see host/ and plc/). The package files use paths relative to themselves, so the tree may be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(cmake/Documents.cmake)

set(kelpo_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/ozna_kelpo_port)
set(kelpo_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/ozna_kelpo_port)
set(kelpo_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The library, and its Qt under the name that the exported target uses.
set_target_properties(kelpo_qtcore PROPERTIES EXPORT_NAME qtcore)
install(TARGETS ozna_kelpo_port_2 kelpo_qtcore EXPORT ozna_kelpo_port
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
    INCLUDES DESTINATION ${kelpo_include_dir}
)

# What a host is built with.
install(DIRECTORY include/ DESTINATION ${kelpo_include_dir} COMPONENT dev FILES_MATCHING PATTERN *.h)
install(EXPORT ozna_kelpo_port NAMESPACE ozna_kelpo_port:: FILE ozna_kelpo_portTargets.cmake
    DESTINATION ${kelpo_cmake_dir} COMPONENT dev)
configure_package_config_file(cmake/ozna_kelpo_portConfig.cmake.in ${PROJECT_BINARY_DIR}/ozna_kelpo_portConfig.cmake
    INSTALL_DESTINATION ${kelpo_cmake_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ozna_kelpo_portConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES
    ${PROJECT_BINARY_DIR}/ozna_kelpo_portConfig.cmake
    ${PROJECT_BINARY_DIR}/ozna_kelpo_portConfigVersion.cmake
    DESTINATION ${kelpo_cmake_dir} COMPONENT dev)

file(RELATIVE_PATH kelpo_prefix_from_pkgconfig
    ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
foreach(package ozna_kelpo_port ozna_kelpo_host)
    configure_file(cmake/${package}.pc.in ${PROJECT_BINARY_DIR}/${package}.pc @ONLY)
    install(FILES ${PROJECT_BINARY_DIR}/${package}.pc DESTINATION ${kelpo_pkgconfig_dir} COMPONENT dev)
endforeach()

# Manual pages, which get the version and its date here.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
file(STRINGS CHANGELOG.md kelpo_release_date REGEX "^## ${PROJECT_VERSION}, [0-9-]+$")
string(REGEX REPLACE ".*, " "" kelpo_release_date "${kelpo_release_date}")
if(NOT kelpo_release_date)
    message(FATAL_ERROR "CHANGELOG.md has no section \"## ${PROJECT_VERSION}, DATE\"")
endif()
function(kelpo_install_pages component section)
    foreach(page IN LISTS ARGN)
        configure_file(docs/man/${page}.${section} ${PROJECT_BINARY_DIR}/man/${page}.${section} @ONLY)
        install(FILES ${PROJECT_BINARY_DIR}/man/${page}.${section}
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT ${component})
    endforeach()
endfunction()

file(GLOB kelpo_interface_pages CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/docs/man docs/man/*.3)
list(TRANSFORM kelpo_interface_pages REPLACE "\\.3$" "")
kelpo_install_pages(dev 3 ${kelpo_interface_pages})

# A page that describes several functions is found under the name of each.
file(STRINGS docs/man/names.txt kelpo_page_names REGEX "^[^#]")
foreach(line IN LISTS kelpo_page_names)
    string(REPLACE " " ";" names ${line})
    list(POP_FRONT names page)
    foreach(name IN LISTS names)
        file(WRITE ${PROJECT_BINARY_DIR}/man/${name}.3 ".so man3/${page}.3\n")
        install(FILES ${PROJECT_BINARY_DIR}/man/${name}.3
            DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT dev)
    endforeach()
endforeach()
foreach(name address-map building-for-a-panel decisions host-guide lines performance reliability remote-format)
    list(APPEND kelpo_documents_of_dev docs/${name}.md)
endforeach()
foreach(name address-map lines list-files plan poll read-and-write service simulated-controller topics trace)
    list(APPEND kelpo_documents_of_tools docs/${name}.md)
endforeach()
list(APPEND kelpo_documents_of_dev SECURITY.md)
list(APPEND kelpo_documents_of_tools SECURITY.md)
file(GLOB kelpo_examples_of_dev CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} examples/*.cpp)
file(GLOB kelpo_examples_of_tools CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR} examples/*.toml examples/*.csv)
kelpo_install_documents(dev)
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev)

if(KELPO_TOOLS)
    install(TARGETS kelpo kelpo-plc RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tools)
    kelpo_install_pages(tools 1 kelpo kelpo-plc)
    install(FILES host/completion/kelpo DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        COMPONENT tools)
    kelpo_install_documents(tools)
    install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
endif()
