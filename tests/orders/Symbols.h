#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace orders {

/// Something that stays where it is as long as the program runs: a function, or a static variable.
struct Symbol
{
    std::string name; ///< as the linker has it
    std::string file; ///< the source file, without its folder, of what no other file sees; empty for the rest
    std::uintptr_t address;
    std::size_t size;
};

/// What this program's own file tells of it. Empty vectors where the program was stripped.
struct Symbols
{
    std::vector<Symbol> functions; ///< by address
    std::vector<Symbol> variables; ///< that can be written
};

/// Read once.
const Symbols& OwnSymbols();

/// The name of a function; "?" for none.
const std::string& NameOfFunction(const void* function);

/// The same as one writes it.
std::string ReadableNameOfFunction(const void* function);

} // namespace orders
