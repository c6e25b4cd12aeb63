add_unit_test(block_memory_test SMOKE LABELS "bmg;platform" LINKS kdi_bmg)
add_unit_test(bmg_commands_test SMOKE LABELS bmg LINKS ${CMAKE_DL_LIBS})
# Its functions stand before those of the engine's library.
set_target_properties(bmg_commands_test PROPERTIES ENABLE_EXPORTS ON)
add_unit_test(tiler_test OPTIMISED LABELS "bmg;platform" LINKS kdi_bmg_objects)
add_tcl_test(bmg LABELS bmg)
