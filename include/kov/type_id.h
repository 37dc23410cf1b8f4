// Type identifiers of the plug-in system: the 16-byte _GUID and its text form.
//
// The text form is what stands in registry key paths: 38 code units, an
// opening brace, five groups of 8, 4, 4, 4 and 12 upper-case hexadecimal
// digits joined by hyphens, a closing brace:
//
//   _GUID type;
//   kov::kov_string_to_type(u"{5ae48720-05eb-11d3-bf61-5e0703000000}", type);
//   std::u16string text;
//   kov::kov_type_to_string(type, text);   // u"{5AE48720-05EB-11D3-BF61-5E0703000000}"
//
// Reading is lenient in the manner of the C library's wide scanf with the
// format "{%8X-%4X-%4X-%2X%2X-%2X%2X%2X%2X%2X%2X}": field widths are maxima,
// white space before a number is skipped, a number may carry a sign and a
// "0x" prefix, and what follows the last number is not looked at. Text that
// does not yield all eleven numbers gives the all-zero identifier.
//
// The functions hold no state and may be called from any thread.
#pragma once

#include <string>

#include "kov/export.h"
#include "nev/types.h"

namespace kov {

// Replaces `text` with the 38-unit upper-case text form of `type`.
KOV_EXPORT void kov_type_to_string(const _GUID& type, std::u16string& text);
// Reads `text` into `type`; text that does not parse gives all zeros.
KOV_EXPORT void kov_string_to_type(const std::u16string& text, _GUID& type);
// True when the 16 bytes of `a` and `b` are equal.
KOV_EXPORT bool kov_is_equal_type(const _GUID& a, const _GUID& b) noexcept;

}  // namespace kov
