# SPDX-License-Identifier: MIT
#
# What `cmake --install` puts under the prefix:
#   ${libdir}/libvesk.so.X.Y.Z, libvesk.so.X and the development link libvesk.so
#   ${includedir}/vesk/vesk.h, nu.h and the generated vesk_version.h
#   ${libdir}/vesk/modules/          where plug-in modules are installed
#   ${libdir}/pkgconfig/vesk.pc      for pkg-config --cflags --libs vesk
#   ${libdir}/cmake/vesk/            for find_package(vesk) and vesk::vesk
include(CMakePackageConfigHelpers)

set(VESK_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vesk)

install(TARGETS vesk EXPORT veskTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
          NAMELINK_COMPONENT Development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vesk)
install(FILES
  ${PROJECT_SOURCE_DIR}/include/vesk.h
  ${PROJECT_SOURCE_DIR}/include/nu.h
  ${VESK_GENERATED_INCLUDE}/vesk_version.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vesk
  COMPONENT Development)
# The module directory exists from the start, empty.
install(DIRECTORY DESTINATION ${CMAKE_INSTALL_LIBDIR}/vesk/modules)

install(EXPORT veskTargets
  NAMESPACE vesk::
  DESTINATION ${VESK_CMAKE_DIR}
  COMPONENT Development)
configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/veskConfig.cmake.in
  ${PROJECT_BINARY_DIR}/veskConfig.cmake
  INSTALL_DESTINATION ${VESK_CMAKE_DIR})
# Within a major version every release keeps the interface of the ones before.
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/veskConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/veskConfig.cmake
  ${PROJECT_BINARY_DIR}/veskConfigVersion.cmake
  DESTINATION ${VESK_CMAKE_DIR}
  COMPONENT Development)

# vesk.pc is written at install time, for the prefix actually installed into.
install(CODE "
  set(VESK_PC_IN \"${CMAKE_CURRENT_LIST_DIR}/vesk.pc.in\")
  set(VESK_PC_WORK \"${PROJECT_BINARY_DIR}/pkgconfig\")
  set(VESK_LIBDIR \"${CMAKE_INSTALL_LIBDIR}\")
  set(VESK_INCLUDEDIR \"${CMAKE_INSTALL_INCLUDEDIR}\")
  set(PROJECT_DESCRIPTION \"${PROJECT_DESCRIPTION}\")
  set(PROJECT_VERSION \"${PROJECT_VERSION}\")
  include(\"${CMAKE_CURRENT_LIST_DIR}/VeskInstallPc.cmake\")
" COMPONENT Development)
