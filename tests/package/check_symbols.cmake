# Compares the dynamic symbols that libvynulib64.so exports with the committed
# lists, so nothing enters or leaves the ABI unnoticed. symbols.txt holds what
# every build exports; symbols-jni.txt the Java entry points, exported exactly
# when the library is configured with VYN_BUILD_JAVA=ON (the default).
# Arguments: -DLIB=<libvynulib64.so> -DDIR=<directory of the lists> -DJNI=ON|OFF
#            -DUPDATE=ON to rewrite the lists from this build.
execute_process(COMMAND nm -D --defined-only --format=posix ${LIB}
  OUTPUT_VARIABLE out RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
endif()
string(REPLACE "\n" ";" lines "${out}")
set(core)
set(jni)
foreach(l ${lines})
  string(REGEX MATCH "^[^ ]+" s "${l}")
  if(s MATCHES "^Java_")
    list(APPEND jni ${s})
  elseif(s)
    list(APPEND core ${s})
  endif()
endforeach()

function(check name got)
  list(SORT got)
  list(REMOVE_DUPLICATES got)
  string(REPLACE ";" "\n" got "${got}")
  if(got)
    set(got "${got}\n")
  endif()
  set(list ${DIR}/${name})
  if(UPDATE)
    file(WRITE ${list} "${got}")
    message(STATUS "wrote ${list}")
    return()
  endif()
  file(READ ${list} want)
  if(NOT got STREQUAL want)
    file(WRITE ${CMAKE_CURRENT_BINARY_DIR}/${name}.actual "${got}")
    execute_process(COMMAND diff -u ${list} ${CMAKE_CURRENT_BINARY_DIR}/${name}.actual)
    message(FATAL_ERROR "exported symbols differ from ${list} "
      "(actual list in ${CMAKE_CURRENT_BINARY_DIR}/${name}.actual)")
  endif()
endfunction()

check(symbols.txt "${core}")
if(JNI)
  check(symbols-jni.txt "${jni}")
elseif(jni)
  message(FATAL_ERROR "built without the Java bridge, yet exports ${jni}")
endif()
message(STATUS "exported symbols match the committed lists (Java bridge ${JNI})")
