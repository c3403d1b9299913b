# qen_run_program(COMMAND...): runs the program in the work folder; it must print the lines of OUTPUT, which bars part, and leave the
# file PRODUCT.
function(qen_run_program)
  execute_process(COMMAND ${ARGN} WORKING_DIRECTORY ${WORK_DIR} RESULT_VARIABLE status OUTPUT_VARIABLE output)
  string(REPLACE "|" "\n" expected "${OUTPUT}|")
  if(NOT status EQUAL 0 OR NOT output STREQUAL expected)
    message(FATAL_ERROR "status ${status}, output:\n${output}")
  endif()
  if(NOT EXISTS ${WORK_DIR}/${PRODUCT})
    message(FATAL_ERROR "the program left no ${PRODUCT}")
  endif()
endfunction()
