# Installs the build into a scratch prefix, then builds the consumer program
# against it twice: through find_package and through pkg-config. Both must run
# and convert "café" to ISO 8859-1 and back.
# Also checks the license files and vynconv's RUNPATH in the install.
# Arguments: -DBIN=<build dir> -DSRC=<source dir> -DCXX=<compiler>
#            -DRUNPATH=<vynconv's expected RUNPATH, empty for none> -DVYNCONV=0|1
set(prefix ${BIN}/package-test/prefix)
set(work ${BIN}/package-test)
file(REMOVE_RECURSE ${work})

function(run)
  execute_process(COMMAND ${ARGV} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "failed (${rc}): ${ARGV}\n${out}\n${err}")
  endif()
  set(LAST_OUTPUT "${out}" PARENT_SCOPE)
endfunction()

run(${CMAKE_COMMAND} --install ${BIN} --prefix ${prefix})
foreach(f include/vynulib/vynulib.h lib/pkgconfig/vynulib64.pc lib/cmake/vynulib64/vynulib64Config.cmake
    share/doc/vynulib64/LICENSE share/doc/vynulib64/THIRD-PARTY-NOTICES)
  if(NOT EXISTS ${prefix}/${f})
    message(FATAL_ERROR "not installed: ${f}")
  endif()
endforeach()

# The RUNPATH vynconv was given (none at all for system prefixes).
if(VYNCONV)
  run(readelf -d ${prefix}/bin/vynconv)
  set(got "")
  if(LAST_OUTPUT MATCHES "\\((RUNPATH|RPATH)\\)[^[]*\\[([^]]*)\\]")
    set(got "${CMAKE_MATCH_2}")
  endif()
  if(NOT got STREQUAL "${RUNPATH}")
    message(FATAL_ERROR "installed vynconv has RUNPATH '${got}', expected '${RUNPATH}'")
  endif()
endif()

# 1. find_package(vynulib64) and vynulib64::vynulib64
run(${CMAKE_COMMAND} -S ${SRC}/tests/package/consumer -B ${work}/cmake
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX})
run(${CMAKE_COMMAND} --build ${work}/cmake)
run(${work}/cmake/consumer)
if(NOT LAST_OUTPUT STREQUAL "café\n")
  message(FATAL_ERROR "consumer (CMake) printed '${LAST_OUTPUT}'")
endif()

# 2. pkg-config
set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
run(pkg-config --cflags --libs vynulib64)
string(STRIP "${LAST_OUTPUT}" flags)
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} -std=c++17 ${SRC}/tests/package/consumer/main.cpp ${flags}
    -Wl,-rpath,${prefix}/lib -o ${work}/consumer-pc)
run(${work}/consumer-pc)
if(NOT LAST_OUTPUT STREQUAL "café\n")
  message(FATAL_ERROR "consumer (pkg-config) printed '${LAST_OUTPUT}'")
endif()
message(STATUS "installed package works through find_package and pkg-config")
