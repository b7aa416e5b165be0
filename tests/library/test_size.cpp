// test_size.cpp - what the library as built for a panel takes of the panel's memory.
//
//  - Code and read-only data: every section that is loaded and not written to. Data: .data and .bss, of which the
//    driver object with its areas is all but a little.

#include "elf_file.h"

#include "matsushita_tcpip_net.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace
{

const std::size_t kMostCode = 40 * 1024;
const std::size_t kMostDataBesideTheDriver = 4 * 1024;

} // namespace

TEST(Size, CodeAndReadOnlyDataStayUnderFortyKilobytes)
{
    std::size_t sum = 0;
    for (const ElfFile::Section &section : ElfFile(DRIVER_LIBRARY).sections()) {
        if (!section.loaded || section.writable)
            continue;
        std::printf("%-24s %8zu\n", section.name.c_str(), section.size);
        sum += section.size;
    }
    std::printf("%-24s %8zu of at most %zu\n", "code and read-only data", sum, kMostCode);
    EXPECT_GT(sum, 4096u) << "that is no driver";
    EXPECT_LT(sum, kMostCode);
}

TEST(Size, DataIsTheDriverObjectAndLittleElse)
{
    std::size_t sum = 0;
    for (const ElfFile::Section &section : ElfFile(DRIVER_LIBRARY).sections()) {
        if (section.name == ".data" || section.name == ".bss")
            sum += section.size;
    }
    std::printf("%-24s %8zu, the driver object takes %zu of it\n", ".data and .bss", sum, sizeof(Matsushita_TCPIP_net));
    EXPECT_GE(sum, sizeof(Matsushita_TCPIP_net));
    EXPECT_LE(sum, sizeof(Matsushita_TCPIP_net) + kMostDataBesideTheDriver);
}
