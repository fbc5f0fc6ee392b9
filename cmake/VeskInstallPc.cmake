# SPDX-License-Identifier: MIT
#
# Run by `cmake --install`: writes vesk.pc for the prefix the library is
# installed into (which --prefix may change after configuration) and installs
# it into ${libdir}/pkgconfig. Expects VESK_PC_IN, VESK_PC_WORK, VESK_LIBDIR,
# VESK_INCLUDEDIR and the project's name, description and version.

function(vesk_install_dir out dir)
  if(IS_ABSOLUTE "${dir}")
    set(${out} "${dir}" PARENT_SCOPE)
  else()
    set(${out} "\${prefix}/${dir}" PARENT_SCOPE)
  endif()
endfunction()

set(VESK_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
vesk_install_dir(VESK_PC_LIBDIR "${VESK_LIBDIR}")
vesk_install_dir(VESK_PC_INCLUDEDIR "${VESK_INCLUDEDIR}")
configure_file("${VESK_PC_IN}" "${VESK_PC_WORK}/vesk.pc" @ONLY)

if(IS_ABSOLUTE "${VESK_LIBDIR}")
  set(pc_destination "${VESK_LIBDIR}/pkgconfig")
else()
  set(pc_destination "${CMAKE_INSTALL_PREFIX}/${VESK_LIBDIR}/pkgconfig")
endif()
file(INSTALL DESTINATION "${pc_destination}" TYPE FILE FILES "${VESK_PC_WORK}/vesk.pc")
