# Engines that are loaded when they are first called: a made-up one, one in a folder where nobody looks, and a caller that
# needs of the first what no stub can carry.
foreach(engine made_up_engine made_up_absent)
  add_library(${engine} SHARED support/${engine}.cpp)
  target_link_libraries(${engine} PRIVATE iptasks_flags)
  set_target_properties(${engine} PROPERTIES CXX_VISIBILITY_PRESET hidden)
  iptasks_load_options(${engine})
endforeach()
set_target_properties(made_up_absent PROPERTIES LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/absent)
add_unit_test(import_stubs_test SMOKE EACH OBJECTS LABELS "frame;platform" ENGINES made_up_engine made_up_absent
  LINKS ${CMAKE_DL_LIBS})
add_dependencies(import_stubs_test made_up_engine)

add_library(made_up_keyed OBJECT support/made_up_keyed.cpp)
target_link_libraries(made_up_keyed PRIVATE iptasks_flags)
target_compile_options(made_up_keyed PRIVATE -O0)
add_test(NAME import_stubs.refuse COMMAND ${PROJECT_SOURCE_DIR}/tools/import_stubs.sh $<TARGET_FILE:made_up_engine>
  ${CMAKE_CURRENT_BINARY_DIR}/refused.S $<TARGET_OBJECTS:made_up_keyed>)
set_tests_properties(import_stubs.refuse PROPERTIES LABELS "frame;platform" TIMEOUT 60 PASS_REGULAR_EXPRESSION
  "carries calls of functions, not.*level, which made_up_keyed.*typeinfo for made_up::KeyedFault.*typeinfo for made_up::Keyed,")
tests_of(made_up_keyed frame platform)
