# I/O planning: the commands against an engine that records, which stands in the program before the platform's, and over
# the real one.
add_unit_test(io_commands_test LABELS io)
target_sources(io_commands_test PRIVATE support/recording_interfaces.cpp)
set_target_properties(io_commands_test PROPERTIES ENABLE_EXPORTS ON)
add_tcl_test(io LABELS io)

# What the library hides of its own.
add_unit_test(place_test LABELS io LINKS "kdi_place_objects;kdi_planning;kdi_device;iptasks_tcl;${ELF_LIBRARY}")
target_sources(place_test PRIVATE unit/place_buses_test.cpp unit/place_memory_test.cpp unit/remove_directory_test.cpp)

# A program image, and what the tools' own converter makes of it.
find_program(BINUTILS_OBJCOPY objcopy REQUIRED)  # clang's own has no such form
set(loadable ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/loadable)
add_custom_command(OUTPUT ${loadable}.elf ${loadable}.vmem
  COMMAND ${CMAKE_C_COMPILER} -Os -ffreestanding -fno-pie -no-pie -static -nostdlib -fno-asynchronous-unwind-tables
    -Wl,-N,-Ttext=0x10000,-Tdata=0x24000,-eloadable_entry,--build-id=none
    -o ${loadable}.elf ${CMAKE_CURRENT_SOURCE_DIR}/support/loadable.c
  COMMAND ${BINUTILS_OBJCOPY} -O verilog ${loadable}.elf ${loadable}.vmem
  DEPENDS support/loadable.c VERBATIM)
target_sources(place_test PRIVATE ${loadable}.elf)
set_source_files_properties(${loadable}.elf PROPERTIES EXTERNAL_OBJECT FALSE HEADER_FILE_ONLY TRUE)
