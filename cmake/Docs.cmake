# SPDX-License-Identifier: MIT
#
# The HTML reference of the public headers, built by Doxygen when it is there
# (scripts/setup.sh docs installs it): the target `docs`, and with the tests
# the test docs.reference, which fails on any Doxygen warning.
find_program(VESK_DOXYGEN doxygen)
if(NOT VESK_DOXYGEN)
  return()
endif()

configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${PROJECT_BINARY_DIR}/Doxyfile @ONLY)
add_custom_target(docs
  COMMAND ${VESK_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
  COMMAND ${CMAKE_COMMAND} -E echo "reference: ${PROJECT_BINARY_DIR}/docs/html/index.html"
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
  COMMENT "Building the HTML reference of the public headers"
  VERBATIM)
if(VESK_BUILD_TESTS)
  add_test(NAME docs.reference COMMAND ${VESK_DOXYGEN} ${PROJECT_BINARY_DIR}/Doxyfile
           WORKING_DIRECTORY ${PROJECT_BINARY_DIR})
endif()
