# Installs the build into a scratch prefix and compiles every installed header
# on its own, included twice, with nothing but the prefix on the include path
# and warnings as errors: a header must bring what it uses and keep its guard.
# Arguments: -DBIN=<build dir> -DCXX=<compiler>
set(work ${BIN}/header-test)
set(prefix ${work}/prefix)
file(REMOVE_RECURSE ${work})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BIN} --prefix ${prefix}
  RESULT_VARIABLE rc OUTPUT_QUIET)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "install into ${prefix} failed")
endif()

file(GLOB_RECURSE headers RELATIVE ${prefix}/include ${prefix}/include/*.h)
if(NOT headers)
  message(FATAL_ERROR "no headers installed under ${prefix}/include")
endif()
set(bad "")
foreach(h ${headers})
  string(MAKE_C_IDENTIFIER ${h} id)
  set(tu ${work}/${id}.cpp)
  file(WRITE ${tu} "#include <${h}>\n#include <${h}>\n")
  execute_process(
    COMMAND ${CXX} -std=c++17 -fsyntax-only -Wall -Wextra -Werror -I${prefix}/include ${tu}
    RESULT_VARIABLE rc ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    message("--- ${h} does not compile on its own:\n${err}")
    list(APPEND bad ${h})
  endif()
endforeach()
list(LENGTH headers n)
if(bad)
  message(FATAL_ERROR "installed headers that do not compile alone: ${bad}")
endif()
message(STATUS "${n} installed headers compile on their own")
