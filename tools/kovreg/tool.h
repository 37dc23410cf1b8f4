// What kovreg's commands share: output, the registry they work on, and the
// keys named on the command line.
//
// Single-threaded: one command runs per process.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <string>
#include <vector>

#include "nev/registry.h"
#include "nev/status.h"
#include "options.h"
#include "reg_file.h"

namespace kovreg {

// Writes `text` to standard output in UTF-8.
void print(const std::u16string& text);
// A failure for people: every code of the status as its message; gives 1.
int report(const nev::Nev_status& status);
// Asks `question` on standard output; true for a "yes" on standard input.
bool confirm(const std::string& question);
// Prints a value as query shows it: name, type and data.
void print_value(const nev::Nev_reg_value& value);
// The UTF-16 units of little-endian data bytes (an odd last byte is left out).
std::u16string units_of(const std::vector<std::uint8_t>& data);

// Files named on the command line (UTF-8 text; wide paths on Windows): the
// whole content read, or written over; false with the path and reason in
// `status`.
bool read_file(const std::string& path, std::string& bytes, nev::Nev_status& status);
bool write_file(const std::string& path, const std::string& bytes, nev::Nev_status& status);
bool file_exists(const std::string& path);

// The registry the command works on: this machine's or a named one's.
class Registry {
 public:
  explicit Registry(std::string machine) : m_machine(std::move(machine)) {}
  ~Registry();
  Registry(const Registry&) = delete;
  Registry& operator=(const Registry&) = delete;

  // The handle of root `index`; null with the reason in `status`.
  nev::Nev_hkey root(int index, nev::Nev_status& status);

 private:
  std::string m_machine;
  std::map<int, std::unique_ptr<nev::Nev_reg_connection>> m_connected;
};

// A key named on the command line.
struct Key {
  int root = 0;
  nev::Nev_hkey handle = nullptr;
  std::u16string path;

  std::u16string name() const { return path.empty() ? root_name(root) : root_name(root) + u"\\" + path; }
};

// Finds the root of the key named by `text`; false with the reason in `status`.
bool resolve_key(Registry& registry, const std::string& text, Key& key, nev::Nev_status& status);

// The commands; each gives the exit code and throws Usage_error for
// operands it does not take.
int query(Registry& registry, const Options& options);
int add(Registry& registry, const Options& options);
int remove(Registry& registry, const Options& options);
int import(Registry& registry, const Options& options);
int export_key(Registry& registry, const Options& options);

}  // namespace kovreg
