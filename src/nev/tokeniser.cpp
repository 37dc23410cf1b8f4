// Nev_tokeniser: one pass over the text, one piece at a time.
//
// Choices beyond the header's rules:
// - A unit in several sets counts as escape first, then terminator, then
//   separator, then quote.
// - A quote opens only at the start of a piece (after blanks and tabs when
//   trimming). Within quotes separators and terminators are plain text, and
//   escapes still work. Text behind the closing quote joins the same piece;
//   a quote that is never closed runs to the end of the text.
// - An escape unit at the very end of the text has nothing to protect and is
//   kept as it is.
// - Quoted and escaped units are never trimmed; `""` is an empty piece like
//   any other.
#include "nev/tokeniser.h"

namespace nev {

namespace {

bool is_blank(char16_t unit) { return unit == u' ' || unit == u'\t'; }

bool contains(const std::u16string& set, char16_t unit) { return set.find(unit) != std::u16string::npos; }

// The piece being built, with the span of units that came from quotes or
// escapes (those are never trimmed).
class Piece {
 public:
  void add(char16_t unit) { m_text += unit; }
  void add_literal(char16_t unit) {
    if (m_literal_begin == std::u16string::npos) m_literal_begin = m_text.size();
    m_text += unit;
    m_literal_end = m_text.size();
  }
  // True while nothing but (trimmable) blanks has been added.
  bool at_start(bool trim) const {
    if (m_literal_begin != std::u16string::npos) return false;
    if (!trim) return m_text.empty();
    return m_text.find_first_not_of(u" \t") == std::u16string::npos;
  }
  std::u16string take(bool trim) {
    std::u16string text;
    text.swap(m_text);
    if (trim) {
      std::size_t begin = 0;
      std::size_t end = text.size();
      const std::size_t keep_from = m_literal_begin == std::u16string::npos ? end : m_literal_begin;
      while (begin < keep_from && is_blank(text[begin])) ++begin;
      while (end > begin && end > m_literal_end && is_blank(text[end - 1])) --end;
      text = text.substr(begin, end - begin);
    }
    m_literal_begin = std::u16string::npos;
    m_literal_end = 0;
    return text;
  }

 private:
  std::u16string m_text;
  std::size_t m_literal_begin = std::u16string::npos;
  std::size_t m_literal_end = 0;
};

}  // namespace

Nev_tokeniser::Nev_tokeniser(const std::u16string& separators, const std::u16string& quotes,
                             const std::u16string& terminators, const std::u16string& escapes, bool keep_empty,
                             bool trim)
    : m_separators(separators),
      m_quotes(quotes),
      m_terminators(terminators),
      m_escapes(escapes),
      m_keep_empty(keep_empty),
      m_trim(trim) {}

void Nev_tokeniser::tokenise(const std::u16string& text, Nev_object_vector<std::u16string>& pieces) const {
  Piece piece;
  auto finish_piece = [&] {
    std::u16string value = piece.take(m_trim);
    if (!value.empty() || m_keep_empty) pieces.push_back(new std::u16string(std::move(value)));
  };
  // Reads an escape at `i`: the unit behind it, or the escape itself at the end.
  auto take_escaped = [&](std::size_t& i) {
    if (i + 1 < text.size()) ++i;
    piece.add_literal(text[i]);
    ++i;
  };

  const std::size_t size = text.size();
  std::size_t i = 0;
  while (i < size) {
    const char16_t unit = text[i];
    if (contains(m_escapes, unit)) {
      take_escaped(i);
    } else if (contains(m_terminators, unit)) {
      break;
    } else if (contains(m_separators, unit)) {
      finish_piece();
      ++i;
    } else if (contains(m_quotes, unit) && piece.at_start(m_trim)) {
      ++i;
      while (i < size && text[i] != unit) {
        if (contains(m_escapes, text[i])) {
          take_escaped(i);
        } else {
          piece.add_literal(text[i]);
          ++i;
        }
      }
      if (i < size) ++i;  // the closing quote
    } else {
      piece.add(unit);
      ++i;
    }
  }
  finish_piece();
}

}  // namespace nev
