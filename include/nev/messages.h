// Nev_messages_list: the texts of status codes, loaded from message files.
//
// A message file is UTF-8 text with one message a line: the code in
// hexadecimal with its "0x", one blank, then the text, in which %1 to %8 stand
// for the code's arguments:
//
//   0xC2010905 The plug-in %1 could not create an object.
//
// Blank lines and lines that begin with "#" or ";" are skipped. A later text
// for a code replaces an earlier one.
//
// The global list starts out holding the texts of every code of the
// foundation and the toolbox; services add their own files to it (see
// kov_load_service_messages). All members may be called from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "nev/export.h"
#include "nev/status.h"

namespace nev {

class NEV_EXPORT Nev_messages_list {
 public:
  // An empty list.
  Nev_messages_list();
  ~Nev_messages_list();
  Nev_messages_list(const Nev_messages_list&) = delete;
  Nev_messages_list& operator=(const Nev_messages_list&) = delete;

  // Adds the messages of the file at `path`. A file that cannot be read, or
  // a line that is no message, fails with the foundation's code and adds
  // nothing from that file. Clears `status` first.
  void add(const std::u16string& path, Nev_status& status);
  // Adds the messages of UTF-8 `text`; `origin` names it in failures.
  void add_text(const std::string& text, const std::u16string& origin, Nev_status& status);

  // The text of `code` with its %n inserts unexpanded; false when unknown.
  bool lookup(std::uint32_t code, std::u16string& text) const;
  // The text of `code` with %1..%8 replaced by `arguments` (missing ones
  // empty); an unknown code gives "0x" and its eight hexadecimal digits,
  // followed by its arguments in parentheses.
  std::u16string format(std::uint32_t code, const std::vector<std::u16string>& arguments) const;
  // Every code of `status`, outermost first, one formatted text per line
  // (lines joined by "\n", no line end after the last).
  std::u16string text(const Nev_status& status) const;
  // How many codes have a text.
  std::size_t size() const;

  // The process-wide list, holding the foundation's and the toolbox's own
  // texts from the start.
  static Nev_messages_list m_global_messages;

 private:
  struct Builtin {};
  explicit Nev_messages_list(Builtin);

  // The texts by code and the lock that guards them (readers share it),
  // kept out of the class so that its layout does not depend on the
  // standard library's.
  struct State;
  State* m_state;
};

}  // namespace nev
