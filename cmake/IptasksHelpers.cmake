# What every target of this project has in common, in one place. Included behind GNUInstallDirs.

# The libraries have a folder of their own, with the index of the Tcl packages beside them.
set(IPTASKS_INSTALL_LIBDIR ${CMAKE_INSTALL_LIBDIR}/iptasks)
set(IPTASKS_INSTALL_INCLUDEDIR ${CMAKE_INSTALL_INCLUDEDIR}/iptasks)
set(IPTASKS_INSTALL_DATADIR ${CMAKE_INSTALL_DATADIR}/iptasks/data)

add_library(iptasks_flags INTERFACE)
# An include says which storey it means: kdi/ the doors of the platform, tcltasks/ the package, all else from the root.
target_include_directories(iptasks_flags INTERFACE
  ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/platform/include ${PROJECT_SOURCE_DIR}/shared/ip)
target_compile_options(iptasks_flags INTERFACE
  -Wall -Wextra -Wpedantic -Werror
  $<$<COMPILE_LANGUAGE:CXX>:-Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wcast-align>
  # The same figures on every machine: a fused multiply-add would round differently.
  -ffp-contract=off
  # Messages tell the file from the project's root, and what is built holds no name of the place where it was built.
  -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(IPTASKS_SANITIZE STREQUAL "thread")
  # Not what runs while the project is built: there is one thread, and a function that is chosen by the processor is so
  # before the sanitizer is there.
  set(sanitized $<NOT:$<BOOL:$<TARGET_PROPERTY:IPTASKS_BUILD_TOOL>>>)
  target_compile_options(iptasks_flags INTERFACE $<${sanitized}:-fsanitize=thread> -fno-omit-frame-pointer)
  target_link_options(iptasks_flags INTERFACE $<${sanitized}:-fsanitize=thread>)
elseif(IPTASKS_SANITIZE)
  target_compile_options(iptasks_flags INTERFACE
    -fsanitize=${IPTASKS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(IPTASKS_SANITIZE_NOT)
    target_compile_options(iptasks_flags INTERFACE -fno-sanitize=${IPTASKS_SANITIZE_NOT})
  endif()
  target_link_options(iptasks_flags INTERFACE -fsanitize=${IPTASKS_SANITIZE})
endif()
if(IPTASKS_COVERAGE)
  target_compile_options(iptasks_flags INTERFACE --coverage)
  target_link_options(iptasks_flags INTERFACE --coverage)
endif()

# What is optimised under sanitizers. Optimising a file takes as long again as compiling it does otherwise, and most code runs
# so little in tests (the package's commands, companions, most engines, most tests) that it never makes up for that. So the
# presets for sanitizers optimise nothing, but with the address sanitizer these, in which tests spend more than it takes: what
# reads data, the rules of cores, the solvers of clocks and memories, codes and filters. ThreadSanitizer has few tests to
# run, and optimises nothing. docs/testing.md has the figures.
set(IPTASKS_OPTIMISED "")
if(IPTASKS_SANITIZE MATCHES "address")
  set(IPTASKS_OPTIMISED
    kdi_bmg_objects kdi_cdo_objects kdi_common_objects kdi_cores_objects kdi_device_objects kdi_ip_objects kdi_planning_objects dsp fec
    advice_test clock_search_test clock_solver_optimal_test code_config_test core_search_truth_test ducddc_catalogue_test
    hostile_cores_test pad_search_test perf_analyser_test reference_test register_data_test stall_replay_test tiler_test
    weight_expansion_test)
endif()

# precompile(name header KIND kind [LINKS target...] [OPTIONS option...]): compiles the header once, as <name> and, for what is
# optimised under sanitizers, as optimised_<name>. A build of all files anew takes less time with them; a compiler cache
# does not know the files again from one clone to the next, so that it is one or the other (tests/check.sh). Which headers
# a source forgets is noticed by the builds without.
function(precompile name header)
  cmake_parse_arguments(PRE "" "KIND" "LINKS;OPTIONS" ${ARGN})
  set(names "")
  if(IPTASKS_PRECOMPILED)
    set(names ${name})
    if(IPTASKS_OPTIMISED)
      list(APPEND names optimised_${name})
    endif()
  endif()
  foreach(one ${names})
    if(NOT one STREQUAL name)
      list(APPEND PRE_OPTIONS -O1)
    endif()
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/generated/${one}.cpp CONTENT "// nothing but the header\n")
    if(PRE_KIND STREQUAL "program")
      add_executable(${one} ${PROJECT_BINARY_DIR}/generated/${one}.cpp)
    else()
      add_library(${one} OBJECT ${PROJECT_BINARY_DIR}/generated/${one}.cpp)
    endif()
    target_link_libraries(${one} PRIVATE iptasks_flags ${PRE_LINKS})
    target_compile_options(${one} PRIVATE ${PRE_OPTIONS})
    target_precompile_headers(${one} PRIVATE ${PROJECT_SOURCE_DIR}/${header})
  endforeach()
endfunction()

# compiled_with(target name): the sources of a target see that header first, where headers are compiled beforehand, and are
# optimised where the list above says so.
function(compiled_with target name)
  if(target IN_LIST IPTASKS_OPTIMISED)
    target_compile_options(${target} PRIVATE -O1)
    set(name optimised_${name})
  endif()
  if(IPTASKS_PRECOMPILED)
    target_precompile_headers(${target} REUSE_FROM ${name})
  endif()
endfunction()

# product_folder(): what the folder and those below it compile tells the fuzzer which code was reached, where the build is one
# for that. The fixed runs of `make check` do without: all tests would pay for it, when compiled and when run.
macro(product_folder)
  if(IPTASKS_FUZZ_GUIDED)
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
endmacro()

# add_family(name SOURCES file... ENGINES target...): one folder of the package, which adds itself to the package's
# library. ENGINES are the platform libraries that its commands call.
function(add_family name)
  cmake_parse_arguments(FAMILY "" "" "SOURCES;ENGINES" ${ARGN})
  add_library(${name} OBJECT ${FAMILY_SOURCES})
  compiled_with(${name} package_headers)
  set_target_properties(${name} PROPERTIES VISIBILITY_INLINES_HIDDEN ON)
  target_link_libraries(${name} PRIVATE iptasks_flags PUBLIC iptasks_tcl kdi_common kdi_tcl)
  set_property(GLOBAL APPEND PROPERTY IPTASKS_FAMILIES ${name})
  set_property(GLOBAL APPEND PROPERTY IPTASKS_ENGINES ${FAMILY_ENGINES})
endfunction()

# add_platform_library(name SOURCES file... LINKS target...): one library below the package, replaceable on its own. It
# exports what its headers mark as doors (kdi/common/KdiDoor.h), which its doors.txt lists for review and for who calls it
# through stubs; <name>_objects is the same for tests of what is inside.
function(add_platform_library name)
  cmake_parse_arguments(LIB "" "" "SOURCES;LINKS" ${ARGN})
  add_library(${name}_objects OBJECT ${LIB_SOURCES})
  compiled_with(${name}_objects platform_headers)
  target_link_libraries(${name}_objects PRIVATE iptasks_flags ${LIB_LINKS})
  set_target_properties(${name}_objects PROPERTIES CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  add_library(${name} SHARED)
  target_link_libraries(${name} PRIVATE iptasks_flags ${name}_objects ${LIB_LINKS})
  iptasks_load_options(${name})
  install_library(${name} LINKS ${LIB_LINKS})
  if(EXISTS ${CMAKE_CURRENT_SOURCE_DIR}/doors.txt)
    set_target_properties(${name} PROPERTIES IPTASKS_DOORS ${CMAKE_CURRENT_SOURCE_DIR}/doors.txt)
  endif()
endfunction()

# install_library(name [LINKS target...]): a library of the project as others find it. Its name says which interface it has
# (IPTASKS_SOVERSION), it is one of the CMake package (iptasks::bmg for kdi_bmg), and has a file for pkg-config. Who links it
# links those of our libraries that it does itself, since a door may show what is theirs. The top build file calls
# install_interfaces when all libraries are known.
function(install_library name)
  cmake_parse_arguments(LIB "" "" "LINKS" ${ARGN})
  string(REGEX REPLACE "^(kdi|isl)_" "" short ${name})
  set_target_properties(${name} PROPERTIES SOVERSION ${IPTASKS_SOVERSION} EXPORT_NAME ${short})
  target_compile_features(${name} INTERFACE cxx_std_20)
  list(FILTER LIB_LINKS INCLUDE REGEX "^(kdi|isl)_[a-z_]+$")
  list(REMOVE_ITEM LIB_LINKS ${name} kdi_tcl)
  foreach(link ${LIB_LINKS})
    string(REGEX REPLACE "^(kdi|isl)_" "" link_short ${link})
    target_link_libraries(${name} INTERFACE $<INSTALL_INTERFACE:iptasks::${link_short}>)
  endforeach()
  install(TARGETS ${name} EXPORT iptasks LIBRARY DESTINATION ${IPTASKS_INSTALL_LIBDIR}
    INCLUDES DESTINATION ${IPTASKS_INSTALL_INCLUDEDIR})
  list(JOIN LIB_LINKS " " PKG_REQUIRES)
  set(PKG_NAME ${name})
  file(RELATIVE_PATH PKG_TO_PREFIX /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()

# What is loaded by `package require`: the name of a package and the library that has its commands.
function(add_tcl_package name library)
  set_property(GLOBAL APPEND PROPERTY IPTASKS_TCL_PACKAGES "  ${name} lib${library}.so")
endfunction()

# The index of the Tcl packages beside the libraries, in the build tree as well, and the CMake package.
function(install_interfaces)
  get_property(packages GLOBAL PROPERTY IPTASKS_TCL_PACKAGES)
  list(JOIN packages "\n" PACKAGES)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/pkgIndex.tcl.in ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/pkgIndex.tcl @ONLY)
  install(FILES ${CMAKE_LIBRARY_OUTPUT_DIRECTORY}/pkgIndex.tcl DESTINATION ${IPTASKS_INSTALL_LIBDIR})
  # A Tcl shell looks into the folders of lib/tcltk.
  file(RELATIVE_PATH from_packages /lib/tcltk /${IPTASKS_INSTALL_LIBDIR})
  file(CREATE_LINK ${from_packages} ${PROJECT_BINARY_DIR}/generated/tcltk_link SYMBOLIC)
  install(FILES ${PROJECT_BINARY_DIR}/generated/tcltk_link DESTINATION lib/tcltk RENAME iptasks)

  include(CMakePackageConfigHelpers)
  set(folder ${CMAKE_INSTALL_LIBDIR}/cmake/iptasks)
  configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/iptasks-config.cmake.in
    ${PROJECT_BINARY_DIR}/cmake/iptasks-config.cmake INSTALL_DESTINATION ${folder}
    PATH_VARS IPTASKS_INSTALL_LIBDIR IPTASKS_INSTALL_DATADIR)
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/cmake/iptasks-config-version.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/cmake/iptasks-config.cmake ${PROJECT_BINARY_DIR}/cmake/iptasks-config-version.cmake
    DESTINATION ${folder})
  install(EXPORT iptasks NAMESPACE iptasks:: FILE iptasks-targets.cmake DESTINATION ${folder})
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform/include/kdi DESTINATION ${IPTASKS_INSTALL_INCLUDEDIR})
endfunction()

# A script loads the library for one short job, so loading it must cost next to nothing: calls inside a library are
# bound when it is linked, what nobody else calls is no name for the loader, what it does not need is not pulled in, what
# it does is looked for in one folder first, and code and constants are mapped in one piece. NAMES is a list in this
# folder of the names that are its own; own_names.map unless given.
function(iptasks_load_options name)
  cmake_parse_arguments(LOAD "" "NAMES" "" ${ARGN})
  if(NOT LOAD_NAMES)
    set(LOAD_NAMES own_names.map)
  endif()
  set(names ${PROJECT_SOURCE_DIR}/cmake/${LOAD_NAMES})
  set_target_properties(${name} PROPERTIES INSTALL_RPATH "$ORIGIN" VISIBILITY_INLINES_HIDDEN ON LINK_DEPENDS ${names})
  target_link_options(${name} PRIVATE -Wl,--version-script=${names}
    -Wl,-Bsymbolic-functions -Wl,--as-needed -Wl,--hash-style=gnu -Wl,-O1)
  # What no library that is linked defines is a mistake, to be found here and not when a script loads the library.
  if(NOT IPTASKS_SANITIZE)
    target_link_options(${name} PRIVATE -Wl,-z,defs -Wl,-z,noseparate-code)
  endif()
endfunction()

# import_engines(target CALLERS target... ENGINES target...): the callers, which are object libraries in the target, call
# the engines, and the loader meets those only when they do (see tools/import_stubs.sh). Where there are no stubs for the
# processor, they are linked like any library. An engine that has a list of its doors need not be built before; where tests
# and hosts are built, they find it beside the target all the same.
function(import_engines target)
  cmake_parse_arguments(IMPORT "" "" "CALLERS;ENGINES" ${ARGN})
  list(TRANSFORM IMPORT_CALLERS REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
  if(IPTASKS_TESTS OR IPTASKS_HOST)
    add_dependencies(${target} ${IMPORT_ENGINES})
  endif()
  foreach(engine ${IMPORT_ENGINES})
    if(NOT CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|amd64)$")
      target_link_libraries(${target} PRIVATE ${engine})
      continue()
    endif()
    set(stubs ${PROJECT_BINARY_DIR}/generated/${target}_${engine}.S)
    set(exports $<TARGET_FILE:${engine}>)
    set(needed ${engine})
    get_target_property(doors ${engine} IPTASKS_DOORS)
    if(doors)
      set(exports "$<TARGET_SONAME_FILE_NAME:${engine}>=${doors}")
      set(needed ${doors})
    endif()
    add_custom_command(OUTPUT ${stubs}
      COMMAND ${PROJECT_SOURCE_DIR}/tools/import_stubs.sh ${exports} ${stubs} ${objects}
      DEPENDS ${needed} ${objects} ${PROJECT_SOURCE_DIR}/tools/import_stubs.sh
      COMMENT "What ${target} calls of ${engine}" VERBATIM COMMAND_EXPAND_LISTS)
    target_sources(${target} PRIVATE ${stubs})
  endforeach()
endfunction()
