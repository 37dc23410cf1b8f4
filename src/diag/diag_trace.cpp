// Kov_diag_trace: the enabled path of a trace scope.
//
// A line is "[hh:mm:ss:cc]" (cc the hundredths of the second, truncated),
// trace_depth times indent_step spaces, a two-unit prefix, then the text.
// Kov_diag_main::write adds the line end and the thread markers.
#include <algorithm>
#include <cstddef>
#include <memory>

#include "entry/statics.h"
#include "kov/diag.h"
#include "nev/platform.h"
#include "nev/strings.h"
#include "nev/time.h"

namespace kov {

namespace {

// How many enabled scopes the calling thread is inside. This and the stamp
// cache below are the library's thread-local variables. The initial-exec
// model reads them at a fixed offset from the thread pointer instead of
// calling __tls_get_addr on every line; their few bytes fit the static TLS
// room the loader keeps even when the library itself is loaded at run time.
#if defined(__GNUC__) && !defined(_WIN32)
__attribute__((tls_model("initial-exec")))
#endif
thread_local std::uint16_t trace_depth = 0;

constexpr std::size_t STAMP_LENGTH = 13;
// "[hh:mm:ss:": the part of a stamp that one second's lines share.
constexpr std::size_t STAMP_SECOND_LENGTH = 10;
constexpr std::int64_t MICROS_PER_SECOND = 1000000;

// The calling thread's local time of day for the latest UTC second it
// stamped, and the zone generation it was made under. Turning the clock
// into local time costs several times a reading of the clock (zone rules,
// calendar arithmetic), and a line needs it only when the second or the
// zone changed: under one zone generation the offset at one instant cannot
// change. Each line reads the clock once and takes its fields from that
// one reading, so a clock stepped back cannot give one second's fields with
// another's fraction; the stamp is what Nev_time::now() gives for it.
struct Stamp_cache {
  std::int64_t second = 0;
  std::uint64_t zone = 0;  // 0: nothing kept yet (generations start above it)
  char16_t text[STAMP_SECOND_LENGTH] = {};  // "[hh:mm:ss:" of that second
};
#if defined(__GNUC__) && !defined(_WIN32)
__attribute__((tls_model("initial-exec")))
#endif
thread_local Stamp_cache stamp_cache;

constexpr std::int64_t SECONDS_PER_DAY = 86400;

std::int64_t floor_div(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

constexpr std::size_t DUMP_ROW_BYTES = 16;
constexpr char16_t HEX_DIGITS[] = u"0123456789abcdef";

char16_t* put_two_digits(char16_t* out, int value) {
  out[0] = static_cast<char16_t>(u'0' + (value / 10) % 10);
  out[1] = static_cast<char16_t>(u'0' + value % 10);
  return out + 2;
}

// Keeps "[hh:mm:ss:" of the local time of `second` (UTC) in `cache`.
void refill(Stamp_cache& cache, std::int64_t second, std::uint64_t zone) {
  const std::int64_t local = second + nev::nev_local_offset(second, true);
  const auto of_day = static_cast<int>(local - floor_div(local, SECONDS_PER_DAY) * SECONDS_PER_DAY);
  char16_t* out = cache.text;
  *out++ = u'[';
  out = put_two_digits(out, of_day / 3600);
  *out++ = u':';
  out = put_two_digits(out, of_day / 60 % 60);
  *out++ = u':';
  out = put_two_digits(out, of_day % 60);
  *out = u':';
  cache.second = second;
  cache.zone = zone;
}

// "[hh:mm:ss:cc]" for the local time now, hundredths truncated; the part
// before the hundredths comes from the thread's cache.
char16_t* put_stamp(char16_t* out) {
  const std::int64_t utc = nev::nev_clock_now();
  const std::int64_t second = floor_div(utc, MICROS_PER_SECOND);
  const auto micros = static_cast<int>(utc - second * MICROS_PER_SECOND);
  const std::uint64_t zone = nev::platform::zone_generation();
  Stamp_cache& cache = stamp_cache;
  if (cache.zone != zone || cache.second != second) refill(cache, second, zone);
  out = std::copy_n(cache.text, STAMP_SECOND_LENGTH, out);
  out = put_two_digits(out, micros / 10000);
  *out++ = u']';
  return out;
}

constexpr std::size_t PREFIX_LENGTH = 2;
// Room behind a line for the CR LF that Kov_diag_main::write_built_line puts
// there.
constexpr std::size_t LINE_END_ROOM = 2;
// A line fits on the stack up to 128 levels at the default step.
constexpr std::size_t INLINE_INDENT = 256;
constexpr std::size_t INLINE_UNITS =
    STAMP_LENGTH + INLINE_INDENT + PREFIX_LENGTH + Kov_diag_trace::MESSAGE_LIMIT + LINE_END_ROOM;

// The units of one line: on the stack while they fit, else on the heap.
class Line_buffer {
 public:
  // Room for the stamp, `indent` spaces, a prefix, `text_room` units and
  // the line end.
  Line_buffer(std::size_t indent, std::size_t text_room) : m_begin(m_inline) {
    const std::size_t size = STAMP_LENGTH + indent + PREFIX_LENGTH + text_room + LINE_END_ROOM;
    if (size > INLINE_UNITS) {
      m_heap.reset(new char16_t[size]);
      m_begin = m_heap.get();
    }
  }
  Line_buffer(const Line_buffer&) = delete;
  Line_buffer& operator=(const Line_buffer&) = delete;

  char16_t* begin() { return m_begin; }

 private:
  char16_t m_inline[INLINE_UNITS];
  std::unique_ptr<char16_t[]> m_heap;
  char16_t* m_begin;
};

// The indentation of the calling thread's current depth.
std::size_t current_indent() { return static_cast<std::size_t>(trace_depth) * detail::indent_step; }

// Writes the stamp, the indentation and the two-unit prefix; returns where
// the text goes.
char16_t* start_line(char16_t* out, std::size_t indent, const char16_t* prefix) {
  out = put_stamp(out);
  out = std::fill_n(out, indent, u' ');
  *out++ = prefix[0];
  *out++ = prefix[1];
  return out;
}

// Printable in the default locale: 0x20 to 0x7E. Fixed here so that a
// program's own locale does not change what a dump looks like.
bool is_printable(std::uint8_t byte) { return byte >= 0x20 && byte <= 0x7E; }

// One dump row of up to 16 bytes: "%02x " per byte, three spaces per missing
// byte (so the hex column is always 48 wide), then the printable column.
std::u16string dump_row(const std::uint8_t* bytes, std::size_t count) {
  std::u16string row;
  row.reserve(DUMP_ROW_BYTES * 4);
  for (std::size_t i = 0; i < count; ++i) {
    row.push_back(HEX_DIGITS[bytes[i] >> 4]);
    row.push_back(HEX_DIGITS[bytes[i] & 0x0F]);
    row.push_back(u' ');
  }
  row.append((DUMP_ROW_BYTES - count) * 3, u' ');
  for (std::size_t i = 0; i < count; ++i) row.push_back(is_printable(bytes[i]) ? bytes[i] : u'.');
  return row;
}

// A dump's heading into `out` of `room` units, ended by a zero unit: `text`
// with each "%%" taken as one "%", cut like a message. Any other "%" stays
// as it stands. The heading was once a format given no arguments, where a
// conversion read whatever lay on the stack; no argument is read here.
void put_heading(const char16_t* text, char16_t* out, std::size_t room) {
  std::size_t length = 0;
  for (; *text != u'\0' && length + 1 < room; ++text) {
    out[length++] = *text;
    if (text[0] == u'%' && text[1] == u'%') ++text;
  }
  out[length] = u'\0';
}

}  // namespace

void Kov_diag_trace::enter(Kov_diag_main& diag, const char16_t* name) {
  ++trace_depth;
  try {
    write(diag, u"> ", name);
  } catch (...) {
    // The scope is not made: take its depth back before the exception goes on.
    --trace_depth;
    throw;
  }
}

void Kov_diag_trace::leave(Kov_diag_main& diag, const char16_t* name) noexcept {
  // A destructor must not throw: an exit line that cannot be built is lost.
  try {
    write(diag, u"< ", name);
  } catch (...) {
  }
  --trace_depth;
}

void Kov_diag_trace::trace_message(Kov_diag_main& diag, const char16_t* format, std::va_list args) {
  // The message is formatted in place behind the prefix. The formatter cuts
  // what does not fit, so a longer message is shortened.
  const std::size_t indent = current_indent();
  Line_buffer line(indent, MESSAGE_LIMIT);
  char16_t* text = start_line(line.begin(), indent, u"  ");
  text[0] = u'\0';
  const int written = nev::nev_vswprintf(text, MESSAGE_LIMIT, format, args);
  const std::size_t length = written >= 0 ? static_cast<std::size_t>(written) : nev::nev_wcslen(text);
  diag.write_built_line(line.begin(), static_cast<std::size_t>(text - line.begin()) + length);
}

void Kov_diag_trace::trace_formatted(Kov_diag_main& diag, const char16_t* format, ...) {
  std::va_list args;
  va_start(args, format);
  try {
    trace_message(diag, format, args);
  } catch (...) {
    va_end(args);
    throw;
  }
  va_end(args);
}

void Kov_diag_trace::dump(Kov_diag_main& diag, const char16_t* text, const std::uint8_t* bytes, std::uint16_t length) {
  char16_t heading[MESSAGE_LIMIT];
  put_heading(text, heading, MESSAGE_LIMIT);
  write(diag, u"  ", heading);
  for (std::size_t offset = 0; offset < length; offset += DUMP_ROW_BYTES) {
    const std::size_t count = std::min<std::size_t>(DUMP_ROW_BYTES, length - offset);
    // The row is text, not a format: a "%" in it stays as it is.
    write(diag, u"  ", dump_row(bytes + offset, count).c_str());
  }
}

void Kov_diag_trace::write(Kov_diag_main& diag, const char16_t* prefix, const char16_t* text) {
  const std::size_t indent = current_indent();
  const std::size_t length = nev::nev_wcslen(text);
  Line_buffer line(indent, length);
  char16_t* end = std::copy_n(text, length, start_line(line.begin(), indent, prefix));
  diag.write_built_line(line.begin(), static_cast<std::size_t>(end - line.begin()));
}

}  // namespace kov
