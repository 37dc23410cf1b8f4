// Conversion between UTF-16 and UTF-8, and UTF-16 text to and from its
// little-endian bytes.
//
// Both directions accept any input. A lone surrogate in UTF-16, and in UTF-8
// every maximal part of a sequence that cannot be completed (a stray
// continuation byte, a truncated sequence, an over-long form, an encoded
// surrogate, a value above U+10FFFF, the bytes C0, C1, F5..FF), becomes one
// U+FFFD, so that a text never loses its place and never stops a caller.
#include <cstdint>
#include <string>

#include "nev/strings.h"
#include "nev/text_units.h"

namespace nev {

namespace {

constexpr char32_t REPLACEMENT = 0xFFFD;

bool is_high_surrogate(char16_t unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
bool is_low_surrogate(char16_t unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

void append_utf8(std::string& out, char32_t point) {
  if (point < 0x80) {
    out += static_cast<char>(point);
  } else if (point < 0x800) {
    out += static_cast<char>(0xC0 | (point >> 6));
    out += static_cast<char>(0x80 | (point & 0x3F));
  } else if (point < 0x10000) {
    out += static_cast<char>(0xE0 | (point >> 12));
    out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (point & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (point >> 18));
    out += static_cast<char>(0x80 | ((point >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((point >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (point & 0x3F));
  }
}

void append_utf16(std::u16string& out, char32_t point) {
  if (point < 0x10000) {
    out += static_cast<char16_t>(point);
  } else {
    point -= 0x10000;
    out += static_cast<char16_t>(0xD800 | (point >> 10));
    out += static_cast<char16_t>(0xDC00 | (point & 0x3FF));
  }
}

// The shape of a UTF-8 sequence from its lead byte: how many continuation
// bytes follow, and the range the first of them must lie in (which rules
// out over-long forms, surrogates and values above U+10FFFF).
struct Lead {
  int continuation;
  unsigned char low;
  unsigned char high;
  char32_t bits;
};

bool describe_lead(unsigned char byte, Lead& lead) {
  if (byte >= 0xC2 && byte <= 0xDF) lead = {1, 0x80, 0xBF, static_cast<char32_t>(byte & 0x1F)};
  else if (byte == 0xE0) lead = {2, 0xA0, 0xBF, 0};
  else if (byte == 0xED) lead = {2, 0x80, 0x9F, 0xD};
  else if (byte >= 0xE1 && byte <= 0xEF) lead = {2, 0x80, 0xBF, static_cast<char32_t>(byte & 0x0F)};
  else if (byte == 0xF0) lead = {3, 0x90, 0xBF, 0};
  else if (byte >= 0xF1 && byte <= 0xF3) lead = {3, 0x80, 0xBF, static_cast<char32_t>(byte & 0x07)};
  else if (byte == 0xF4) lead = {3, 0x80, 0x8F, 4};
  else return false;
  return true;
}

}  // namespace

std::string nev_to_utf8(const std::u16string& text) {
  std::string out;
  out.reserve(text.size());
  const std::size_t size = text.size();
  for (std::size_t i = 0; i < size; ++i) {
    const char16_t unit = text[i];
    if (is_high_surrogate(unit) && i + 1 < size && is_low_surrogate(text[i + 1])) {
      const char32_t point = 0x10000 + ((static_cast<char32_t>(unit) - 0xD800) << 10) + (text[i + 1] - 0xDC00);
      append_utf8(out, point);
      ++i;
    } else if (is_high_surrogate(unit) || is_low_surrogate(unit)) {
      append_utf8(out, REPLACEMENT);
    } else {
      append_utf8(out, unit);
    }
  }
  return out;
}

std::u16string nev_from_utf8(const std::string& text) {
  std::u16string out;
  out.reserve(text.size());
  const std::size_t size = text.size();
  std::size_t i = 0;
  while (i < size) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x80) {
      out += static_cast<char16_t>(byte);
      ++i;
      continue;
    }
    Lead lead{};
    if (!describe_lead(byte, lead)) {
      out += static_cast<char16_t>(REPLACEMENT);
      ++i;
      continue;
    }
    char32_t point = lead.bits;
    std::size_t next = i + 1;
    bool complete = true;
    for (int k = 0; k < lead.continuation; ++k, ++next) {
      const unsigned char low = k == 0 ? lead.low : 0x80;
      const unsigned char high = k == 0 ? lead.high : 0xBF;
      if (next >= size) {
        complete = false;
        break;
      }
      const auto c = static_cast<unsigned char>(text[next]);
      if (c < low || c > high) {
        complete = false;
        break;
      }
      point = (point << 6) | (c & 0x3F);
    }
    // An incomplete sequence is replaced as a whole; the byte that broke it
    // starts afresh.
    append_utf16(out, complete ? point : REPLACEMENT);
    i = next;
  }
  return out;
}

std::vector<std::uint8_t> nev_to_utf16le(const std::u16string& text, bool terminate) {
  std::vector<std::uint8_t> bytes((text.size() + (terminate ? 1 : 0)) * 2, 0);
  for (std::size_t i = 0; i < text.size(); ++i) {
    bytes[2 * i] = static_cast<std::uint8_t>(text[i] & 0xFF);
    bytes[2 * i + 1] = static_cast<std::uint8_t>(text[i] >> 8);
  }
  return bytes;
}

std::u16string nev_from_utf16le(const void* data, std::size_t size, bool stop_at_nul) {
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::u16string text;
  text.reserve(size / 2);
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    const auto unit = static_cast<char16_t>(bytes[i] | (bytes[i + 1] << 8));
    if (unit == u'\0' && stop_at_nul) break;
    text += unit;
  }
  return text;
}

namespace detail {

std::uint32_t units_in_utf8_prefix(const char16_t* text, std::uint32_t count, std::size_t bytes) {
  std::uint32_t units = 0;
  std::size_t used = 0;
  while (units < count) {
    const char16_t unit = text[units];
    const bool pair = unit >= 0xD800 && unit <= 0xDBFF && units + 1 < count && text[units + 1] >= 0xDC00 &&
                      text[units + 1] <= 0xDFFF;
    const std::size_t size = pair ? 4 : unit < 0x80 ? 1 : unit < 0x800 ? 2 : 3;
    if (used + size > bytes) break;
    used += size;
    units += pair ? 2 : 1;
  }
  return units;
}

}  // namespace detail

}  // namespace nev
