include(CMakePackageConfigHelpers)

install(TARGETS kestrova kestrova_pgm EXPORT kestrovaTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES include/kestrova.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT kestrovaTargets NAMESPACE Kestrova:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kestrova)

configure_package_config_file(cmake/kestrovaConfig.cmake.in kestrovaConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kestrova)
write_basic_package_version_file(kestrovaConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kestrovaConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/kestrovaConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/kestrova)

# Told from where the file itself lies, since the prefix may be another one when it comes to installing.
set(pc_folder ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${pc_folder} OUTPUT_VARIABLE prefix_from_pc)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE pc_include)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_LIBDIR BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE pc_lib)
configure_file(cmake/kestrova.pc.in kestrova.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kestrova.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
