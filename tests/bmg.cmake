add_unit_test(tiler_test LABELS "bmg;platform" LINKS kdi_bmg)
target_include_directories(tiler_test PRIVATE ${PROJECT_SOURCE_DIR}/platform)
