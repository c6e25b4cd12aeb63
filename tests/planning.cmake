# Placement of memory interfaces.
add_unit_test(planning_test OPTIMISED SMOKE LABELS planning LINKS "kdi_planning;kdi_device")
