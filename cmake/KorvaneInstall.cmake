include(CMakePackageConfigHelpers)

set(KORVANE_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/KorvaneSDK)

install(TARGETS korvane_camera korvane_control korvane_synthetic
  EXPORT KorvaneSDKTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  FILE_SET HEADERS DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/korvane
  FILE_SET generated_headers DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/korvane)

install(EXPORT KorvaneSDKTargets NAMESPACE Korvane:: DESTINATION ${KORVANE_CMAKE_DIR})

configure_package_config_file(cmake/KorvaneSDKConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/KorvaneSDKConfig.cmake
  INSTALL_DESTINATION ${KORVANE_CMAKE_DIR})
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/KorvaneSDKConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/KorvaneSDKConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/KorvaneSDKConfigVersion.cmake
        DESTINATION ${KORVANE_CMAKE_DIR})

# The .pc file finds its prefix from its own place, so the tree can move.
file(RELATIVE_PATH KORVANE_PC_TO_PREFIX /p/${CMAKE_INSTALL_LIBDIR}/pkgconfig /p)
configure_file(cmake/korvane-sdk.pc.in ${CMAKE_CURRENT_BINARY_DIR}/korvane-sdk.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/korvane-sdk.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
