# vynconv and the example programs, run as a user runs them.
option(VYN_LONG_TESTS "Also run the long vynconv stream test (half a gigabyte)" OFF)
if(TARGET vynconv)
  set(VYNCONV $<TARGET_FILE:vynconv>)
  set(VYNCONV_DATA ${PROJECT_SOURCE_DIR}/tests/data/vynconv)
  # One CTest test per group of tests/cli_test.sh.
  foreach(group golden roundtrip chunks longline nul errors strict oracle bom compat usage output
          outputkinds signals path locale agree linear)
    add_test(NAME vynconv_${group}
      COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/cli_test.sh ${VYNCONV} ${VYNCONV_DATA} ${group})
    set_tests_properties(vynconv_${group} PROPERTIES LABELS cli)
  endforeach()
  # Under the sanitizers the growth test keeps its sizes affordable, and the
  # signal test leaves the faults to their handlers.
  if(VYN_SANITIZE)
    set_tests_properties(vynconv_linear vynconv_signals PROPERTIES ENVIRONMENT VYN_CLI_SANITIZED=1)
  endif()
  if(VYN_LONG_TESTS)
    add_test(NAME vynconv_long
      COMMAND bash ${CMAKE_CURRENT_SOURCE_DIR}/cli_test.sh ${VYNCONV} ${VYNCONV_DATA} long)
    set_tests_properties(vynconv_long PROPERTIES LABELS "cli;long" TIMEOUT 1800)
  endif()
  # The committed //TRANSLIT table is what its generator makes of the data.
  find_package(Python3 COMPONENTS Interpreter)
  if(Python3_Interpreter_FOUND)
    set(TRANSLIT_DIR ${PROJECT_SOURCE_DIR}/tools/vynconv)
    add_test(NAME vynconv_translit_regenerate
      COMMAND sh -c "'${Python3_EXECUTABLE}' '${TRANSLIT_DIR}/gen_translit.py' \
        '${PROJECT_SOURCE_DIR}/src/vynulib/unicode/data/UnicodeData-2.0.14.txt' \
        '${TRANSLIT_DIR}/translit-extra.txt' '${CMAKE_CURRENT_BINARY_DIR}/translit_table.inc' && \
        cmp '${CMAKE_CURRENT_BINARY_DIR}/translit_table.inc' '${TRANSLIT_DIR}/translit_table.inc'")
    set_tests_properties(vynconv_translit_regenerate PROPERTIES LABELS cli)
  endif()
  set(SAMPLE ${PROJECT_SOURCE_DIR}/examples/sample-utf8.txt)
  add_test(NAME vynconv_round_trip_through_utf16
    COMMAND sh -c "'${VYNCONV}' -f 65001 -t 1200 '${SAMPLE}' | '${VYNCONV}' -f 1200 -t 65001 | cmp - '${SAMPLE}'")
endif()
if(TARGET vynulib_tour)
  add_test(NAME example_tour COMMAND vynulib_tour)
  set_tests_properties(example_tour PROPERTIES PASS_REGULAR_EXPRESSION "CAFÉ 4 fields, VYNCS_EUC_JP")
endif()
