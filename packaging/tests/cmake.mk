# OpenWrt stand-in: records that the package builds with the CMake support.
PLUG_STUB_CMAKE_MK := included
