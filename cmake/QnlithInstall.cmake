include(CMakePackageConfigHelpers)

install(TARGETS qnplatform qnframework Qnlith50 EXPORT Qnlith50Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/qnlith DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT Qnlith50Targets NAMESPACE Qnlith50:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qnlith50)

configure_package_config_file(cmake/Qnlith50Config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/Qnlith50Config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qnlith50)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/Qnlith50ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/Qnlith50Config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/Qnlith50ConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qnlith50)
file(GLOB QNLITH_PACKAGE_MODULES ${PROJECT_SOURCE_DIR}/cmake/package/*.cmake)
install(FILES ${QNLITH_PACKAGE_MODULES} DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qnlith50)

configure_file(cmake/qnlith50.pc.in ${CMAKE_CURRENT_BINARY_DIR}/qnlith50.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qnlith50.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
