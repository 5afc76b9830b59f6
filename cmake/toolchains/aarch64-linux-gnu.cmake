# 64-bit ARM, built by Debian's cross compiler. The programs run in qemu's user-mode emulation, with the target's loader
# and libraries from the cross compiler's own tree.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(ZV_TARGET aarch64-linux-gnu)
set(ZV_TARGET_ROOT /usr/${ZV_TARGET})
# Debian's name for this processor, for the packages.
set(ZV_DEBIAN_ARCHITECTURE arm64)
set(CMAKE_C_COMPILER ${ZV_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${ZV_TARGET}-g++)

set(CMAKE_FIND_ROOT_PATH ${ZV_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# find_package by configuration is only for libraries that are headers (cmake/ZvHeaderOnly.cmake).
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L ${ZV_TARGET_ROOT})
