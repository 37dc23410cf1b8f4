// Nev_tokeniser: splits text into pieces.
//
//   nev::Nev_tokeniser split(u";", u"", u"\n", u"", false, false);
//   nev::Nev_object_vector<std::u16string> pieces;
//   split.tokenise(u"a;b;;c", pieces);        // appends "a", "b", "c"
//
// The four texts of the constructor are sets of code units:
// - separators: each one ends a piece;
// - quotes: a piece that starts with a quote unit runs to the same unit
//   again, separators included, and the quotes are dropped;
// - terminators: the first one ends the text; what follows is ignored;
// - escapes: the unit behind an escape unit is taken literally.
// `keep_empty` false drops empty pieces (two separators in a row, a
// separator at either end, the empty text); true keeps them. `trim` true
// takes blanks and tabs off both ends of each piece.
//
// A tokeniser holds only its settings; tokenise may be called from any thread.
#pragma once

#include <string>

#include "nev/export.h"
#include "nev/vector.h"

namespace nev {

class NEV_EXPORT Nev_tokeniser {
 public:
  Nev_tokeniser(const std::u16string& separators, const std::u16string& quotes,
                const std::u16string& terminators, const std::u16string& escapes,
                bool keep_empty, bool trim);

  // Appends the pieces of `text` to `pieces`, in order of appearance.
  void tokenise(const std::u16string& text, Nev_object_vector<std::u16string>& pieces) const;

 private:
  std::u16string m_separators;
  std::u16string m_quotes;
  std::u16string m_terminators;
  std::u16string m_escapes;
  bool m_keep_empty;
  bool m_trim;
};

}  // namespace nev
