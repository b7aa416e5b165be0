// test_loaded_symbols.cpp - the dynamic symbol table of the built library: what it offers and what it asks for.
//
//  - Reads the file of the library itself, 32-bit or 64-bit as the test is.
//  - Holds in sanitizer builds too: their own names stay behind the version script.

#include <gtest/gtest.h>

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace
{

struct Symbol {
    std::string name;
    unsigned type; // STT_FUNC, STT_OBJECT ...
    bool defined;  // here, or asked for
    std::size_t size;
};

/// The parts of an ELF file of this process' own word size that a dynamic linker looks at.
class ElfFile
{
public:
    explicit ElfFile(const char *path)
    {
        std::ifstream file(path, std::ios::binary);
        m_bytes.assign(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
        if (m_bytes.size() < sizeof(ElfW(Ehdr)) || std::memcmp(m_bytes.data(), ELFMAG, SELFMAG) != 0)
            return;
        const auto header = at<ElfW(Ehdr)>(0);
        for (unsigned i = 0; i < header.e_shnum; ++i)
            m_sections.push_back(at<ElfW(Shdr)>(header.e_shoff + i * std::size_t(header.e_shentsize)));
    }

    std::vector<Symbol> dynamicSymbols() const
    {
        std::vector<Symbol> symbols;
        for (const auto &table : m_sections) {
            if (table.sh_type != SHT_DYNSYM)
                continue;
            for (std::size_t i = 1; i < table.sh_size / sizeof(ElfW(Sym)); ++i) { // 0 is the empty symbol
                const auto symbol = at<ElfW(Sym)>(table.sh_offset + i * sizeof(ElfW(Sym)));
                if (ELF32_ST_BIND(symbol.st_info) == STB_LOCAL) // the same bits in both word sizes
                    continue;
                symbols.push_back({text(m_sections.at(table.sh_link), symbol.st_name),
                                   static_cast<unsigned>(ELF32_ST_TYPE(symbol.st_info)), symbol.st_shndx != SHN_UNDEF,
                                   std::size_t(symbol.st_size)});
            }
        }
        return symbols;
    }

    std::vector<std::string> neededLibraries() const { return dynamicTexts(DT_NEEDED); }
    std::vector<std::string> searchPaths() const
    {
        std::vector<std::string> paths = dynamicTexts(DT_RPATH);
        const std::vector<std::string> more = dynamicTexts(DT_RUNPATH);
        paths.insert(paths.end(), more.begin(), more.end());
        return paths;
    }

private:
    template <typename T> T at(std::size_t offset) const
    {
        T value;
        if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof value)
            throw std::out_of_range("the file ends early");
        std::memcpy(&value, m_bytes.data() + offset, sizeof value);
        return value;
    }

    std::string text(const ElfW(Shdr) & strings, std::size_t offset) const
    {
        return m_bytes.data() + strings.sh_offset + offset; // the string ends with a zero byte
    }

    std::vector<std::string> dynamicTexts(long tag) const
    {
        std::vector<std::string> texts;
        for (const auto &section : m_sections) {
            if (section.sh_type != SHT_DYNAMIC)
                continue;
            for (std::size_t i = 0; i < section.sh_size / sizeof(ElfW(Dyn)); ++i) {
                const auto entry = at<ElfW(Dyn)>(section.sh_offset + i * sizeof(ElfW(Dyn)));
                if (entry.d_tag == tag)
                    texts.push_back(text(m_sections.at(section.sh_link), std::size_t(entry.d_un.d_val)));
            }
        }
        return texts;
    }

    std::vector<char> m_bytes;
    std::vector<ElfW(Shdr)> m_sections;
};

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
        EXPECT_EQ(std::string::npos, symbol.name.find("QMessageLogger")) << symbol.name;
    }
    EXPECT_TRUE(sawAny);
}
