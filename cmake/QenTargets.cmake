# Flags that every target of the project is built with, and the function that makes a library of objects.

add_library(qen_flags INTERFACE)
target_compile_features(qen_flags INTERFACE cxx_std_20)
target_compile_definitions(qen_flags INTERFACE _FILE_OFFSET_BITS=64)
target_compile_options(qen_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
  -Wcast-qual -Wformat=2 -Wundef
  $<$<CXX_COMPILER_ID:GNU>:-Wno-psabi>)
# Before version 13 GCC sees overlaps and overruns at -O3 in what it inlines of `"text" + std::to_string(n)`.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(qen_flags INTERFACE
    $<$<CONFIG:Release>:-Wno-restrict;-Wno-stringop-overflow;-Wno-stringop-overread;-Wno-array-bounds>)
endif()
if(QEN_SANITIZE)
  target_compile_options(qen_flags INTERFACE -fsanitize=${QEN_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g)
  target_link_options(qen_flags INTERFACE -fsanitize=${QEN_SANITIZE})
  # This check of clang's compares types by address, and each library has types of its own.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang" AND QEN_SANITIZE MATCHES "undefined")
    target_compile_options(qen_flags INTERFACE -fno-sanitize=function)
  endif()
endif()
# For programs that are worth more when built fast than when running fast, unless an emulator runs them. On 32-bit x86 what
# functions return passes the 387, which makes signalling NaNs quiet: there it is inlining that keeps samples as they are.
if(CMAKE_CROSSCOMPILING)
  set(QEN_QUICK_BUILD -O1 -g0)
else()
  set(QEN_QUICK_BUILD -O0 -g1)
endif()
# Undefined behaviour ends them by a signal, without megabytes of messages to compile and to relocate at each start.
if(QEN_SANITIZE MATCHES "undefined")
  list(APPEND QEN_QUICK_BUILD -fsanitize-undefined-trap-on-error)
endif()
if(QEN_FUZZ)
  target_compile_options(qen_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()
# Only the libraries count: tools and tests would share their counters' files with every process that they start.
if(QEN_COVERAGE)
  target_link_options(qen_flags INTERFACE --coverage)
endif()
# The loader runs the resolvers of vector clones before the thread sanitizer's runtime is up, and counters of clones mislead.
if(QEN_SANITIZE MATCHES "thread" OR QEN_COVERAGE)
  target_compile_definitions(qen_flags INTERFACE QEN_NO_VECTOR_CLONES)
endif()

# qen_add_library(NAME OUTPUT): the sources of NAME_objects as lib<OUTPUT>.so and, for tests of internal units, as the
# static NAME_static. The version script NAME.map lies beside the caller's CMakeLists.txt.
function(qen_add_library name output)
  set_target_properties(${name}_objects PROPERTIES
    POSITION_INDEPENDENT_CODE ON CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  if(QEN_COVERAGE)
    target_compile_options(${name}_objects PRIVATE --coverage -fprofile-update=atomic -g)
  endif()
  add_library(${name} SHARED $<TARGET_OBJECTS:${name}_objects>)
  add_library(${name}_static STATIC $<TARGET_OBJECTS:${name}_objects>)
  set_target_properties(${name} PROPERTIES
    OUTPUT_NAME ${output} LINKER_LANGUAGE CXX
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/${name}.map)
  set_target_properties(${name}_static PROPERTIES LINKER_LANGUAGE CXX)
  target_link_options(${name} PRIVATE
    LINKER:--version-script=${CMAKE_CURRENT_SOURCE_DIR}/${name}.map LINKER:--no-undefined-version)
  if(NOT QEN_SANITIZE)
    target_link_options(${name} PRIVATE LINKER:--no-undefined)
  endif()
  target_link_libraries(${name} PRIVATE qen_flags)
  target_link_libraries(${name}_static PRIVATE qen_flags)
endfunction()
