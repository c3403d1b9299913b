# What `cmake --install` lays down: the libraries; their public headers below include/qen, by the paths that they are included by;
# a CMake package (find_package(QenFileIo), targets qen::file_io and qen::store); pkg-config files (qen-file-io, qen-store). The
# store is left out of builds without it. Components: runtime (the shared libraries), development (the rest).

# Headers of the libraries' own sources. They are not installed, so no public header may include them.
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
  libs/signalprocessing/typeconverter/IntegerToFloating.h
  libs/utilities/VectorClones.h
  libs/utilities/archive/SerializeErrors.h
  platform/PlatformError.h
  store/DatabaseUrl.h
  store/PostgresConnection.h
  store/RetentionLedger.h
  store/RetentionPlan.h
  store/SqlConnection.h
  store/SqliteConnection.h
  store/StoreSchema.h
  store/StoreTransaction.h
  store/ThinningCheck.h
  store/TrendPeriods.h
  store/ValueThinning.h)

include(CMakePackageConfigHelpers)
set(QEN_PACKAGE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/QenFileIo)

# The libraries lie side by side, wherever the prefix is moved to.
set_target_properties(qen_file_io PROPERTIES EXPORT_NAME file_io INSTALL_RPATH "$ORIGIN")
set_target_properties(qen_platform PROPERTIES EXPORT_NAME platform)
target_compile_features(qen_platform INTERFACE cxx_std_20)
set(QEN_LIBRARIES qen_file_io qen_platform)
set(QEN_HEADER_FOLDERS platform libs/signalprocessing libs/utilities)
set(QEN_PACKAGES qen-file-io)
if(QEN_STORE)
  set_target_properties(qen_store PROPERTIES EXPORT_NAME store INSTALL_RPATH "$ORIGIN")
  list(APPEND QEN_LIBRARIES qen_store)
  list(APPEND QEN_HEADER_FOLDERS store)
  list(APPEND QEN_PACKAGES qen-store)
endif()
install(TARGETS ${QEN_LIBRARIES} EXPORT QenFileIoTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)

set(WITHOUT_INTERNAL_HEADERS "")
foreach(header ${QEN_INTERNAL_HEADERS})
  string(REGEX REPLACE "^libs/" "" header ${header})
  list(APPEND WITHOUT_INTERNAL_HEADERS REGEX "/${header}$" EXCLUDE)
endforeach()
list(TRANSFORM QEN_HEADER_FOLDERS PREPEND ${PROJECT_SOURCE_DIR}/)
install(DIRECTORY ${QEN_HEADER_FOLDERS}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qen COMPONENT development
  FILES_MATCHING PATTERN "*.h" ${WITHOUT_INTERNAL_HEADERS})

install(EXPORT QenFileIoTargets NAMESPACE qen:: DESTINATION ${QEN_PACKAGE_DIR} COMPONENT development)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/QenFileIoConfig.cmake.in QenFileIoConfig.cmake
  INSTALL_DESTINATION ${QEN_PACKAGE_DIR} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(QenFileIoConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/QenFileIoConfig.cmake ${CMAKE_CURRENT_BINARY_DIR}/QenFileIoConfigVersion.cmake
  DESTINATION ${QEN_PACKAGE_DIR} COMPONENT development)

# The pkg-config files find the prefix from their own place, because the prefix may be given at installation.
file(RELATIVE_PATH QEN_PREFIX_FROM_PKGCONFIG "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
foreach(package ${QEN_PACKAGES})
  configure_file(${CMAKE_CURRENT_LIST_DIR}/${package}.pc.in ${package}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${package}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endforeach()
