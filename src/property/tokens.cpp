// Token replacement in text templates.
#include "kov/tokens.h"

#include <cstddef>
#include <memory>
#include <string>

#include "folded_names.h"

namespace kov {

namespace {

constexpr char16_t TOKEN_SIGN = u'%';

// Finds token names in two lists as first.find, then second.find would. The
// first SCANS_BEFORE_TABLE lookups scan; after them one table of both lists
// answers the rest, so a template of T tokens over lists of N entries costs
// O(N + T) lookups' work rather than O(N * T), and a template of a few
// tokens builds nothing. The table holds pointers to
// entries, so it is only built when no callback runs during the call: a
// callback may change the lists, and the scans see such changes.
class List_lookup {
 public:
  List_lookup(const Kov_property_list& first, const Kov_property_list& second, bool may_build_table)
      : m_first(first), m_second(second), m_may_build_table(may_build_table) {}

  const Kov_property* find(const std::u16string& name) {
    if (!m_table && m_may_build_table && m_scans == SCANS_BEFORE_TABLE) build_table();
    if (m_table) {
      const Kov_property* const* match = m_table->find(name);
      return match != nullptr ? *match : nullptr;
    }
    ++m_scans;
    const Kov_property* match = m_first.find(name);
    return match != nullptr ? match : m_second.find(name);
  }

 private:
  // Scans of both lists before the table is built. Building reads every
  // entry once and hashes its name, which costs several scans that compare
  // names; templates of a few tokens never pay for it.
  static constexpr unsigned SCANS_BEFORE_TABLE = 32;

  // Every entry of the first list, then of the second, in list order; the
  // table keeps the first entry of each name.
  void build_table() {
    m_table = std::make_unique<detail::Folded_name_table<const Kov_property*>>(
        static_cast<std::size_t>(m_first.size()) + m_second.size());
    for (const Kov_property_list* list : {&m_first, &m_second}) {
      for (const Kov_property* entry : *list) m_table->insert(entry->name(), entry);
    }
  }

  const Kov_property_list& m_first;
  const Kov_property_list& m_second;
  const bool m_may_build_table;
  unsigned m_scans = 0;
  std::unique_ptr<detail::Folded_name_table<const Kov_property*>> m_table;  // null until built
};

// The value of the token `name`: the callback's if it resolves it, else the
// display string of the first match in the first list, then in the second,
// else the empty text.
std::u16string resolve_token(const std::u16string& name, List_lookup& lists, Kov_token_callback callback) {
  if (callback != nullptr) {
    std::u16string replacement;
    if (callback(name, replacement)) return replacement;
  }
  const Kov_property* match = lists.find(name);
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
  List_lookup lists(first, second, callback == nullptr);
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
      result += resolve_token(input.substr(open + 1, close - open - 1), lists, callback);
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
