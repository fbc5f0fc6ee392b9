# SPDX-License-Identifier: MIT
# Test and benchmark frameworks come from the system. A missing one stops the
# configuration with the Debian package that provides it.
function(vesk_require_package name debian_package)
  find_package(${name} CONFIG QUIET)
  if(NOT ${name}_FOUND)
    find_package(${name} QUIET)
  endif()
  if(NOT ${name}_FOUND)
    message(FATAL_ERROR
      "${name} was not found. Install the Debian package '${debian_package}' "
      "(sudo apt-get install ${debian_package}), or run scripts/setup.sh.")
  endif()
endfunction()

if(VESK_BUILD_TESTS)
  vesk_require_package(GTest libgtest-dev)
endif()
if(VESK_BUILD_BENCH)
  vesk_require_package(benchmark libbenchmark-dev)
endif()
