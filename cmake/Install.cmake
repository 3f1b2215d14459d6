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

configure_file(cmake/kestrova.pc.in kestrova.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/kestrova.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
