# 32-bit x86, which the build machine runs itself. Arithmetic in SSE registers, because those of the 387 have more digits than the types say, which no device has.
set(CMAKE_SYSTEM_PROCESSOR i686)
set(QEN_ARCHITECTURE i386)
set(QEN_TRIPLET i686-linux-gnu)
set(QEN_LIBRARY_TRIPLET i386-linux-gnu)
set(CMAKE_CXX_FLAGS_INIT "-msse2 -mfpmath=sse")
include("${CMAKE_CURRENT_LIST_DIR}/cross-toolchain.cmake")
