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

// All work is done in `output`; `input` is read only by the first copy, so
// the two may be one string. The scan goes on behind each inserted value, so
// "%" signs inside a value are never taken for tokens.
void kov_replace_tokens(const std::u16string& input, const Kov_property_list& first,
                        const Kov_property_list& second, std::u16string& output, nev::Nev_status& /*status*/,
                        Kov_token_callback callback) {
  if (&output != &input) output = input;
  std::size_t scan = 0;
  while (scan < output.size()) {
    const std::size_t open = output.find(TOKEN_SIGN, scan);
    if (open == std::u16string::npos || open + 1 == output.size()) return;
    const std::size_t close = output.find(TOKEN_SIGN, open + 1);
    if (close == std::u16string::npos) return;
    const std::u16string value =
        resolve_token(output.substr(open + 1, close - open - 1), first, second, callback);
    output.replace(open, close - open + 1, value);
    scan = open + value.size();
  }
}

}  // namespace kov
