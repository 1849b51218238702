# Packaging checks, on the normal (unsanitized) build only.
if(NOT VYN_SANITIZE)
  add_test(NAME package_install_and_consume
    COMMAND ${CMAKE_COMMAND} -DBIN=${PROJECT_BINARY_DIR} -DSRC=${PROJECT_SOURCE_DIR}
            -DCXX=${CMAKE_CXX_COMPILER} -DRUNPATH=${VYN_PROGRAM_RPATH}
            -DVYNCONV=$<TARGET_EXISTS:vynconv>
            -P ${CMAKE_CURRENT_SOURCE_DIR}/package/check_install.cmake)
  set_tests_properties(package_install_and_consume PROPERTIES RUN_SERIAL TRUE)
  add_test(NAME package_headers_standalone
    COMMAND ${CMAKE_COMMAND} -DBIN=${PROJECT_BINARY_DIR} -DCXX=${CMAKE_CXX_COMPILER}
            -P ${CMAKE_CURRENT_SOURCE_DIR}/package/check_headers.cmake)
  add_test(NAME package_exported_symbols
    COMMAND ${CMAKE_COMMAND} -DLIB=$<TARGET_FILE:vynulib64>
            -DDIR=${CMAKE_CURRENT_SOURCE_DIR}/package -DJNI=${VYN_HAVE_JNI}
            -P ${CMAKE_CURRENT_SOURCE_DIR}/package/check_symbols.cmake)
endif()
