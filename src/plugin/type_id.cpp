// Type identifiers: the text form and its lenient reading.
//
// Reading follows, step by step, what the C library's wide scanf does with
// "{%8X-%4X-%4X-%2X%2X-%2X%2X%2X%2X%2X%2X}", so that a text is accepted or
// refused exactly as it always was, whatever the platform's own scanf does:
// - a literal of the format must be the next unit, else the scan stops;
// - a number skips white space, then takes within its width (a maximum) an
//   optional sign, an optional "0x" after a leading zero, and hexadecimal
//   digits; with no digit at all the scan stops;
// - only the count of numbers read decides; the text after the last number
//   is not looked at. The text ends at its first NUL.
#include <array>
#include <cstdint>
#include <cstring>
#include <utility>

#include "kov/type_id.h"
#include "nev/strings.h"

namespace kov {
namespace {

// Appends `value` as `width` upper-case hexadecimal digits.
void append_hex(std::u16string& text, std::uint32_t value, unsigned width) { nev::nev_append_hex(text, value, width, true); }

// White space as the C locale's iswspace knows it.
bool is_space(char16_t unit) noexcept { return unit == u' ' || (unit >= u'\t' && unit <= u'\r'); }

// A cursor over the text up to its first NUL.
class Scanner {
 public:
  explicit Scanner(const std::u16string& text) : m_p(text.c_str()) {}

  // Takes the literal `unit`; false when the next unit is another one.
  bool literal(char16_t unit) noexcept {
    if (*m_p != unit) return false;
    ++m_p;
    return true;
  }

  // Reads one number of at most `width` units into `value`; false when no
  // digit could be read.
  bool number(int width, std::uint32_t& value) noexcept {
    while (is_space(*m_p)) ++m_p;
    bool negative = false;
    if (*m_p == u'+' || *m_p == u'-') {
      negative = *m_p == u'-';
      ++m_p;
      --width;
    }
    bool digits = false;
    std::uint32_t result = 0;
    if (width != 0 && *m_p == u'0') {
      digits = true;
      ++m_p;
      --width;
      if (width != 0 && (*m_p == u'x' || *m_p == u'X')) {
        ++m_p;
        --width;
      }
    }
    for (; width != 0 && nev::nev_hex_digit(*m_p) >= 0; ++m_p, --width) {
      result = result * 16u + static_cast<std::uint32_t>(nev::nev_hex_digit(*m_p));
      digits = true;
    }
    if (!digits) return false;
    value = negative ? 0u - result : result;
    return true;
  }

 private:
  const char16_t* m_p;
};

// The format as a list of steps: a step with a width is a number of at most
// that many units, a step without one is a literal unit.
struct Step {
  char16_t literal;
  int width;
};
constexpr std::array<Step, 17> FORMAT = {{{u'{', 0},
                                          {0, 8},
                                          {u'-', 0},
                                          {0, 4},
                                          {u'-', 0},
                                          {0, 4},
                                          {u'-', 0},
                                          {0, 2},
                                          {0, 2},
                                          {u'-', 0},
                                          {0, 2},
                                          {0, 2},
                                          {0, 2},
                                          {0, 2},
                                          {0, 2},
                                          {0, 2},
                                          {u'}', 0}}};
constexpr int NUMBER_COUNT = 11;

// Scans `text` into `numbers`; returns how many numbers were read.
int scan(const std::u16string& text, std::array<std::uint32_t, NUMBER_COUNT>& numbers) {
  Scanner scanner(text);
  int count = 0;
  for (const Step& step : FORMAT) {
    if (step.width == 0) {
      if (!scanner.literal(step.literal)) break;
    } else {
      if (!scanner.number(step.width, numbers[static_cast<std::size_t>(count)])) break;
      ++count;
    }
  }
  return count;
}

}  // namespace

void kov_type_to_string(const _GUID& type, std::u16string& text) {
  std::u16string result;
  result.reserve(38);
  result += u'{';
  append_hex(result, type.Data1, 8);
  result += u'-';
  append_hex(result, type.Data2, 4);
  result += u'-';
  append_hex(result, type.Data3, 4);
  result += u'-';
  append_hex(result, type.Data4[0], 2);
  append_hex(result, type.Data4[1], 2);
  result += u'-';
  for (int i = 2; i < 8; ++i) append_hex(result, type.Data4[i], 2);
  result += u'}';
  text = std::move(result);
}

void kov_string_to_type(const std::u16string& text, _GUID& type) {
  _GUID local{};
  std::array<std::uint32_t, NUMBER_COUNT> numbers{};
  if (scan(text, numbers) == NUMBER_COUNT) {
    local.Data1 = numbers[0];
    local.Data2 = static_cast<std::uint16_t>(numbers[1]);
    local.Data3 = static_cast<std::uint16_t>(numbers[2]);
    for (std::size_t i = 0; i < 8; ++i) local.Data4[i] = static_cast<std::uint8_t>(numbers[3 + i]);
  }
  type = local;
}

bool kov_is_equal_type(const _GUID& a, const _GUID& b) noexcept {
  std::uint32_t wa[4];
  std::uint32_t wb[4];
  std::memcpy(wa, &a, sizeof wa);
  std::memcpy(wb, &b, sizeof wb);
  for (int i = 0; i < 4; ++i)
    if (wa[i] != wb[i]) return false;
  return true;
}

}  // namespace kov
