# 32-bit ARM with hardware floating point, the usual home-router CPU.
set(PLUG_CROSS_TRIPLET arm-linux-gnueabihf)
set(PLUG_CROSS_PROCESSOR arm)
set(PLUG_CROSS_QEMU qemu-arm)
# 64-bit file offsets and inode numbers on 32-bit glibc: without them readdir and stat fail with
# EOVERFLOW on file systems that hand out large inode numbers or directory offsets (seen under
# qemu-arm on a 64-bit host, and possible on large storage attached to a router).
set(CMAKE_C_FLAGS_INIT "-D_FILE_OFFSET_BITS=64")
# -Wno-psabi: GCC notes that C++ argument passing changed in GCC 7.1; everything here is built
# with one compiler, so the note is noise (and would read like a warning in CI logs).
set(CMAKE_CXX_FLAGS_INIT "-D_FILE_OFFSET_BITS=64 -Wno-psabi")
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
