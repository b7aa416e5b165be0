// test_loaded_symbols.cpp - the dynamic symbol table of the built library: what it offers and what it asks for.
//
//  - Reads the file of the library itself, 32-bit or 64-bit as the test is.
//  - Holds in sanitizer builds too: their own names stay behind the version script.

#include "elf_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <set>
#include <string>
#include <vector>

namespace
{

const ElfFile &library()
{
    static const ElfFile file(DRIVER_LIBRARY);
    return file;
}

std::set<std::string> namesOf(unsigned type)
{
    std::set<std::string> names;
    for (const Symbol &symbol : library().dynamicSymbols()) {
        if (symbol.defined && symbol.type == type)
            names.insert(symbol.name);
    }
    return names;
}

std::size_t sizeOfObject(const std::string &name)
{
    for (const Symbol &symbol : library().dynamicSymbols()) {
        if (symbol.defined && symbol.name == name)
            return symbol.size;
    }
    return 0;
}

bool startsWith(const std::string &text, const std::string &start)
{
    return text.compare(0, start.size(), start) == 0;
}

const std::set<std::string> kFunctions = {
    "SetComInfo",
    "RegistCallBackFuncIntf",
    "FlashLocalRegister",
    "QueryFinishFlag",
    "PLCAddressChangeIntef",
    "EnCommStation",
    "ComCommunication",
    "DataCom",
    "AddListReadVar",
    "AddListWriteVar",
    "AddListOnceReadVar",
    "ReCreatReadVarList",
    "GetRegisterData",
    "SetRegisterData",
};

const std::set<std::string> kObjects = {
    "PLC_driver", "qmap_list", "qmap_length", "map_bit", "map_word", "LB", "LW", "RWI",
};

} // namespace

TEST(DynamicSymbols, TheExportedFunctionsAreThoseOfTheInterfaceAndNoOthers)
{
    EXPECT_EQ(kFunctions, namesOf(STT_FUNC));
}

TEST(DynamicSymbols, TheExportedDataObjectsAreThoseOfTheInterfaceAndNoOthers)
{
    EXPECT_EQ(kObjects, namesOf(STT_OBJECT));
}

TEST(DynamicSymbols, NothingOfAnotherKindIsExported)
{
    std::vector<std::string> others;
    for (const Symbol &symbol : library().dynamicSymbols()) {
        if (symbol.defined && symbol.type != STT_FUNC && symbol.type != STT_OBJECT)
            others.push_back(symbol.name);
    }
    EXPECT_EQ(std::vector<std::string>(), others);
}

TEST(DynamicSymbols, NumbersAreFourBytesOnEveryTarget)
{
    EXPECT_EQ(4u, sizeOfObject("LB"));
    EXPECT_EQ(4u, sizeOfObject("LW"));
    EXPECT_EQ(4u, sizeOfObject("RWI"));
    EXPECT_EQ(4u, sizeOfObject("qmap_length"));
}

TEST(DynamicSymbols, TheDriverIsTheObjectItselfAndNotAPointerToIt)
{
    EXPECT_GT(sizeOfObject("PLC_driver"), 2345000u); // its local areas alone
    EXPECT_LT(sizeOfObject("PLC_driver"), 2346000u);
}

TEST(DynamicSymbols, OnlyQtCoreAndTheLanguageRuntimesAreNeeded)
{
    std::vector<std::string> allowed = {"libQtCore.so.4", "libQt5Core.so.5", "libQt6Core.so.6",
                                        "libstdc++.so.6", "libm.so.6",       "libgcc_s.so.1",
                                        "libc.so.6",      "libpthread.so.0", "ld-linux"};
    if (std::strlen(SANITIZERS) > 0) {
        allowed.push_back("libasan.so.");
        allowed.push_back("libubsan.so.");
        allowed.push_back("libtsan.so.");
    }
    const std::vector<std::string> needed = library().neededLibraries();
    EXPECT_FALSE(needed.empty());
    for (const std::string &name : needed) {
        EXPECT_TRUE(std::any_of(allowed.begin(), allowed.end(), [&name](const std::string &start) {
            return startsWith(name, start);
        })) << name;
    }
}

TEST(DynamicSymbols, NothingThatDoesInputOrOutputOrStartsThreadsIsAskedFor)
{
    const std::set<std::string> forbidden = {
        "socket",  "connect",        "bind",   "listen",       "accept", "send",   "sendto",
        "recv",    "recvfrom",       "select", "poll",         "open",   "open64", "fopen",
        "fopen64", "read",           "write",  "fwrite",       "printf", "puts",   "getenv",
        "system",  "pthread_create", "fork",   "timer_create", "sleep",  "usleep", "nanosleep",
    };
    bool sawAny = false;
    for (const Symbol &symbol : library().dynamicSymbols()) {
        if (symbol.defined)
            continue;
        sawAny = true;
        EXPECT_EQ(0u, forbidden.count(symbol.name)) << symbol.name;
        EXPECT_EQ(std::string::npos, symbol.name.find("QThread")) << symbol.name;
        EXPECT_EQ(std::string::npos, symbol.name.find("QFile")) << symbol.name;
#ifdef QT_NO_DEBUG // Qt's own headers warn in debug builds
        EXPECT_EQ(std::string::npos, symbol.name.find("QMessageLogger")) << symbol.name;
#endif
    }
    EXPECT_TRUE(sawAny);
}
