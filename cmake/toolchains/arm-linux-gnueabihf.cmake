# The camera's processor: 32-bit ARM with hard float, built by Debian's cross compiler. The programs run in qemu's
# user-mode emulation, with the target's loader and libraries from the cross compiler's own tree.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)

set(ZV_TARGET arm-linux-gnueabihf)
set(ZV_TARGET_ROOT /usr/${ZV_TARGET})
# Debian's name for this processor, for the packages.
set(ZV_DEBIAN_ARCHITECTURE armhf)
set(CMAKE_C_COMPILER ${ZV_TARGET}-gcc)
set(CMAKE_CXX_COMPILER ${ZV_TARGET}-g++)

set(CMAKE_FIND_ROOT_PATH ${ZV_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# find_package by configuration is only for libraries that are headers (cmake/ZvHeaderOnly.cmake).
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${ZV_TARGET_ROOT})

# Without this option, the compiler notes for every instance of a template that much older compilers passed arguments
# in another way.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)
