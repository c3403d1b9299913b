# cmake -DPROGRAM=file [-DEMULATOR=command] -DEXPECTED=text -P RunProgram.cmake
# Runs a program, which must end with status 0 and print exactly the expected lines (separated by "/").
execute_process(COMMAND ${EMULATOR} ${PROGRAM} RESULT_VARIABLE status OUTPUT_VARIABLE output)
string(REPLACE "/" "\n" expected "${EXPECTED}/")
if(NOT status EQUAL 0)
  message(FATAL_ERROR "status ${status}, output:\n${output}")
elseif(NOT output STREQUAL expected)
  message(FATAL_ERROR "output:\n${output}\nexpected:\n${expected}")
endif()
