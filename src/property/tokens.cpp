// Token replacement in text templates.
#include "kov/tokens.h"

namespace kov {

namespace {

constexpr char16_t TOKEN_SIGN = u'%';

// The value of the token `name`: the callback's if it resolves it, else the
// display string of the first match in `first`, then in `second`, else the
// empty text.
std::u16string resolve_token(const std::u16string& name, const Kov_property_list& first,
                             const Kov_property_list& second, Kov_token_callback callback) {
  if (callback != nullptr) {
    std::u16string replacement;
    if (callback(name, replacement)) return replacement;
  }
  const Kov_property* match = first.find(name);
  if (match == nullptr) match = second.find(name);
  return match != nullptr ? match->get_display_string() : std::u16string();
}

}  // namespace

void kov_replace_tokens(const std::u16string& input, const Kov_property_list& list, std::u16string& output,
                        nev::Nev_status& status) {
  const Kov_property_list empty(false);
  kov_replace_tokens(input, list, empty, output, status);
}

void kov_replace_tokens(const std::u16string& input, const Kov_property_list& first,
                        const Kov_property_list& second, std::u16string& output, nev::Nev_status& status) {
  kov_replace_tokens(input, first, second, output, status, nullptr);
}

// The result is built by appending to a text of its own: the text between
// tokens and each value go on its end, so the work grows with the length of
// input and result, however many tokens there are. `input` is read to the
// end before `output` is assigned, so the two may be one string. Values are
// never scanned, so "%" signs inside a value are never taken for tokens.
// When the callback throws, `output` holds the work done so far: the
// replaced part, then the input from the failing token on.
void kov_replace_tokens(const std::u16string& input, const Kov_property_list& first,
                        const Kov_property_list& second, std::u16string& output, nev::Nev_status& /*status*/,
                        Kov_token_callback callback) {
  std::u16string result;
  result.reserve(input.size());
  std::size_t scan = 0;
  try {
    for (;;) {
      const std::size_t open = input.find(TOKEN_SIGN, scan);
      if (open == std::u16string::npos || open + 1 == input.size()) break;
      const std::size_t close = input.find(TOKEN_SIGN, open + 1);
      if (close == std::u16string::npos) break;
      result.append(input, scan, open - scan);
      scan = open;
      result += resolve_token(input.substr(open + 1, close - open - 1), first, second, callback);
      scan = close + 1;
    }
  } catch (...) {
    result.append(input, scan, std::u16string::npos);
    output = std::move(result);
    throw;
  }
  result.append(input, scan, std::u16string::npos);
  output = std::move(result);
}

}  // namespace kov
