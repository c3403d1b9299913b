# Cross build with Debian's compilers; what differs between targets is set before this is included. script/cross unpacks the
# libraries.
set(CMAKE_SYSTEM_NAME Linux)
if(NOT QEN_LIBRARY_TRIPLET)
  set(QEN_LIBRARY_TRIPLET ${QEN_TRIPLET})
endif()
set(QEN_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/${QEN_ARCHITECTURE}-sysroot")
cmake_path(ABSOLUTE_PATH QEN_SYSROOT NORMALIZE)

set(CMAKE_C_COMPILER ${QEN_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${QEN_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${QEN_LIBRARY_TRIPLET})
set(CMAKE_FIND_ROOT_PATH "${QEN_SYSROOT}/usr" "${QEN_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
# Headers without machine code (CLI11, nlohmann-json) come from the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(QEN_LIBRARIES "${QEN_SYSROOT}/usr/lib/${QEN_LIBRARY_TRIPLET}" "${QEN_SYSROOT}/lib/${QEN_LIBRARY_TRIPLET}")
list(TRANSFORM QEN_LIBRARIES PREPEND "-Wl,-rpath-link," OUTPUT_VARIABLE QEN_LINK_PATHS)
list(JOIN QEN_LINK_PATHS " " CMAKE_EXE_LINKER_FLAGS_INIT)
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${QEN_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${QEN_SYSROOT}/usr/lib/${QEN_LIBRARY_TRIPLET}/pkgconfig:${QEN_SYSROOT}/usr/share/pkgconfig")

if(QEN_EMULATOR)
  list(JOIN QEN_LIBRARIES ":" QEN_LIBRARY_PATH)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${QEN_EMULATOR} -L /usr/${QEN_TRIPLET} -E LD_LIBRARY_PATH=${QEN_LIBRARY_PATH})
else()
  # Programs name their loader and the folders of their libraries, those of the libraries' libraries, too.
  list(TRANSFORM QEN_LIBRARIES PREPEND "-Wl,-rpath," OUTPUT_VARIABLE QEN_RUN_PATHS)
  list(JOIN QEN_RUN_PATHS " " QEN_RUN_PATHS)
  string(APPEND CMAKE_EXE_LINKER_FLAGS_INIT " -Wl,--disable-new-dtags ${QEN_RUN_PATHS} -Wl,-rpath,/usr/${QEN_TRIPLET}/lib"
    " -Wl,--dynamic-linker=/usr/${QEN_TRIPLET}/lib/ld-linux.so.2")
endif()
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")
