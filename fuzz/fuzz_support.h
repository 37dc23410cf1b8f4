// Helpers shared by the fuzz targets: a check that aborts with a message
// (libFuzzer then saves the input), a reader that takes the input apart,
// and the turning of input bytes into 16-bit text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

// Aborts when `condition` is false: a mismatch is a finding like a crash.
#define FUZZ_CHECK(condition)                                                                     \
  do {                                                                                           \
    if (!(condition)) {                                                                          \
      std::fprintf(stderr, "fuzz check failed at %s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                                              \
    }                                                                                            \
  } while (false)

// Takes bytes off the front of the input; past the end it gives zeros.
class Reader {
 public:
  Reader(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}
  bool empty() const { return m_at >= m_size; }
  std::uint8_t byte() { return m_at < m_size ? m_data[m_at++] : 0; }
  std::uint32_t u32() {
    std::uint32_t value = 0;
    for (int i = 0; i < 4; ++i) value = value << 8 | byte();
    return value;
  }
  // Up to `count` bytes.
  std::string bytes(std::size_t count) {
    const std::size_t take = count < m_size - m_at ? count : m_size - m_at;
    std::string out(reinterpret_cast<const char*>(m_data + m_at), take);
    m_at += take;
    return out;
  }
  // Everything not yet taken.
  std::string rest() { return bytes(m_size - m_at); }

 private:
  const std::uint8_t* m_data;
  std::size_t m_size;
  std::size_t m_at = 0;
};

// The text of input bytes: after a first byte 0xFF the rest as UTF-16LE (an
// odd last byte dropped), otherwise one unit per byte. Byte text keeps the
// corpus readable; the 16-bit form reaches every unit, surrogates included.
inline std::u16string text_of(const std::string& bytes) {
  std::u16string text;
  if (!bytes.empty() && static_cast<unsigned char>(bytes[0]) == 0xFF) {
    for (std::size_t i = 1; i + 1 < bytes.size(); i += 2) {
      text += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) |
                                    static_cast<unsigned char>(bytes[i + 1]) << 8);
    }
  } else {
    for (const char byte : bytes) text += static_cast<char16_t>(static_cast<unsigned char>(byte));
  }
  return text;
}

// A small table of names with their case partners, for targets that check
// case-insensitive look-ups against a model: names of one group are equal
// without regard to case, names of different groups are not.
struct Name {
  const char16_t* text;
  int group;
};
inline constexpr Name NAMES[] = {
    {u"Alpha", 0}, {u"ALPHA", 0}, {u"alpha", 0}, {u"b", 1},      {u"B", 1},      {u"\u00e9t\u00e9", 2},
    {u"\u00c9T\u00c9", 2},        {u"\u03c3", 3}, {u"\u03a3", 3}, {u"stra\u00dfe", 4}, {u"", 5},
    {u"name with blanks", 6},     {u"NAME WITH BLANKS", 6},
};
inline constexpr std::size_t NAME_COUNT = sizeof NAMES / sizeof NAMES[0];

}  // namespace fuzz
