# 64-bit big-endian Linux (IBM Z): proves the wire formats do not depend on host byte order.
set(PLUG_CROSS_TRIPLET s390x-linux-gnu)
set(PLUG_CROSS_PROCESSOR s390x)
set(PLUG_CROSS_QEMU qemu-s390x)
include(${CMAKE_CURRENT_LIST_DIR}/linux-cross.cmake)
