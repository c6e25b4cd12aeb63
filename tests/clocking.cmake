# The clock synthesis engine is tested through its own headers.
function(add_clock_test name)
  add_unit_test(${name} ${ARGN} LABELS clocking LINKS kdi_ip_objects)
endfunction()

add_clock_test(clock_solver_bounds_test)
add_clock_test(clock_solver_cover_test)
add_clock_test(clock_solver_diagnosis_test SMOKE OPTIMISED)
add_clock_test(clock_solver_models_test SMOKE)
add_clock_test(clock_solver_optimal_test SMOKE OPTIMISED)
add_clock_test(clock_solver_options_test)
target_sources(clock_solver_options_test PRIVATE unit/clock_solver_order_test.cpp)
add_clock_test(clock_solver_queries_test)

add_tcl_test(clkwiz LABELS clocking)
add_tcl_test(clocking LABELS clocking)
add_tcl_test(clocktools LABELS "clocking;host")
add_unit_test(clock_options_test SMOKE LABELS clocking LINKS kdi_ip)
add_unit_test(clock_engine_test SMOKE LABELS clocking LINKS "kdi_ip;kdi_device")

# The commands, against engines that record, which stand in this program before those of the platform.
add_unit_test(clock_commands_test LABELS clocking LINKS "kdi_ip;${CMAKE_DL_LIBS}")
target_sources(clock_commands_test PRIVATE support/recording_clocks.cpp)
set_target_properties(clock_commands_test PROPERTIES ENABLE_EXPORTS ON)
# The recording functions hand over to the engine's own, which must be there although nothing refers to it.
target_link_options(clock_commands_test PRIVATE -Wl,--no-as-needed)
