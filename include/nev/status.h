// Nev_status: how every fallible operation of the foundation and the toolbox
// reports its outcome.
//
// A status is a stack of codes. The top is the current code; a caller that
// wraps a lower failure pushes its own code over it, so the whole story stays
// readable, outermost first. Each code carries up to eight arguments, which the
// status copies (arguments are usually temporaries). A code is laid out as a
// Windows message code: the top two bits are the severity (00 success,
// 01 informational, 10 warning, 11 error), then the facility (0x200 this
// foundation, 0x201 the toolbox) and a 16-bit number.
//
//   nev::Nev_status status;
//   nev::nev_get_reg_string_value(root, key, u"", u"Name", text, status);
//   if (!status.ok()) { log(nev::nev_status_text(status)); }
//
// ok() is true when nothing is held or when the current code is merely
// informational: such a code is visible to the caller but lets work go on.
//
// Convention: a fallible operation takes a Nev_status& as its last argument,
// clears it first and reports failure in it.
//
// Thread safety: a status is a plain value. Distinct objects may be used from
// distinct threads; one object shared between threads needs the caller's lock.
#pragma once

#include <cstdint>
#include <string>

#include "nev/export.h"

namespace nev {

// Base of the arguments a status code carries. The status keeps copies.
class NEV_EXPORT Nev_status_arg {
 public:
  virtual ~Nev_status_arg();
  // Replaces `out` with the argument's text for people.
  virtual void to_string(std::u16string& out) const = 0;
  // True for the placeholder that fills unused argument places.
  virtual bool is_null() const;
};

// A text argument.
class NEV_EXPORT Nev_wstring_status_arg final : public Nev_status_arg {
 public:
  explicit Nev_wstring_status_arg(const std::u16string& value);
  void to_string(std::u16string& out) const override;

 private:
  std::u16string m_value;
};

// A signed number; `decimal` true shows it in decimal, false in hexadecimal
// ("0x" and eight upper-case digits).
class NEV_EXPORT Nev_int_status_arg final : public Nev_status_arg {
 public:
  Nev_int_status_arg(int value, bool decimal);
  void to_string(std::u16string& out) const override;

 private:
  int m_value;
  bool m_decimal;
};

// An unsigned number; `decimal` as for Nev_int_status_arg.
class NEV_EXPORT Nev_uint_status_arg final : public Nev_status_arg {
 public:
  Nev_uint_status_arg(unsigned value, bool decimal);
  void to_string(std::u16string& out) const override;

 private:
  unsigned m_value;
  bool m_decimal;
};

// A flag, shown as "true" or "false".
class NEV_EXPORT Nev_bool_status_arg final : public Nev_status_arg {
 public:
  explicit Nev_bool_status_arg(bool value);
  void to_string(std::u16string& out) const override;

 private:
  bool m_value;
};

// The placeholder for argument places that hold nothing.
class NEV_EXPORT Nev_null_status_arg final : public Nev_status_arg {
 public:
  // The one placeholder every default argument refers to.
  static const Nev_null_status_arg NULL_ARGUMENT;

  void to_string(std::u16string& out) const override;  // empty text
  bool is_null() const override;
};

class NEV_EXPORT Nev_status {
 public:
  // A clear status: no code held.
  Nev_status() noexcept = default;
  Nev_status(const Nev_status& other);
  Nev_status(Nev_status&& other) noexcept;
  ~Nev_status();

  // Copies every code and argument of `other`.
  Nev_status& operator=(const Nev_status& other);
  Nev_status& operator=(Nev_status&& other) noexcept;
  // Replaces everything held by `code` with no arguments; 0 clears.
  Nev_status& operator=(std::uint32_t code);

  // Back to no code held.
  void clear() noexcept;

  // True when nothing is held or the current code is informational.
  bool ok() const noexcept { return (m_code >> 30) <= 1u; }

  // Replaces everything held by `code` with its arguments; argument places
  // from the first null placeholder on are empty. A code of 0 clears.
  void assign(std::uint32_t code,
              const Nev_status_arg& a1 = Nev_null_status_arg::NULL_ARGUMENT,
              const Nev_status_arg& a2 = Nev_null_status_arg::NULL_ARGUMENT,
              const Nev_status_arg& a3 = Nev_null_status_arg::NULL_ARGUMENT,
              const Nev_status_arg& a4 = Nev_null_status_arg::NULL_ARGUMENT,
              const Nev_status_arg& a5 = Nev_null_status_arg::NULL_ARGUMENT,
              const Nev_status_arg& a6 = Nev_null_status_arg::NULL_ARGUMENT,
              const Nev_status_arg& a7 = Nev_null_status_arg::NULL_ARGUMENT,
              const Nev_status_arg& a8 = Nev_null_status_arg::NULL_ARGUMENT);

  // Adds `code` with its arguments as the new current code, keeping what is
  // held beneath it.
  void push(std::uint32_t code,
            const Nev_status_arg& a1 = Nev_null_status_arg::NULL_ARGUMENT,
            const Nev_status_arg& a2 = Nev_null_status_arg::NULL_ARGUMENT,
            const Nev_status_arg& a3 = Nev_null_status_arg::NULL_ARGUMENT,
            const Nev_status_arg& a4 = Nev_null_status_arg::NULL_ARGUMENT,
            const Nev_status_arg& a5 = Nev_null_status_arg::NULL_ARGUMENT,
            const Nev_status_arg& a6 = Nev_null_status_arg::NULL_ARGUMENT,
            const Nev_status_arg& a7 = Nev_null_status_arg::NULL_ARGUMENT,
            const Nev_status_arg& a8 = Nev_null_status_arg::NULL_ARGUMENT);

  // True when the current code is `code`.
  bool operator==(std::uint32_t code) const noexcept { return m_code == code; }

  // The current code; 0 when clear.
  std::uint32_t code() const noexcept { return m_code; }
  // The code at `level`: 0 the current one, 1 the one beneath; 0 past the end.
  std::uint32_t code(unsigned level) const noexcept;
  // How many codes are held.
  unsigned depth() const noexcept;
  // How many arguments the code at `level` carries (0 to 8).
  unsigned argument_count(unsigned level) const noexcept;
  // The text of argument `index` (0-based) of the code at `level`; empty
  // where there is none.
  std::u16string argument(unsigned level, unsigned index) const;

 private:
  struct Frame;
  struct Stack;

  // The current code is kept inline so that ok() and operator== cost one
  // compare; everything else lives in `m_stack_p`, null while clear.
  std::uint32_t m_code = 0;
  Stack* m_stack_p = nullptr;
};

// Text for people: every code held, outermost first, one per line, each as
// its message with the arguments inserted (or the bare code in hexadecimal
// with its arguments where no message is known). Uses the global message list.
NEV_EXPORT std::u16string nev_status_text(const Nev_status& status);

}  // namespace nev
