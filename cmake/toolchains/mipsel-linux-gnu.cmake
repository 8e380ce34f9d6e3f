# 32-bit little-endian MIPS, the CPU of most home routers.
set(PLUG_CROSS_TRIPLET mipsel-linux-gnu)
set(PLUG_CROSS_PROCESSOR mipsel)
set(PLUG_CROSS_QEMU qemu-mipsel)
# 64-bit file offsets on 32-bit glibc, as for armhf (readdir/stat under qemu on a 64-bit host).
set(CMAKE_C_FLAGS_INIT "-D_FILE_OFFSET_BITS=64")
set(CMAKE_CXX_FLAGS_INIT "-D_FILE_OFFSET_BITS=64 -Wno-psabi")
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
