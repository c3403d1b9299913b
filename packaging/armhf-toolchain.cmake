# Cross build for Debian's armhf: ARMv7, hard float, VFPv3 without NEON. script/armhf unpacks the libraries.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(QEN_SYSROOT "${CMAKE_CURRENT_LIST_DIR}/../build/armhf-sysroot")
cmake_path(ABSOLUTE_PATH QEN_SYSROOT NORMALIZE)

set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_LIBRARY_ARCHITECTURE arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH "${QEN_SYSROOT}/usr" "${QEN_SYSROOT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
# Headers without machine code (CLI11, nlohmann-json) come from the build machine.
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE BOTH)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-Wl,-rpath-link,${QEN_SYSROOT}/usr/lib/arm-linux-gnueabihf -Wl,-rpath-link,${QEN_SYSROOT}/lib/arm-linux-gnueabihf")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${CMAKE_EXE_LINKER_FLAGS_INIT}")

set(ENV{PKG_CONFIG_SYSROOT_DIR} "${QEN_SYSROOT}")
set(ENV{PKG_CONFIG_LIBDIR} "${QEN_SYSROOT}/usr/lib/arm-linux-gnueabihf/pkgconfig:${QEN_SYSROOT}/usr/share/pkgconfig")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm-static -L /usr/arm-linux-gnueabihf
  -E LD_LIBRARY_PATH=${QEN_SYSROOT}/usr/lib/arm-linux-gnueabihf:${QEN_SYSROOT}/lib/arm-linux-gnueabihf)
