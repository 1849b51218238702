# The committed character-table source must be exactly what tools/gen_unicode.py
# makes of the Unicode data, and the lists it derives must equal the reference
# lists in src/vynulib/unicode/data/*.tsv.
#
# Included by tests/CMakeLists.txt, this file registers the tests; run with
# cmake -P (CMAKE_SCRIPT_MODE_FILE set), it is the regeneration test itself.

if(NOT CMAKE_SCRIPT_MODE_FILE)
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_Interpreter_FOUND)
    add_test(NAME unicode_regenerate
      COMMAND ${CMAKE_COMMAND}
        -DPYTHON=${Python3_EXECUTABLE}
        -DSOURCE_DIR=${PROJECT_SOURCE_DIR}
        -DOUT_DIR=${CMAKE_CURRENT_BINARY_DIR}/regen_unicode
        -P ${CMAKE_CURRENT_LIST_FILE})
    add_test(NAME unicode_reference_lists
      COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/tools/gen_unicode.py --check-reference)
  else()
    message(STATUS "vynulib64: no Python 3, tests unicode_regenerate and unicode_reference_lists not added")
  endif()
  return()
endif()

cmake_minimum_required(VERSION 3.20)
set(name VynUCharTables.cpp)
file(REMOVE_RECURSE ${OUT_DIR})
execute_process(
  COMMAND ${PYTHON} ${SOURCE_DIR}/tools/gen_unicode.py --out ${OUT_DIR}
  RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "tools/gen_unicode.py failed (${rc})")
endif()
if(NOT EXISTS ${OUT_DIR}/${name})
  message(FATAL_ERROR "tools/gen_unicode.py wrote no ${name} into ${OUT_DIR}")
endif()
execute_process(
  COMMAND ${CMAKE_COMMAND} -E compare_files ${OUT_DIR}/${name} ${SOURCE_DIR}/src/vynulib/unicode/${name}
  RESULT_VARIABLE diff)
if(NOT diff EQUAL 0)
  execute_process(COMMAND diff -u ${SOURCE_DIR}/src/vynulib/unicode/${name} ${OUT_DIR}/${name})
  message(FATAL_ERROR "src/vynulib/unicode/${name} is stale: run python3 tools/gen_unicode.py")
endif()
message(STATUS "src/vynulib/unicode/${name} matches a fresh generator run")
