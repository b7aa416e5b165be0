# ARMv7 with hard float, Debian's armhf. scripts/make-sysroot armhf makes the sysroot.

set(FP_ARM_TRIPLET arm-linux-gnueabihf)
get_filename_component(FP_ARM_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armhf ABSOLUTE)
include(${CMAKE_CURRENT_LIST_DIR}/arm-linux.cmake)
