# Installs the build into an empty prefix and compares the headers there with the public ones of the sources.
file(REMOVE_RECURSE ${PREFIX})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${PREFIX} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)

file(GLOB_RECURSE PLATFORM_HEADERS RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/platform/*.h)
file(GLOB_RECURSE LIBRARY_HEADERS RELATIVE ${SOURCE_DIR} ${SOURCE_DIR}/libs/*.h)
set(expected ${PLATFORM_HEADERS} ${LIBRARY_HEADERS})
separate_arguments(INTERNAL_HEADERS)
list(REMOVE_ITEM expected ${INTERNAL_HEADERS})
list(TRANSFORM expected REPLACE "^libs/" "")
list(SORT expected)

file(GLOB_RECURSE installed LIST_DIRECTORIES false RELATIVE ${PREFIX}/${INCLUDEDIR} ${PREFIX}/${INCLUDEDIR}/*)
list(SORT installed)
if(NOT installed STREQUAL expected)
  message(FATAL_ERROR "installed headers:\n${installed}\nexpected:\n${expected}")
endif()

foreach(file libqen_file_io.so libqen_platform.so pkgconfig/qen-file-io.pc cmake/QenFileIo/QenFileIoConfig.cmake)
  if(NOT EXISTS ${PREFIX}/${LIBDIR}/${file})
    message(FATAL_ERROR "${LIBDIR}/${file} is not installed")
  endif()
endforeach()
