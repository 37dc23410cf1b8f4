// What the foundation's own units need to know of UTF-8 lengths; not
// exported.
#pragma once

#include <cstddef>
#include <cstdint>

namespace nev::detail {

// How many of the `count` units of `text` the first `bytes` bytes of their
// UTF-8 form hold completely. A pair of surrogates takes 4 bytes, and a lone
// surrogate 3 (it goes out as U+FFFD), as nev_to_utf8 writes them. For a
// console write that stopped part-way: the units it wrote.
std::uint32_t units_in_utf8_prefix(const char16_t* text, std::uint32_t count, std::size_t bytes);

}  // namespace nev::detail
