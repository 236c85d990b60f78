# The `docs` target: the API reference of include/qnlith/ as HTML, built by
# Doxygen into <build>/docs/html. A public name without documentation fails
# the target, so that the reference stays complete.
find_program(QNLITH_DOXYGEN doxygen)
if(QNLITH_DOXYGEN)
  set(QNLITH_DOCS_OUTPUT ${PROJECT_BINARY_DIR}/docs)
  configure_file(${PROJECT_SOURCE_DIR}/docs/reference/Doxyfile.in ${QNLITH_DOCS_OUTPUT}/Doxyfile @ONLY)
  file(GLOB_RECURSE QNLITH_PUBLIC_HEADERS CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/include/qnlith/*.h)
  add_custom_command(
    OUTPUT ${QNLITH_DOCS_OUTPUT}/html/index.html
    COMMAND ${CMAKE_COMMAND} -E rm -rf ${QNLITH_DOCS_OUTPUT}/html
    COMMAND ${QNLITH_DOXYGEN} ${QNLITH_DOCS_OUTPUT}/Doxyfile
    DEPENDS ${QNLITH_DOCS_OUTPUT}/Doxyfile ${QNLITH_PUBLIC_HEADERS} ${PROJECT_SOURCE_DIR}/docs/reference/mainpage.md
    WORKING_DIRECTORY ${QNLITH_DOCS_OUTPUT}
    COMMENT "API reference (Doxygen)"
    VERBATIM)
  add_custom_target(docs DEPENDS ${QNLITH_DOCS_OUTPUT}/html/index.html)
else()
  add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E echo "docs: doxygen is not installed (scripts/setup.sh installs it)"
    COMMAND ${CMAKE_COMMAND} -E false
    VERBATIM)
endif()
