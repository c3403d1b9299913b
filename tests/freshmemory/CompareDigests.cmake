# cmake -DPROGRAM=file [-DEMULATOR=command] -P CompareDigests.cmake
# Runs a program with fresh memory filled by one byte and then by another; it must see them and print the same otherwise.

# The C library fills with the complement of what it is told, but not what its caches for threads hand out.
function(run_filled_with number expected output)
  execute_process(
    COMMAND ${CMAKE_COMMAND} -E env GLIBC_TUNABLES=glibc.malloc.perturb=${number}:glibc.malloc.tcache_count=0
      ${EMULATOR} ${PROGRAM}
    RESULT_VARIABLE status OUTPUT_VARIABLE printed)
  if(NOT status EQUAL 0)
    message(FATAL_ERROR "status ${status}, output:\n${printed}")
  endif()
  if(NOT printed MATCHES "^fresh memory: ${expected}\n(.*database objects: .*)$")
    message(FATAL_ERROR "fresh memory should be ${expected}, output:\n${printed}")
  endif()
  set(${output} "${CMAKE_MATCH_1}" PARENT_SCOPE)
endfunction()

run_filled_with(165 5a first)
run_filled_with(90 a5 second)
if(NOT first STREQUAL second)
  message(FATAL_ERROR "output depends on memory that nobody wrote:\n${first}\n${second}")
endif()
