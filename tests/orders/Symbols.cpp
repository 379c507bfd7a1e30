#include "orders/Symbols.h"

#include <cxxabi.h>
#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <ios>
#include <memory>
#include <string_view>
#include <utility>

namespace orders {

namespace {

/// Where the program was put, as against the addresses in its file.
std::uintptr_t LoadAddress()
{
    std::uintptr_t address = 0;
    ::dl_iterate_phdr(
        [](struct dl_phdr_info* info, size_t, void* found) {
            *static_cast<std::uintptr_t*>(found) = info->dlpi_addr;
            return 1; // the first one is the program
        },
        &address);
    return address;
}

class File
{
public:
    File()
    {
        std::ifstream file("/proc/self/exe", std::ios::binary | std::ios::ate);
        m_bytes.resize(static_cast<std::size_t>(std::max<std::streamoff>(file.tellg(), 0)));
        file.seekg(0);
        file.read(m_bytes.data(), static_cast<std::streamsize>(m_bytes.size()));
    }

    /// What stands at a place; zeroes behind the end.
    template <typename Record>
    [[nodiscard]] Record At(std::size_t offset) const
    {
        Record record = {};
        if (offset + sizeof record <= m_bytes.size()) {
            std::memcpy(&record, m_bytes.data() + offset, sizeof record);
        }
        return record;
    }

    [[nodiscard]] std::string Text(std::size_t offset) const
    {
        return offset < m_bytes.size() ? m_bytes.data() + offset : "";
    }

    [[nodiscard]] ElfW(Shdr) Section(std::size_t number) const
    {
        const auto header = At<ElfW(Ehdr)>(0);
        return number < header.e_shnum ? At<ElfW(Shdr)>(header.e_shoff + number * sizeof(ElfW(Shdr))) : ElfW(Shdr){};
    }

    [[nodiscard]] std::size_t Sections() const
    {
        return At<ElfW(Ehdr)>(0).e_shnum;
    }

private:
    std::string m_bytes;
};

void Add(const File& file, const ElfW(Sym) & entry, Symbol symbol, Symbols& symbols)
{
    // Most functions are the language's own; their names would weigh in each fork.
    if (symbol.name.starts_with("_ZNSt") || symbol.name.starts_with("_ZNKSt") || symbol.name.starts_with("_ZSt")) {
        return;
    }
    const unsigned char type = ELF64_ST_TYPE(entry.st_info);
    if (entry.st_size == 0 || entry.st_shndx == SHN_UNDEF) {
        return;
    }
    if (type == STT_FUNC) {
        symbols.functions.push_back(std::move(symbol));
    } else if (type == STT_OBJECT && (file.Section(entry.st_shndx).sh_flags & SHF_WRITE) != 0) {
        symbols.variables.push_back(std::move(symbol));
    }
}

Symbols Read()
{
    const File file;
    const std::uintptr_t loaded = LoadAddress();
    Symbols symbols;
    for (std::size_t number = 0; number < file.Sections(); ++number) {
        const auto table = file.Section(number);
        if (table.sh_type != SHT_SYMTAB) {
            continue;
        }
        const std::size_t names = file.Section(table.sh_link).sh_offset;
        std::string source; // what is of one file alone stands behind that one's name
        for (std::size_t at = 0; at < table.sh_size; at += sizeof(ElfW(Sym))) {
            const auto entry = file.At<ElfW(Sym)>(table.sh_offset + at);
            std::string name = file.Text(names + entry.st_name);
            if (ELF64_ST_TYPE(entry.st_info) == STT_FILE) {
                source = name.substr(name.rfind('/') + 1);
                continue;
            }
            const bool isLocal = ELF64_ST_BIND(entry.st_info) == STB_LOCAL;
            Add(file, entry, {std::move(name), isLocal ? source : "", loaded + entry.st_value, entry.st_size}, symbols);
        }
    }
    std::ranges::sort(symbols.functions, {}, &Symbol::address);
    return symbols;
}

} // namespace

const Symbols& OwnSymbols()
{
    static const Symbols symbols = Read();
    return symbols;
}

const std::string& NameOfFunction(const void* function)
{
    static const std::string unknown = "?";
    const auto address = reinterpret_cast<std::uintptr_t>(function);
    const auto& functions = OwnSymbols().functions;
    const auto found = std::ranges::lower_bound(functions, address, {}, &Symbol::address);
    return found != functions.end() && found->address == address ? found->name : unknown;
}

std::string ReadableNameOfFunction(const void* function)
{
    const std::string& name = NameOfFunction(function);
    int status = 0;
    const std::unique_ptr<char, decltype(&std::free)> readable(
        abi::__cxa_demangle(name.c_str(), nullptr, nullptr, &status), std::free);
    return readable ? readable.get() : name;
}

} // namespace orders
