// Nev_status and its argument classes.
//
// Representation: the current code sits inline in the status. A status that
// holds exactly one code without arguments needs nothing more, so it keeps
// `m_stack_p` null too; as soon as a code carries arguments or a second code
// is pushed, the whole stack (every code with the texts of its arguments)
// moves into one Stack object on the heap. Arguments are kept as their texts:
// the text is all a status ever gives back, and keeping it makes a copy of
// the status independent of the caller's argument objects.
#include "nev/status.h"

#include <utility>
#include <vector>

#include "nev/messages.h"
#include "nev/strings.h"

namespace nev {

namespace {

constexpr unsigned MAX_ARGUMENTS = 8;

std::u16string hex_text(std::uint32_t value) {
  std::u16string out = u"0x";
  nev_append_hex(out, value, 8, true);
  return out;
}

std::u16string decimal_text(std::uint64_t magnitude, bool negative) {
  char16_t buffer[24];
  char16_t* end = buffer + sizeof(buffer) / sizeof(buffer[0]);
  char16_t* p = end;
  do {
    *--p = static_cast<char16_t>(u'0' + magnitude % 10);
    magnitude /= 10;
  } while (magnitude != 0);
  if (negative) *--p = u'-';
  return std::u16string(p, end);
}

}  // namespace

// ---- arguments ----------------------------------------------------------------

Nev_status_arg::~Nev_status_arg() = default;

bool Nev_status_arg::is_null() const { return false; }

Nev_wstring_status_arg::Nev_wstring_status_arg(const std::u16string& value) : m_value(value) {}

void Nev_wstring_status_arg::to_string(std::u16string& out) const { out = m_value; }

Nev_int_status_arg::Nev_int_status_arg(int value, bool decimal) : m_value(value), m_decimal(decimal) {}

void Nev_int_status_arg::to_string(std::u16string& out) const {
  if (!m_decimal) {
    out = hex_text(static_cast<std::uint32_t>(m_value));
    return;
  }
  const bool negative = m_value < 0;
  // Widen before negating so that INT_MIN has a magnitude.
  const std::int64_t wide = m_value;
  out = decimal_text(static_cast<std::uint64_t>(negative ? -wide : wide), negative);
}

Nev_uint_status_arg::Nev_uint_status_arg(unsigned value, bool decimal) : m_value(value), m_decimal(decimal) {}

void Nev_uint_status_arg::to_string(std::u16string& out) const {
  out = m_decimal ? decimal_text(m_value, false) : hex_text(m_value);
}

Nev_bool_status_arg::Nev_bool_status_arg(bool value) : m_value(value) {}

void Nev_bool_status_arg::to_string(std::u16string& out) const { out = m_value ? u"true" : u"false"; }

const Nev_null_status_arg Nev_null_status_arg::NULL_ARGUMENT;

void Nev_null_status_arg::to_string(std::u16string& out) const { out.clear(); }

bool Nev_null_status_arg::is_null() const { return true; }

// ---- the stack ----------------------------------------------------------------

// One code with the texts of its arguments.
struct Nev_status::Frame {
  std::uint32_t code = 0;
  std::vector<std::u16string> arguments;
};

// Every code held, the innermost first and the current one last.
struct Nev_status::Stack {
  std::vector<Frame> frames;
};

namespace {

// The texts of the arguments up to the first null placeholder.
std::vector<std::u16string> argument_texts(const Nev_status_arg* const (&args)[MAX_ARGUMENTS]) {
  std::vector<std::u16string> texts;
  for (const Nev_status_arg* arg : args) {
    if (arg->is_null()) break;
    texts.emplace_back();
    arg->to_string(texts.back());
  }
  return texts;
}

}  // namespace

Nev_status::Nev_status(const Nev_status& other)
    : m_code(other.m_code), m_stack_p(other.m_stack_p ? new Stack(*other.m_stack_p) : nullptr) {}

Nev_status::Nev_status(Nev_status&& other) noexcept
    : m_code(std::exchange(other.m_code, 0)), m_stack_p(std::exchange(other.m_stack_p, nullptr)) {}

Nev_status::~Nev_status() { delete m_stack_p; }

Nev_status& Nev_status::operator=(const Nev_status& other) {
  if (this != &other) {
    Nev_status copy(other);
    *this = std::move(copy);
  }
  return *this;
}

Nev_status& Nev_status::operator=(Nev_status&& other) noexcept {
  if (this != &other) {
    delete m_stack_p;
    m_code = std::exchange(other.m_code, 0);
    m_stack_p = std::exchange(other.m_stack_p, nullptr);
  }
  return *this;
}

Nev_status& Nev_status::operator=(std::uint32_t code) {
  clear();
  m_code = code;
  return *this;
}

void Nev_status::clear() noexcept {
  delete m_stack_p;
  m_stack_p = nullptr;
  m_code = 0;
}

void Nev_status::assign(std::uint32_t code, const Nev_status_arg& a1, const Nev_status_arg& a2,
                        const Nev_status_arg& a3, const Nev_status_arg& a4, const Nev_status_arg& a5,
                        const Nev_status_arg& a6, const Nev_status_arg& a7, const Nev_status_arg& a8) {
  // Texts first: should one throw, the status keeps what it held.
  const Nev_status_arg* const args[MAX_ARGUMENTS] = {&a1, &a2, &a3, &a4, &a5, &a6, &a7, &a8};
  std::vector<std::u16string> texts = argument_texts(args);
  clear();
  if (code == 0) return;
  m_code = code;
  if (!texts.empty()) {
    m_stack_p = new Stack;
    m_stack_p->frames.push_back(Frame{code, std::move(texts)});
  }
}

void Nev_status::push(std::uint32_t code, const Nev_status_arg& a1, const Nev_status_arg& a2,
                      const Nev_status_arg& a3, const Nev_status_arg& a4, const Nev_status_arg& a5,
                      const Nev_status_arg& a6, const Nev_status_arg& a7, const Nev_status_arg& a8) {
  // A code of 0 means "nothing" and cannot stand on a stack.
  if (code == 0) return;
  const Nev_status_arg* const args[MAX_ARGUMENTS] = {&a1, &a2, &a3, &a4, &a5, &a6, &a7, &a8};
  std::vector<std::u16string> texts = argument_texts(args);
  if (m_code == 0 && texts.empty()) {
    m_code = code;
    return;
  }
  if (m_stack_p == nullptr) {
    m_stack_p = new Stack;
    if (m_code != 0) m_stack_p->frames.push_back(Frame{m_code, {}});
  }
  m_stack_p->frames.push_back(Frame{code, std::move(texts)});
  m_code = code;
}

std::uint32_t Nev_status::code(unsigned level) const noexcept {
  if (m_stack_p == nullptr) return level == 0 ? m_code : 0;
  const auto& frames = m_stack_p->frames;
  return level < frames.size() ? frames[frames.size() - 1 - level].code : 0;
}

unsigned Nev_status::depth() const noexcept {
  if (m_stack_p == nullptr) return m_code != 0 ? 1 : 0;
  return static_cast<unsigned>(m_stack_p->frames.size());
}

unsigned Nev_status::argument_count(unsigned level) const noexcept {
  if (m_stack_p == nullptr) return 0;
  const auto& frames = m_stack_p->frames;
  if (level >= frames.size()) return 0;
  return static_cast<unsigned>(frames[frames.size() - 1 - level].arguments.size());
}

std::u16string Nev_status::argument(unsigned level, unsigned index) const {
  if (m_stack_p == nullptr) return {};
  const auto& frames = m_stack_p->frames;
  if (level >= frames.size()) return {};
  const auto& arguments = frames[frames.size() - 1 - level].arguments;
  return index < arguments.size() ? arguments[index] : std::u16string();
}

std::u16string nev_status_text(const Nev_status& status) {
  return Nev_messages_list::m_global_messages.text(status);
}

}  // namespace nev
