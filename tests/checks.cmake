# The project's own rules, checked on its sources. No build is needed.
find_program(TCLSH NAMES tclsh8.6 tclsh REQUIRED)

# add_check(name): tests/checks/<name>.tcl, which is given the source folder, lists what breaks a rule, and fails.
function(add_check name)
  add_script_test(check.${name} LABELS checks smoke
    COMMAND ${TCLSH} ${CMAKE_CURRENT_SOURCE_DIR}/checks/${name}.tcl ${PROJECT_SOURCE_DIR})
endfunction()

add_check(tests_assert)
add_check(includes)
add_check(letters)
add_check(data_pages)
add_check(family_page)
add_check(texts)

# Layout, by the version that .clang-format is written for.
find_program(CLANG_FORMAT NAMES clang-format-14)
add_script_test(check.layout LABELS checks smoke
  COMMAND ${TCLSH} ${CMAKE_CURRENT_SOURCE_DIR}/checks/layout.tcl ${PROJECT_SOURCE_DIR} ${CLANG_FORMAT})
