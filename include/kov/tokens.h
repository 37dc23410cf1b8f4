// kov_replace_tokens: filling a text template from property lists.
//
// A token is a name between two "%" signs; the whole token, signs included,
// gives way to the value found for the name. Values come first from an
// optional callback, then from the first list, then from the second, looked
// up without regard to letter case and inserted as display strings. A token
// that nothing resolves disappears. Inserted text is not scanned again.
//
//   kov::Kov_property_list values;
//   values.add(u"name", u"world");
//   std::u16string text;
//   nev::Nev_status status;
//   kov::kov_replace_tokens(u"hello %name%!", values, text, status);  // "hello world!"
//
// There is no escape for "%": "%%" is a token with an empty name, and a lone
// "%" with no partner stays in the text. Nothing is ever reported: the
// status is part of the signature only and is neither read nor written. The
// input and the output may be one string. No lock is taken.
#pragma once

#include <string>

#include "kov/export.h"
#include "kov/property_list.h"
#include "nev/status.h"

namespace kov {

// Resolves the token `name` (exactly as it stands between the signs). Returns
// true when it has: `replacement`, empty on entry, is then the value, even if
// left empty. Returns false to leave the token to the lists; whatever was
// written into `replacement` is then dropped.
using Kov_token_callback = bool (*)(const std::u16string& name, std::u16string& replacement);

// Fills `input` from `list` into `output`.
KOV_EXPORT void kov_replace_tokens(const std::u16string& input, const Kov_property_list& list,
                                   std::u16string& output, nev::Nev_status& status);
// Fills `input` from `first`, then `second`, into `output`.
KOV_EXPORT void kov_replace_tokens(const std::u16string& input, const Kov_property_list& first,
                                   const Kov_property_list& second, std::u16string& output,
                                   nev::Nev_status& status);
// Fills `input` from `callback` (may be null), then `first`, then `second`,
// into `output`. An exception from the callback passes through; `output`
// then holds the work done so far.
KOV_EXPORT void kov_replace_tokens(const std::u16string& input, const Kov_property_list& first,
                                   const Kov_property_list& second, std::u16string& output,
                                   nev::Nev_status& status, Kov_token_callback callback);

}  // namespace kov
