# The companion for Java, without one.
add_unit_test(java_tools_test LABELS psmodels LINKS "kdi_javatools;kdi_ip;iptasks_jni")

# The package in a real Java: JUnit over the jar, with the machine's own checks of native code. In the plain builds alone,
# since Java brings no sanitizer; what stands between Java and C++ is tested under them by unit.java_entries_test and
# unit.java_tools_test.
find_file(JUNIT_JAR junit4.jar PATHS /usr/share/java)
find_file(HAMCREST_JAR hamcrest.jar PATHS /usr/share/java)
find_package(Java 17 COMPONENTS Runtime)
if(TARGET iptasks_jar AND JUNIT_JAR AND HAMCREST_JAR AND Java_Runtime_FOUND)
  add_library(java_faults SHARED java/faults.cpp)
  target_link_libraries(java_faults PRIVATE iptasks_flags iptasks_jni kdi_ippcw kdi_ip kdi_common ${CMAKE_DL_LIBS})
  set_target_properties(java_faults PROPERTIES INSTALL_RPATH "$ORIGIN")
  target_link_options(java_faults PRIVATE -Wl,--no-as-needed)  # whose functions it stands before is behind it

  set(classes NamesTest ModelsTest CustomisationTest ThreadsTest GrowthTest)
  list(TRANSFORM classes PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/java/ OUTPUT_VARIABLE sources)
  list(TRANSFORM sources APPEND .java)
  set(tests_jar ${CMAKE_CURRENT_BINARY_DIR}/java_tests.jar)
  add_jar_of(java_tests OUTPUT ${tests_jar} CLASSPATH ${IPTASKS_JAR} ${JUNIT_JAR} ${HAMCREST_JAR}
    SOURCES ${sources} ${CMAKE_CURRENT_SOURCE_DIR}/java/Faults.java DEPENDS ${IPTASKS_JAR} iptasks_jar)
  foreach(target java_tests java_faults kdi_javatools)
    tests_of(${target} java smoke)
  endforeach()

  # add_java_test(name class...): a process of its own. Its heap is there from the begin, so that growth is not Java's.
  function(add_java_test name)
    list(TRANSFORM ARGN PREPEND iptasks.)
    add_script_test(${name} LABELS psmodels java smoke COMMAND ${CMAKE_COMMAND} -E env LD_PRELOAD=$<TARGET_FILE:java_faults>
      ${Java_JAVA_EXECUTABLE} -Xcheck:jni -Xms128m -Xmx128m -XX:+AlwaysPreTouch -XX:+UseSerialGC -XX:+ErrorFileToStderr
      -Diptasks.lib.dir=${CMAKE_LIBRARY_OUTPUT_DIRECTORY} -Diptasks.faults=$<TARGET_FILE:java_faults>
      -Diptasks.names=${PROJECT_SOURCE_DIR}/data/psmodels/names.csv
      -cp ${IPTASKS_JAR}:${tests_jar}:${JUNIT_JAR}:${HAMCREST_JAR} org.junit.runner.JUnitCore ${ARGN})
    set_tests_properties(${name} PROPERTIES
      FAIL_REGULAR_EXPRESSION "WARNING in native method;FATAL ERROR in native method;WARNING: JNI;OK .0 tests")
  endfunction()
  add_java_test(java NamesTest ModelsTest CustomisationTest ThreadsTest)
  add_java_test(java.growth GrowthTest)
  # What the engine remarks goes to standard error.
  add_script_test(java.example LABELS psmodels java smoke COMMAND sh -c "exec \"$@\" 2>/dev/null" sh
    ${Java_JAVA_EXECUTABLE} -Diptasks.lib.dir=${CMAKE_LIBRARY_OUTPUT_DIRECTORY} -cp ${IPTASKS_JAR}
    ${PROJECT_SOURCE_DIR}/examples/java/EnablePeripheral.java brvn1102-a625-2LHP-e-S)
  set_tests_properties(java.example PROPERTIES PASS_REGULAR_EXPRESSION
    "both use PMC_MIO 0 .. 1\n3 parameter.s. moved\n0 error.s. are left")
elseif(NOT IPTASKS_SANITIZE)
  message(STATUS "The package is not tested in Java: openjdk-17-jdk-headless and junit4 are needed for that")
endif()
