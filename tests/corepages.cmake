# What people read of cores: the report, the reference, explanations, rules in words.
add_unit_test(report_test OPTIMISED LABELS "cores;golden" LINKS "kdi_corepages;kdi_cores;kdi_common")
add_unit_test(explanation_text_test LABELS "cores;golden" LINKS "kdi_corepages;kdi_cores;kdi_common")
add_unit_test(reference_test OPTIMISED LABELS "cores;golden" LINKS "kdi_corepages;kdi_cores;kdi_common")
add_unit_test(rule_words_test LABELS cores LINKS kdi_cores)

# The report in a browser, where there is one: not a part of `make check`, which has none.
if(NOT IPTASKS_SANITIZE)
  tests_of(test_tclsh browser)
  tests_of(kdi_coretools browser)
  add_test(NAME browser.report COMMAND $<TARGET_FILE:test_tclsh> ${CMAKE_CURRENT_SOURCE_DIR}/browser/report.tcl)
  describe_test(browser.report LABELS browser)
  set_tests_properties(browser.report PROPERTIES SKIP_RETURN_CODE 77
    ENVIRONMENT "IPTASKS_LIB_DIR=${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
endif()
