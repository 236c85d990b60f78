include(CMakePackageConfigHelpers)

install(TARGETS qnplatform qnframework Qnlith50 EXPORT Qnlith50Targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(DIRECTORY include/qnlith DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)
install(EXPORT Qnlith50Targets NAMESPACE Qnlith50:: DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qnlith50
  COMPONENT dev)

configure_package_config_file(cmake/Qnlith50Config.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/Qnlith50Config.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qnlith50)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/Qnlith50ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${CMAKE_CURRENT_BINARY_DIR}/Qnlith50Config.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/Qnlith50ConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qnlith50 COMPONENT dev)
file(GLOB QNLITH_PACKAGE_MODULES ${PROJECT_SOURCE_DIR}/cmake/package/*.cmake)
install(FILES ${QNLITH_PACKAGE_MODULES} DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/Qnlith50 COMPONENT dev)

file(RELATIVE_PATH QNLITH_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(cmake/qnlith50.pc.in ${CMAKE_CURRENT_BINARY_DIR}/qnlith50.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qnlith50.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

include(cmake/QnlithPackaging.cmake)
