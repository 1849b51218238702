# vynconv and the example programs, run as a user runs them.
if(TARGET vynconv)
  set(VYNCONV $<TARGET_FILE:vynconv>)
  set(SAMPLE ${PROJECT_SOURCE_DIR}/examples/sample-utf8.txt)
  add_test(NAME vynconv_utf8_to_utf16_matches_iconv
    COMMAND sh -c "'${VYNCONV}' -f VYNCS_UTF8 -t VYNCS_UTF16 '${SAMPLE}' | cmp - \"$(iconv -f UTF-8 -t UTF-16LE '${SAMPLE}' > utf16.ref && echo utf16.ref)\"")
  add_test(NAME vynconv_round_trip_through_utf16
    COMMAND sh -c "'${VYNCONV}' -f 65001 -t 1200 '${SAMPLE}' | '${VYNCONV}' -f 1200 -t 65001 | cmp - '${SAMPLE}'")
  add_test(NAME vynconv_unknown_set_is_usage_error
    COMMAND sh -c "'${VYNCONV}' -f NOPE -t VYNCS_UTF8 </dev/null 2>err.txt; rc=$?; grep -q NOPE err.txt && test $rc -eq 2")
  add_test(NAME vynconv_lists_54_names
    COMMAND sh -c "test $('${VYNCONV}' -l | grep -c '^VYNCS_') -eq 54")
endif()
if(TARGET vynulib_tour)
  add_test(NAME example_tour COMMAND vynulib_tour)
  set_tests_properties(example_tour PROPERTIES PASS_REGULAR_EXPRESSION "CAFÉ 4 fields, VYNCS_EUC_JP")
endif()
