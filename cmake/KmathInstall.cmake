# Installation: headers, both libraries, a CMake package and a pkg-config file, all relocatable.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/kmath)

install(DIRECTORY include/kmath TYPE INCLUDE)
install(TARGETS kmath kmath_static EXPORT kmath-targets)
install(EXPORT kmath-targets NAMESPACE kmath:: DESTINATION ${package_dir})

configure_package_config_file(cmake/kmath-config.cmake.in ${PROJECT_BINARY_DIR}/kmath-config.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/kmath-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/kmath-config.cmake ${PROJECT_BINARY_DIR}/kmath-config-version.cmake
  DESTINATION ${package_dir})

# The pkg-config file finds its prefix from its own place, so that a moved tree keeps working.
file(RELATIVE_PATH prefix_from_pc
  ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" prefix_from_pc "${prefix_from_pc}")
configure_file(cmake/kmath.pc.in ${PROJECT_BINARY_DIR}/kmath.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/kmath.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
