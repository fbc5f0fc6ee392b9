# SPDX-License-Identifier: MIT
# Dependencies point one way: services -> runtime -> the lower layer. A file
# of the lower layer that includes a runtime/ or services/ header fails the
# build. Run as a script (cmake -P) from the build, with SOURCE_DIR set.
set(violations "")
foreach(dir memory text paths os threads)
  file(GLOB_RECURSE sources "${SOURCE_DIR}/${dir}/*.cpp" "${SOURCE_DIR}/${dir}/*.hpp"
                            "${SOURCE_DIR}/${dir}/*.h" "${SOURCE_DIR}/${dir}/*.c")
  foreach(source ${sources})
    file(STRINGS "${source}" lines REGEX "^[ \t]*#[ \t]*include[ \t]+\"(\\.\\./)*(runtime|services)/")
    foreach(line ${lines})
      file(RELATIVE_PATH rel "${SOURCE_DIR}" "${source}")
      string(APPEND violations "\n  ${rel}: ${line}")
    endforeach()
  endforeach()
endforeach()
if(violations)
  message(FATAL_ERROR "The lower layer reaches the runtime only through exported calls; "
                      "these includes run the wrong way:${violations}")
endif()
