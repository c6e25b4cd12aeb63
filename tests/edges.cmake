# What every command keeps to, whatever its family: under locales of other countries, and with names of files.
add_unit_test(locale_test LABELS frame LINKS command_table)
add_dependencies(locale_test kdi_fectools kdi_bmgtools kdi_clocktools)
add_tcl_test(files LABELS "platform;dsp")
