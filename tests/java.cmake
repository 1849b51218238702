# The Java bridge, driven from Java once per locale. Needs the bridge in the
# library and a JDK; skipped under sanitizers (the runtime would have to be
# preloaded into the JVM).
if(VYN_HAVE_JNI AND NOT VYN_SANITIZE)
  find_package(Java COMPONENTS Development Runtime)
endif()
if(VYN_HAVE_JNI AND NOT VYN_SANITIZE AND Java_JAVAC_EXECUTABLE AND Java_JAVA_EXECUTABLE)
  set(VYN_JAVA_SOURCES
    ${PROJECT_SOURCE_DIR}/java/vynxfer/VynXfer.java
    ${PROJECT_SOURCE_DIR}/java/vynxfer/FileDecompressor.java
    ${PROJECT_SOURCE_DIR}/java/test/BridgeTest.java)
  set(VYN_JAVA_CLASSES ${CMAKE_CURRENT_BINARY_DIR}/java-classes)
  add_custom_command(
    OUTPUT ${VYN_JAVA_CLASSES}/BridgeTest.class
    COMMAND ${Java_JAVAC_EXECUTABLE} -encoding UTF-8 -d ${VYN_JAVA_CLASSES} ${VYN_JAVA_SOURCES}
    DEPENDS ${VYN_JAVA_SOURCES}
    COMMENT "Compiling the Java bridge classes")
  add_custom_target(vyn_java_bridge_test ALL DEPENDS ${VYN_JAVA_CLASSES}/BridgeTest.class vynulib64)

  # name, mode, environment settings (LANG and LC_* are always cleared first)
  set(VYN_JAVA_CASES
    "lang_unset|latin1|"
    "en_US_UTF8|utf8|LANG=en_US.UTF-8"
    "ja_JP_eucJP|eucjp|LANG=ja_JP.eucJP")
  foreach(c ${VYN_JAVA_CASES})
    string(REPLACE "|" ";" parts "${c}")
    list(GET parts 0 name)
    list(GET parts 1 mode)
    list(LENGTH parts n)
    set(envset "")
    if(n GREATER 2)
      list(GET parts 2 envset)
    endif()
    add_test(NAME java_bridge_${name}
      COMMAND ${CMAKE_COMMAND} -E env --unset=LANG --unset=LC_ALL --unset=LC_CTYPE ${envset}
        ${Java_JAVA_EXECUTABLE} -Xcheck:jni -Djava.library.path=$<TARGET_FILE_DIR:vynulib64>
        -cp ${VYN_JAVA_CLASSES} BridgeTest ${mode})
  endforeach()
endif()
