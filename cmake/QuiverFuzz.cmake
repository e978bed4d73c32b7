# SPDX-License-Identifier: Apache-2.0
# The build of the fuzz targets: a few large files instead of many small ones. Under Clang's sanitizers most of a file's time goes
# into what it shares with others, and nobody edits and rebuilds here. Files whose private names meet those of others stand apart.

function(quiver_join_sources target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 0)
  foreach(apart ${ARGN})
    set_source_files_properties(${PROJECT_SOURCE_DIR}/${apart} TARGET_DIRECTORY ${target} PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON)
  endforeach()
endfunction()

quiver_join_sources(quiver_io runtime/io/quantity_text.cc runtime/io/units.cc)
quiver_join_sources(quiver_properties runtime/properties/peng_robinson.cc runtime/properties/property_table.cc
                    runtime/properties/stability.cc)
quiver_join_sources(quiver_solve runtime/solve/newton.cc runtime/solve/pseudo_transient.cc runtime/solve/trust_region.cc
                    runtime/solve/homotopy.cc)
quiver_join_sources(quiver_evaluation runtime/evaluation/joint_inputs.cc)
foreach(part structure linalg)
  quiver_join_sources(quiver_${part})
endforeach()
quiver_join_sources(quiver_instances runtime/modeller/property_routines.cc)
set_target_properties(quiver_instances PROPERTIES UNITY_BUILD_MODE GROUP)
foreach(folder contract plugin modeller system cases report sweep)
  file(GLOB sources ${PROJECT_SOURCE_DIR}/runtime/${folder}/*.cc)
  set_source_files_properties(${sources} TARGET_DIRECTORY quiver_instances PROPERTIES UNITY_GROUP ${folder})
endforeach()
# The embedded tables: Clang, unlike GCC, calls long texts pedantic wherever they are generated.
set_source_files_properties(${PROJECT_BINARY_DIR}/runtime/properties/embedded_tables.cc TARGET_DIRECTORY quiver_properties
                            PROPERTIES SKIP_UNITY_BUILD_INCLUSION ON COMPILE_OPTIONS -Wno-overlength-strings)
