# Debian's armhf: ARMv7, hard float, VFPv3 without NEON.
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(QEN_ARCHITECTURE armhf)
set(QEN_TRIPLET arm-linux-gnueabihf)
set(QEN_EMULATOR qemu-arm-static)
include("${CMAKE_CURRENT_LIST_DIR}/cross-toolchain.cmake")
