# Installs the library for find_package(zef) and for pkg-config.

include(CMakePackageConfigHelpers)

set(zef_cmake_dir "${CMAKE_INSTALL_LIBDIR}/cmake/zef")
install(TARGETS zef_static zef_shared EXPORT zefTargets
  ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/zef" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.h")
install(EXPORT zefTargets NAMESPACE zef:: DESTINATION "${zef_cmake_dir}")

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/zefConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/zefConfig.cmake" INSTALL_DESTINATION "${zef_cmake_dir}")
write_basic_package_version_file("${PROJECT_BINARY_DIR}/zefConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
install(FILES "${PROJECT_BINARY_DIR}/zefConfig.cmake" "${PROJECT_BINARY_DIR}/zefConfigVersion.cmake"
  DESTINATION "${zef_cmake_dir}")

# The prefix is found from where the file lies, so the installed tree can be moved.
file(RELATIVE_PATH zef_prefix_from_pc "${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig" "${CMAKE_INSTALL_PREFIX}")
file(RELATIVE_PATH zef_libdir "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_LIBDIR}")
file(RELATIVE_PATH zef_includedir "${CMAKE_INSTALL_PREFIX}" "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
# What the archive needs besides; the folders state the names that the linker knows.
get_property(zef_private_libs GLOBAL PROPERTY ZEF_LIBRARIES)
list(REMOVE_DUPLICATES zef_private_libs)
list(TRANSFORM zef_private_libs PREPEND "-l")
list(JOIN zef_private_libs " " zef_private_libs)
configure_file("${CMAKE_CURRENT_LIST_DIR}/zef.pc.in" "${PROJECT_BINARY_DIR}/zef.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/zef.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
