# Builds and runs the program with what pkg-config says about its package, and compiles a source that includes every header.
include(${CMAKE_CURRENT_LIST_DIR}/RunProgram.cmake)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
execute_process(COMMAND ${PKG_CONFIG} --cflags --libs ${PACKAGE}
  OUTPUT_VARIABLE package OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
separate_arguments(package UNIX_COMMAND "${package}")

execute_process(
  COMMAND ${CXX} -std=c++20 ${FLAGS} ${PROGRAM_DIR}/main.cpp -o ${WORK_DIR}/${PROGRAM} ${package}
  COMMAND_ERROR_IS_FATAL ANY)
qen_run_program(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${PREFIX}/${LIBDIR} ${WORK_DIR}/${PROGRAM})

file(GLOB_RECURSE headers RELATIVE ${PREFIX}/${INCLUDEDIR} ${PREFIX}/${INCLUDEDIR}/*.h)
list(TRANSFORM headers REPLACE "(.+)" "#include \"\\1\"\n")
list(JOIN headers "" includes)
file(WRITE ${WORK_DIR}/every_header.cpp "${includes}")
execute_process(COMMAND ${CXX} -std=c++20 -fsyntax-only ${WORK_DIR}/every_header.cpp ${package} COMMAND_ERROR_IS_FATAL ANY)
