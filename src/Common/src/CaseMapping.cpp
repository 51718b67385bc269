#include "CaseMapping.h"

#include <type_traits>

namespace VDIFrameworkCommon {

namespace {

// Characters that the compiler can map at a time.
constexpr std::size_t block = 16;

// The two cases of an ASCII letter differ in one bit.
template <typename Unsigned>
Unsigned swapCase(Unsigned character, Unsigned first) noexcept {
    const auto distance = static_cast<Unsigned>(character - first);
    return static_cast<Unsigned>(character ^ (distance < 26 ? 0x20U : 0U));
}

template <typename Character>
void mapAscii(const Character* __restrict from, Character* __restrict to, std::size_t size, char firstMapped) noexcept {
    using Unsigned = std::make_unsigned_t<Character>;
    const auto first = static_cast<Unsigned>(static_cast<unsigned char>(firstMapped));
    const auto map = [from, to, first](std::size_t start, std::size_t count) {
        for (std::size_t i = start; i < start + count; ++i) {
            to[i] = static_cast<Character>(swapCase(static_cast<Unsigned>(from[i]), first));
        }
    };
    if (size < block) {
        map(0, size);
        return;
    }
    for (std::size_t i = 0; i + block <= size; i += block) {
        map(i, block);
    }
    map(size - block, block);  // the rest, and again some of what is before it
}

}  // namespace

template <typename Character>
void CaseMapping::map(const Character* from, Character* to, std::size_t size) const noexcept {
    if (table_.asciiOnly) {
        mapAscii(from, to, size, firstMapped_);
        return;
    }
    for (std::size_t i = 0; i < size; ++i) {
        to[i] = (*this)(from[i]);
    }
}

void CaseMapping::apply(const char* from, char* to, std::size_t size) const noexcept {
    map(from, to, size);
}

void CaseMapping::apply(const wchar_t* from, wchar_t* to, std::size_t size) const noexcept {
    map(from, to, size);
}

}  // namespace VDIFrameworkCommon
