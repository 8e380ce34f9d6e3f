# 32-bit ARM with hardware floating point, the usual home-router CPU.
set(PLUG_CROSS_TRIPLET arm-linux-gnueabihf)
set(PLUG_CROSS_PROCESSOR arm)
set(PLUG_CROSS_QEMU qemu-arm)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
