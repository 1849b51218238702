# test_icu_oracle compares every table converter with ICU's converters. With
# ICU's common library present it links it and runs; without, it builds to a
# single skipped test.
find_package(ICU COMPONENTS uc QUIET)
if(TARGET test_icu_oracle)
  if(ICU_FOUND)
    target_link_libraries(test_icu_oracle PRIVATE ICU::uc)
    target_compile_definitions(test_icu_oracle PRIVATE VYN_HAVE_ICU=1)
  endif()
  message(STATUS "vynulib64: ICU oracle test ${ICU_FOUND}")
endif()
