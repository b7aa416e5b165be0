# ARMv5 with soft float, Debian's armel: the oldest panels. scripts/make-sysroot armel makes the sysroot.

set(FP_ARM_TRIPLET arm-linux-gnueabi)
get_filename_component(FP_ARM_SYSROOT ${CMAKE_CURRENT_LIST_DIR}/../build/sysroot-armel ABSOLUTE)
include(${CMAKE_CURRENT_LIST_DIR}/arm-linux.cmake)
