// elf_file.h - the parts of an ELF file of this process' own word size that a dynamic linker looks at.

#ifndef ELF_FILE_H
#define ELF_FILE_H

#include <elf.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

struct Symbol {
    std::string name;
    unsigned type; // STT_FUNC, STT_OBJECT ...
    bool defined;  // here, or asked for
    std::size_t size;
};

/// One file, read whole. A file that is no ELF file of this word size, or ends early, throws std::runtime_error.
class ElfFile
{
public:
    struct Section {
        std::string name;
        bool loaded, writable;
        std::size_t size;
    };

    explicit ElfFile(const char *path)
    {
        std::ifstream file(path, std::ios::binary);
        file.seekg(0, std::ios::end);
        if (!file)
            throw std::runtime_error(std::string(path) + " cannot be read");
        m_bytes.resize(std::size_t(file.tellg()));
        file.seekg(0);
        file.read(&m_bytes[0], std::streamsize(m_bytes.size()));
        const auto header = at<ElfW(Ehdr)>(0);
        if (std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0 ||
            header.e_ident[EI_CLASS] != (sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32))
            throw std::runtime_error(std::string(path) + " is no ELF file of this word size");
        for (unsigned i = 0; i < header.e_shnum; ++i)
            m_sections.push_back(at<ElfW(Shdr)>(header.e_shoff + i * std::size_t(header.e_shentsize)));
        m_nameSection = header.e_shstrndx;
    }

    std::vector<Section> sections() const
    {
        std::vector<Section> all;
        for (const auto &section : m_sections)
            all.push_back({text(m_sections.at(m_nameSection), section.sh_name), (section.sh_flags & SHF_ALLOC) != 0,
                           (section.sh_flags & SHF_WRITE) != 0, std::size_t(section.sh_size)});
        return all;
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

private:
    template <typename T> T at(std::size_t offset) const
    {
        T value;
        if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof value)
            throw std::runtime_error("the file ends early");
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
    std::size_t m_nameSection = 0;
};

#endif
