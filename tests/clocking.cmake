# The clock synthesis engine is tested through its own headers.
function(add_clock_test name)
  add_unit_test(${name} LABELS clocking LINKS kdi_ip)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/platform)
endfunction()

add_clock_test(clock_solver_cover_test)
add_clock_test(clock_solver_diagnosis_test)
add_clock_test(clock_solver_models_test)
add_clock_test(clock_solver_optimal_test)
add_clock_test(clock_solver_options_test)
add_clock_test(clock_solver_queries_test)
