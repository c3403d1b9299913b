# 64-bit and big-endian. Records have the byte order of the machine, so files of other machines are not readable there.
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(QEN_ARCHITECTURE s390x)
set(QEN_TRIPLET s390x-linux-gnu)
set(QEN_EMULATOR qemu-s390x-static)
set(CMAKE_CXX_FLAGS_INIT "-DQEN_FOREIGN_BYTE_ORDER")
include("${CMAKE_CURRENT_LIST_DIR}/cross-toolchain.cmake")
