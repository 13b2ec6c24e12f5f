# Settings shared by all targets, and the two functions that define them.

set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

find_program(ZEF_CCACHE ccache)
if(ZEF_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER "${ZEF_CCACHE}")
endif()

# Saves reading the same headers again and again; a change then compiles its whole target anew.
set(ZEF_UNITY "none" CACHE STRING "Which targets compile their sources as one: none, tests (and the tool) or all")
set_property(CACHE ZEF_UNITY PROPERTY STRINGS none tests all)
set(CMAKE_UNITY_BUILD_BATCH_SIZE 0)
if(ZEF_UNITY STREQUAL "all")
  set(CMAKE_UNITY_BUILD ON)
endif()

add_library(zef_options INTERFACE)
target_compile_features(zef_options INTERFACE cxx_std_20)
# Contracted multiply-adds would make results depend on the target processor.
target_compile_options(zef_options INTERFACE
  -ffp-contract=off -Wall -Wextra -Wpedantic -Wconversion
  # Sources that are compiled as one see each other's names.
  $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow>
  $<$<BOOL:${ZEF_WERROR}>:-Werror>)
if(ZEF_SANITIZE)
  target_compile_options(zef_options INTERFACE
    -fsanitize=${ZEF_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(zef_options INTERFACE -fsanitize=${ZEF_SANITIZE})
endif()

# Reads the table of folders: ZEF_LAYERS from the bottom up, and for each of them
# ZEF_USES_<folder>, what it may use. Fails if nothing could be read.
function(zef_read_layers table)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${table}")
  file(STRINGS "${table}" rows REGEX "^[|] [0-9] [|] `")
  set(layers)
  foreach(row IN LISTS rows)
    string(REGEX MATCH "^[|] ([0-9]) [|] `([a-z]+)` [|][^|]*[|](.*)[|]$" ignored "${row}")
    set(height ${CMAKE_MATCH_1})
    set(folder ${CMAKE_MATCH_2})
    string(REGEX MATCHALL "[a-z]+" uses "${CMAKE_MATCH_3}")
    if(uses STREQUAL "all")
      set(uses ${layers})
    else()
      foreach(lower IN LISTS layers)
        if(height_of_${lower} LESS 4 AND height_of_${lower} LESS height)
          list(APPEND uses ${lower})
        endif()
      endforeach()
    endif()
    set(height_of_${folder} ${height})
    set(ZEF_USES_${folder} ${uses} PARENT_SCOPE)
    list(APPEND layers ${folder})
  endforeach()
  if(NOT layers)
    message(FATAL_ERROR "no folders in ${table}")
  endif()
  set(ZEF_LAYERS ${layers} PARENT_SCOPE)
endfunction()

# One folder of the library: a static target zef_<name> on the folders that the table
# lets it use, so that a use of any other folder fails to link.
#   zef_add_folder(grid SOURCES Calc.cpp [LIBRARIES ...])
function(zef_add_folder name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(zef_${name} STATIC ${ARG_SOURCES})
  set_target_properties(zef_${name} PROPERTIES LINKER_LANGUAGE CXX)
  target_include_directories(zef_${name} PUBLIC
    "${PROJECT_SOURCE_DIR}/include" "${PROJECT_SOURCE_DIR}/dev/src_lib")
  list(TRANSFORM ZEF_USES_${name} PREPEND zef_ OUTPUT_VARIABLE uses)
  target_link_libraries(zef_${name} PUBLIC zef_options ${uses} ${ARG_LIBRARIES})
  set_property(GLOBAL APPEND PROPERTY ZEF_FOLDERS zef_${name})
  set_property(GLOBAL APPEND PROPERTY ZEF_LIBRARIES ${ARG_LIBRARIES})
endfunction()

# One test program per folder of tests/: test_<name>. Each case of it is a test of ctest,
# <name>.<suite>.<case>, found when ctest starts.
#   zef_add_test(grid SOURCES Calc_test.cpp USES grid [LABELS parallel])
# The label "parallel" also runs it under the thread sanitizer.
function(zef_add_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;LIBRARIES;LABELS" ${ARGN})
  add_executable(test_${name} ${ARG_SOURCES})
  target_include_directories(test_${name} PRIVATE "${PROJECT_SOURCE_DIR}/tests")
  if(NOT ZEF_UNITY STREQUAL "none")
    set_target_properties(test_${name} PROPERTIES UNITY_BUILD ON)
    # g++ takes the classes of tests for those of a header then.
    target_compile_options(test_${name} PRIVATE $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
  endif()
  # Half of the time that -O3 takes; the library below is optimised as shipped.
  target_compile_options(test_${name} PRIVATE $<$<CONFIG:Release>:-O1> $<$<CONFIG:Coverage>:-O0>)
  list(TRANSFORM ARG_USES PREPEND zef_)
  target_link_libraries(test_${name} PRIVATE ${ARG_USES} ${ARG_LIBRARIES} GTest::gtest GTest::gtest_main)
  set(properties TIMEOUT 900)
  if(ARG_LABELS)
    list(APPEND properties LABELS "${ARG_LABELS}")
  endif()
  # Not after the build: sanitizers may need ctest's surroundings to start at all.
  gtest_discover_tests(test_${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
    PROPERTIES ${properties})
  if("parallel" IN_LIST ARG_LABELS)
    add_dependencies(parallel_tests test_${name})
  endif()
endfunction()

# One benchmark program: bench_<name>.
#   zef_add_bench(sortMT SOURCES sortMT_bench.cpp USES parallel [LIBRARIES ...])
function(zef_add_bench name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES;LIBRARIES" ${ARGN})
  add_executable(bench_${name} ${ARG_SOURCES})
  target_include_directories(bench_${name} PRIVATE "${PROJECT_SOURCE_DIR}/bench" "${PROJECT_SOURCE_DIR}/tests")
  list(TRANSFORM ARG_USES PREPEND zef_)
  target_link_libraries(bench_${name} PRIVATE ${ARG_USES} ${ARG_LIBRARIES} benchmark::benchmark benchmark::benchmark_main)
endfunction()
