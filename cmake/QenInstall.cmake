# What `cmake --install` lays down: the two libraries; their public headers below include/qen, by the paths that they are
# included by; a CMake package (find_package(QenFileIo), target qen::file_io); a pkg-config file (qen-file-io).
# Components: runtime (the shared libraries), development (the rest).

# Headers of the library's own sources. They are not installed, so no public header may include them.
set(QEN_INTERNAL_HEADERS
  libs/signalprocessing/io/file/BlockScale.h
  libs/signalprocessing/io/file/CentringOffset.h
  libs/signalprocessing/io/file/Checksum.h
  libs/signalprocessing/io/file/Deflate.h
  libs/signalprocessing/io/file/DetailsWriter.h
  libs/signalprocessing/io/file/MemorySize.h
  libs/signalprocessing/io/file/PaddedBytes.h
  libs/signalprocessing/io/file/RecordNames.h
  libs/signalprocessing/io/file/SampleKernels.h
  libs/signalprocessing/io/file/SampleTypes.h
  libs/signalprocessing/io/file/TimeSignalErrors.h
  libs/signalprocessing/io/file/TrendAgeClasses.h
  libs/signalprocessing/io/file/TrendEntries.h
  libs/signalprocessing/io/file/UuidBytes.h
  libs/utilities/VectorClones.h
  libs/utilities/archive/SerializeErrors.h
  platform/PlatformError.h)

include(CMakePackageConfigHelpers)
set(QEN_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QenFileIo)

# The libraries lie side by side, wherever the prefix is moved to.
set_target_properties(qen_file_io PROPERTIES EXPORT_NAME file_io INSTALL_RPATH "$ORIGIN")
set_target_properties(qen_platform PROPERTIES EXPORT_NAME platform)
target_compile_features(qen_platform INTERFACE cxx_std_20)
install(TARGETS qen_file_io qen_platform EXPORT QenFileIoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)

set(WITHOUT_INTERNAL_HEADERS "")
foreach(header ${QEN_INTERNAL_HEADERS})
  string(REGEX REPLACE "^libs/" "" header ${header})
  list(APPEND WITHOUT_INTERNAL_HEADERS REGEX "/${header}$" EXCLUDE)
endforeach()
install(DIRECTORY ${PROJECT_SOURCE_DIR}/platform ${PROJECT_SOURCE_DIR}/libs/signalprocessing ${PROJECT_SOURCE_DIR}/libs/utilities
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qen COMPONENT development
  FILES_MATCHING PATTERN "*.h" ${WITHOUT_INTERNAL_HEADERS})

install(EXPORT QenFileIoTargets NAMESPACE qen:: DESTINATION ${QEN_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QenFileIoConfig.cmake.in QenFileIoConfig.cmake
  INSTALL_DESTINATION ${QEN_PACKAGE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(QenFileIoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/QenFileIoConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/QenFileIoConfigVersion.cmake
  DESTINATION ${QEN_PACKAGE_DIR} COMPONENT development)

# The pkg-config file finds the prefix from its own place, because the prefix may be given at installation.
file(RELATIVE_PATH QEN_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(${CMAKE_CURRENT_LIST_DIR}/qen-file-io.pc.in qen-file-io.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/qen-file-io.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
