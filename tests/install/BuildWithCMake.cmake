# Builds and runs the program with find_package(QenFileIo).
include(${CMAKE_CURRENT_LIST_DIR}/RunProgram.cmake)
file(REMOVE_RECURSE ${WORK_DIR})
set(TARGET_MACHINE -D CMAKE_CXX_COMPILER=${CXX})
if(TOOLCHAIN)
  set(TARGET_MACHINE -D CMAKE_TOOLCHAIN_FILE=${TOOLCHAIN})
endif()
execute_process(
  COMMAND ${CMAKE_COMMAND} -G ${GENERATOR} -S ${PROGRAM_DIR} -B ${WORK_DIR} ${TARGET_MACHINE}
    -D CMAKE_PREFIX_PATH=${PREFIX} -D CMAKE_CXX_FLAGS=${FLAGS}
  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
execute_process(COMMAND ${CMAKE_COMMAND} --build ${WORK_DIR} OUTPUT_VARIABLE log RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "${log}")
endif()
separate_arguments(EMULATOR)
qen_run_program(${EMULATOR} ${WORK_DIR}/${PROGRAM})
