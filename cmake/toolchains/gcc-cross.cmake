# SPDX-FileCopyrightText: The source-api authors
# SPDX-License-Identifier: Apache-2.0

# Cross-compiling for a Linux target with GCC. The triplet is the prefix of the compiler's name; the
# sysroot is the SDK's copy of the target's file system, or is left out where the target's packages
# are installed beside those of the build machine (Debian's multiarch):
#   cmake -B build -DCMAKE_TOOLCHAIN_FILE=cmake/toolchains/gcc-cross.cmake \
#       -DSOURCE_API_TRIPLET=arm-linux-gnueabihf -DCMAKE_SYSROOT=/opt/sdk/sysroot
set(SOURCE_API_TRIPLET "" CACHE STRING "Prefix of the cross compiler, e.g. arm-linux-gnueabihf")
if(NOT SOURCE_API_TRIPLET)
    message(FATAL_ERROR "SOURCE_API_TRIPLET is not set: the prefix of the cross compiler's name")
endif()
# Test compilations read this file, too.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES SOURCE_API_TRIPLET)

set(CMAKE_SYSTEM_NAME Linux)
string(REGEX REPLACE "-.*" "" CMAKE_SYSTEM_PROCESSOR ${SOURCE_API_TRIPLET})
set(CMAKE_C_COMPILER ${SOURCE_API_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${SOURCE_API_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${SOURCE_API_TRIPLET})

set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
if(CMAKE_SYSROOT)
    set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
    set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
    set(sysrootUsr ${CMAKE_SYSROOT}/usr)
    set(ENV{PKG_CONFIG_SYSROOT_DIR} ${CMAKE_SYSROOT})
else()
    set(sysrootUsr /usr)
endif()

# Of the target's pkg-config files only, never those of the build machine. An SDK that sets the path
# itself is left alone.
if(NOT DEFINED ENV{PKG_CONFIG_LIBDIR})
    set(ENV{PKG_CONFIG_LIBDIR} "${sysrootUsr}/lib/${SOURCE_API_TRIPLET}/pkgconfig:${sysrootUsr}/lib/pkgconfig:${sysrootUsr}/share/pkgconfig")
endif()
unset(sysrootUsr)
