# test_locale runs a probe program under chosen environments (the default set
# is fixed when the library loads, so every case needs a process of its own).
add_executable(vyn_locale_probe ${CMAKE_CURRENT_SOURCE_DIR}/helpers/locale_probe.cpp)
target_compile_options(vyn_locale_probe PRIVATE ${VYN_WARNINGS})
target_link_libraries(vyn_locale_probe PRIVATE vynulib64_static Threads::Threads)
if(TARGET test_locale)
  add_dependencies(test_locale vyn_locale_probe)
  target_compile_definitions(test_locale PRIVATE
    VYN_LOCALE_PROBE="$<TARGET_FILE:vyn_locale_probe>")
endif()
