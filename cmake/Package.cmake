# What find_package(FilterBase CONFIG) of a client finds after an installation.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/FilterBase)
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/FilterBaseConfig.cmake.in
    ${CMAKE_BINARY_DIR}/FilterBaseConfig.cmake
    INSTALL_DESTINATION ${package_dir}
)
write_basic_package_version_file(
    ${CMAKE_BINARY_DIR}/FilterBaseConfigVersion.cmake
    COMPATIBILITY SameMinorVersion
)
install(FILES
    ${CMAKE_BINARY_DIR}/FilterBaseConfig.cmake
    ${CMAKE_BINARY_DIR}/FilterBaseConfigVersion.cmake
    DESTINATION ${package_dir}
)
install(EXPORT TeskTargets
    NAMESPACE Tesk::
    FILE FilterBaseTargets.cmake
    DESTINATION ${package_dir}
)
