# Shared part of the Debian cross toolchains. The including file sets PLUG_CROSS_TRIPLET,
# PLUG_CROSS_PROCESSOR and PLUG_CROSS_QEMU before including this one.
#
# Libraries of the target come from two places:
#   /usr/<triplet>            the C and C++ runtime installed with g++-<triplet>
#   PLUG_CROSS_SYSROOT        target dev packages (OpenSSL, cJSON, GoogleTest), either installed
#                             by dpkg as multiarch packages (default "/") or unpacked by
#                             scripts/cross-sysroot.sh into a directory of their own.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ${PLUG_CROSS_PROCESSOR})
set(CMAKE_LIBRARY_ARCHITECTURE ${PLUG_CROSS_TRIPLET})

set(CMAKE_C_COMPILER ${PLUG_CROSS_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${PLUG_CROSS_TRIPLET}-g++)
find_program(CMAKE_STRIP ${PLUG_CROSS_TRIPLET}-strip)

if(NOT PLUG_CROSS_SYSROOT)
  if(DEFINED ENV{PLUG_CROSS_SYSROOT})
    set(PLUG_CROSS_SYSROOT $ENV{PLUG_CROSS_SYSROOT})
  else()
    set(PLUG_CROSS_SYSROOT /)
  endif()
endif()
# try_compile projects re-read this file; hand them the sysroot too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES PLUG_CROSS_SYSROOT)

set(_plug_runtime /usr/${PLUG_CROSS_TRIPLET})
get_filename_component(_plug_sysroot "${PLUG_CROSS_SYSROOT}" ABSOLUTE)
if(_plug_sysroot STREQUAL "/")
  set(_plug_sysroot "")
endif()
set(_plug_libdir ${_plug_sysroot}/usr/lib/${PLUG_CROSS_TRIPLET})

set(CMAKE_FIND_ROOT_PATH ${_plug_runtime})
if(_plug_sysroot)
  list(APPEND CMAKE_FIND_ROOT_PATH ${_plug_sysroot})
  # Debian keeps the arch-specific headers (opensslconf.h ...) under include/<triplet>.
  foreach(lang C CXX)
    set(CMAKE_${lang}_STANDARD_INCLUDE_DIRECTORIES
      ${_plug_sysroot}/usr/include/${PLUG_CROSS_TRIPLET} ${_plug_sysroot}/usr/include)
  endforeach()
  set(_plug_link "-L${_plug_libdir} -Wl,-rpath-link,${_plug_libdir}")
  set(CMAKE_EXE_LINKER_FLAGS_INIT "${_plug_link}")
  set(CMAKE_SHARED_LINKER_FLAGS_INIT "${_plug_link}")
else()
  list(APPEND CMAKE_FIND_ROOT_PATH /)
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# pkg-config must read the target's .pc files, never the build machine's.
set(ENV{PKG_CONFIG_LIBDIR} "${_plug_libdir}/pkgconfig:${_plug_sysroot}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_PATH} "")
if(_plug_sysroot)
  set(ENV{PKG_CONFIG_SYSROOT_DIR} "${_plug_sysroot}")
endif()

# ctest runs target binaries (and the gtest discovery at test time) under qemu-user, with the
# target's runtime as the loader prefix; no binfmt registration is needed.
find_program(PLUG_QEMU ${PLUG_CROSS_QEMU})
if(PLUG_QEMU)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${PLUG_QEMU} -L ${_plug_runtime})
  if(_plug_sysroot)
    list(APPEND CMAKE_CROSSCOMPILING_EMULATOR -E LD_LIBRARY_PATH=${_plug_libdir})
  endif()
endif()
