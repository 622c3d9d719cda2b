#include "symboltable.h"

#include <array>
#include <cstring>
#include <fstream>
#include <iterator>
#include <span>
#include <stdexcept>
#include <vector>

namespace ridge::test {
namespace {

std::vector<char> fileOf(HMODULE module) {
    std::array<wchar_t, MAX_PATH> path{};
    GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    std::ifstream file(path.data(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

template <typename Record>
Record recordAt(std::span<const char> file, std::size_t offset) {
    Record record;
    std::memcpy(&record, file.subspan(offset, sizeof(record)).data(), sizeof(record));
    return record;
}

/// A short name stands in the symbol itself, a long one behind all symbols.
std::string nameOf(const IMAGE_SYMBOL& symbol, std::span<const char> longNames) {
    if (symbol.N.Name.Short == 0) {
        return longNames.subspan(symbol.N.Name.Long).data();
    }
    std::array<char, sizeof(symbol.N.ShortName) + 1> name{};
    std::memcpy(name.data(), symbol.N.ShortName, sizeof(symbol.N.ShortName));
    return name.data();
}

} // namespace

SymbolTable::SymbolTable(HMODULE module) : base(reinterpret_cast<std::uintptr_t>(module)), size(0) {
    const std::vector<char> bytes = fileOf(module);
    const std::span<const char> file(bytes);
    const auto begin = static_cast<std::size_t>(recordAt<IMAGE_DOS_HEADER>(file, 0).e_lfanew);
    const auto headers = recordAt<IMAGE_NT_HEADERS>(file, begin);
    size = headers.OptionalHeader.SizeOfImage;

    const std::size_t sections = begin + sizeof(headers);
    const std::size_t symbols = headers.FileHeader.PointerToSymbolTable;
    const std::size_t count = headers.FileHeader.NumberOfSymbols;
    const std::span<const char> longNames = file.subspan(symbols + count * IMAGE_SIZEOF_SYMBOL);
    for (std::size_t index = 0; index < count; ++index) {
        const auto symbol = recordAt<IMAGE_SYMBOL>(file, symbols + index * IMAGE_SIZEOF_SYMBOL);
        if (symbol.SectionNumber > 0 && ISFCN(symbol.Type)) {
            const auto section = recordAt<IMAGE_SECTION_HEADER>(
                file, sections + (static_cast<std::size_t>(symbol.SectionNumber) - 1) *
                                     sizeof(IMAGE_SECTION_HEADER));
            functions[std::uintptr_t{section.VirtualAddress} + symbol.Value] =
                nameOf(symbol, longNames);
        }
        index += symbol.NumberOfAuxSymbols;
    }
    if (functions.empty()) {
        throw std::runtime_error("the library's file names no functions");
    }
}

std::string SymbolTable::functionAt(const void* address) const {
    const std::uintptr_t offset = reinterpret_cast<std::uintptr_t>(address) - base;
    const auto next = functions.upper_bound(offset);
    return offset >= size || next == functions.begin() ? std::string() : std::prev(next)->second;
}

} // namespace ridge::test
