// The .reg text format: reading a file into a list of changes, and writing
// keys with their values as a file that the Windows registry editor reads.
//
// Two dialects: version 5 ("Windows Registry Editor Version 5.00", UTF-16LE
// with a byte-order mark, or UTF-8 on request) and version 4 ("REGEDIT4",
// 8-bit text, in which the string data of hex(2) and hex(7) is 8-bit too;
// hex(1) is UTF-16LE in both). 8-bit text is Windows-1252, the code page the
// Windows registry editor reads and writes such files in.
//
// Not thread-bound: the functions keep no state.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "nev/registry.h"

namespace kovreg {

// The roots by name: the long names everywhere, the short ones ("HKLM")
// where `short_names` allows them. -1 for a name that is no root.
int root_index(const std::u16string& name, bool short_names);
// The long name of the root of `index`.
std::u16string root_name(int index);
// The predefined root of `index` (0 to 4: classes root, current user, local
// machine, users, current config).
nev::Nev_hkey root_handle(int index);
// Splits "HKLM\Path\To" into the root and the path below it; false when the
// text does not begin with a root.
bool split_key(const std::u16string& text, bool short_names, int& root, std::u16string& path);

// One change read from a file; `root` is a root index.
struct File_change {
  nev::Nev_reg_change::Kind kind = nev::Nev_reg_change::CREATE_KEY;
  int root = 0;
  std::u16string key;
  nev::Nev_reg_value value;
};

// Why a file was refused: its line (from 1) and the reason.
struct File_error {
  std::size_t line = 0;
  std::u16string reason;
};

// The text of a file's bytes: UTF-16LE after its mark FF FE, UTF-8 after
// its mark, Windows-1252 for a file that begins with "REGEDIT4", else UTF-8
// when the bytes are valid UTF-8 and Windows-1252 when not. False with
// `error` for UTF-16 with an odd number of bytes (the line is the one that
// holds the half character).
bool decode_file(const std::string& bytes, std::u16string& text, File_error& error);

// Reads the text of a .reg file into `changes`, in file order. False with
// `error` at the first line that is not valid; `changes` is then incomplete.
// Inside quotes "\\" and "\"" stand for themselves, "\n" and "\r" for a
// line feed and a carriage return. Key and value names with a NUL, and key
// names with "]", are refused. The work grows linearly with the text.
bool parse_file(const std::u16string& text, std::vector<File_change>& changes, File_error& error);

// One key to write: its full name (root first) and its values.
struct Export_key {
  std::u16string name;
  std::vector<nev::Nev_reg_value> values;
};

enum class Dialect { version5_utf16, version5_utf8, version4 };

// The bytes of a .reg file holding `keys` in the given order: CR LF line
// ends, the default value first in each section, hex data wrapped before
// column 80. Data that the plain forms cannot carry exactly (a string with a
// line break or without its NUL, a character the file's encoding cannot
// carry such as a lone surrogate in UTF-8 or "Ω" in Windows-1252, a dword
// that is not 4 bytes) is written as hex of its type, so that reading the
// file back gives the same bytes. False with `error` (naming the key and
// value) when no form carries something exactly: a name the encoding cannot
// carry or holding a NUL or line break, a key name holding "]", or version 4
// hex(2)/hex(7) text outside Windows-1252.
bool encode_file(const std::vector<Export_key>& keys, Dialect dialect, std::string& bytes, std::u16string& error);

}  // namespace kovreg
