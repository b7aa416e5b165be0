# What the toolchain files of the 32-bit ARM targets share. They set FP_ARM_TRIPLET and FP_ARM_SYSROOT.

set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER ${FP_ARM_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${FP_ARM_TRIPLET}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${FP_ARM_TRIPLET})
set(CMAKE_SYSROOT ${FP_ARM_SYSROOT})

# Programs are the machine's own, everything else is the target's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Notes that old compilers passed some arguments otherwise; nothing here was built by one.
set(CMAKE_CXX_FLAGS_INIT -Wno-psabi)

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L ${FP_ARM_SYSROOT})
