// Kov_diag_main: the diagnostic file and console.
//
// A file is a sequence of 16-bit code units as they lie in memory, with no
// byte-order mark: a creation header, a thread marker, then lines, each
// ended by CR LF, with a marker wherever the writing thread changes. The
// lock is held across file and console output so that one write's header,
// marker and line stand together.
#include <algorithm>
#include <mutex>

#include "kov/codes.h"
#include "kov/diag.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "nev/time.h"

namespace kov {

namespace {

// Capacity of the line scratch kept between writes, in code units.
constexpr std::size_t LINE_KEEP_CAPACITY = 16384;
// The longest file name the file systems take, in units: a number field is
// never made wider than what leaves the formed name within it.
constexpr std::uint32_t LONGEST_FILE_NAME = 255;
// Attempts at m_lock before a writer blocks on it.
constexpr int LOCK_SPIN_ATTEMPTS = 2000;
const char16_t* const DEFAULT_PATH = u".";
const char16_t* const DEFAULT_NAME = u"default.dgn";
const char16_t* const HEADER_FORMAT = u"**** Diagnostic file created: %A %d %B %Y ****\r\n";
const char16_t* const MARKER_FORMAT = u"**** Switch to thread %.4x ****\r\n";

// The environment variable's value, or `fallback` when it is not set.
std::u16string environment_or(const char16_t* variable, const char16_t* fallback) {
  std::u16string value;
  if (!nev::nev_getenv(variable, value)) return fallback;
  return value;
}

// `number` in decimal in a field of exactly `width` units: padded on the
// left with zeros, or cut to its leading digits when it is wider, as "%0*d"
// into a buffer of `width` units gives it.
std::u16string number_field(std::uint16_t number, std::uint32_t width) {
  char16_t digits[8];
  const int count = nev::nev_swprintf(digits, 8, u"%u", static_cast<unsigned>(number));
  const std::uint32_t length = count > 0 ? static_cast<std::uint32_t>(count) : 0;
  if (length >= width) return std::u16string(digits, width);
  std::u16string field(width - length, u'0');
  field.append(digits, length);
  return field;
}

}  // namespace

Kov_diag_main::Kov_diag_main() : m_lock(false) {
  path(environment_or(u"DGN_FILEPATH", DEFAULT_PATH));
  name(environment_or(u"DGN_FILENAME", DEFAULT_NAME));
  std::u16string level_text;
  const bool has_level = nev::nev_getenv(u"DGN_TRACELEVEL", level_text);
  level(has_level ? static_cast<std::uint16_t>(nev::nev_wtoi(level_text.c_str())) : 0);
}

Kov_diag_main::Kov_diag_main(const std::u16string& service) : m_lock(false) {
  std::u16string service_path = DEFAULT_PATH;
  std::u16string service_name = DEFAULT_NAME;
  std::uint16_t service_level = 0;
  nev::Nev_status status;
  // Whatever was read before a failure counts; the status is not examined.
  Kov_diag_global::get_service_parameters(u"", service, service_path, service_name, service_level, status);
  path(service_path);
  name(service_name);
  level(service_level);

  std::uint32_t console = 0;
  nev::nev_get_reg_uint_parameter(service, KOV_DIAG_CONSOLE_VALUE, console, status);
  if (console == 1) {
    nev::nev_alloc_console();
    m_console = nev::nev_get_std_output();
  }
}

Kov_diag_main::~Kov_diag_main() { close(); }

void Kov_diag_main::level(std::uint16_t level) {
  m_level.store(level, std::memory_order_relaxed);
  if (level == 0) close();
}

const std::u16string& Kov_diag_main::path() const { return m_path; }

void Kov_diag_main::path(const std::u16string& path) {
  // Copied outside the lock; the old text is freed after it is released.
  std::u16string stored = path;
  const std::lock_guard<nev::Nev_critical> hold(m_lock);
  m_path.swap(stored);
}

const std::u16string& Kov_diag_main::name() const { return m_name; }

void Kov_diag_main::name(const std::u16string& name) {
  std::u16string stored = name;
  const std::lock_guard<nev::Nev_critical> hold(m_lock);
  store_name(stored);
  end_output();
}

void Kov_diag_main::reset(const std::u16string& path, const std::u16string& name, std::uint16_t level) {
  // Under one hold of the lock: a writer never opens a file with the new
  // directory and the old name.
  std::u16string stored_path = path;
  std::u16string stored_name = name;
  const std::lock_guard<nev::Nev_critical> hold(m_lock);
  m_path.swap(stored_path);
  store_name(stored_name);
  end_output();
  m_level.store(level, std::memory_order_relaxed);
}

void Kov_diag_main::store_name(std::u16string& name) {
  m_name.swap(name);
  m_width = 0;
  m_marker = 0;
  m_tail = 0;
  const std::size_t marker = m_name.find(u'%');
  if (marker == std::u16string::npos) return;
  std::size_t i = marker + 1;
  // Every digit belongs to the field. Its width is exact while the formed
  // name can exist at all; beyond that it stops where the name reaches the
  // longest file name, so a huge width never builds a huge name (nor one that
  // no file could bear) on every opening.
  while (i < m_name.size() && nev::nev_iswdigit(m_name[i])) {
    m_width = std::min(m_width * 10 + static_cast<std::uint32_t>(m_name[i] - u'0'), LONGEST_FILE_NAME);
    ++i;
  }
  const std::size_t fixed = marker + (m_name.size() - i);
  const std::uint32_t room = fixed < LONGEST_FILE_NAME ? LONGEST_FILE_NAME - static_cast<std::uint32_t>(fixed) : 1;
  m_width = std::min(m_width, room);
  m_marker = static_cast<std::uint32_t>(marker);
  m_tail = static_cast<std::uint32_t>(i);
}

void Kov_diag_main::close() {
  const std::lock_guard<nev::Nev_critical> hold(m_lock);
  end_output();
}

void Kov_diag_main::end_output() {
  if (m_file.is_open()) m_file.close();
  if (m_console != nullptr) {
    nev::nev_free_console();
    m_console = nullptr;
  }
}

void Kov_diag_main::write(const std::u16string& line) { write_units(line.data(), line.size()); }

void Kov_diag_main::write_units(const char16_t* units, std::size_t count) {
  take_lock();
  const std::lock_guard<nev::Nev_critical> hold(m_lock, std::adopt_lock);
  write_held(units, count);
}

void Kov_diag_main::write_built_line(char16_t* units, std::size_t count) {
  take_lock();
  const std::lock_guard<nev::Nev_critical> hold(m_lock, std::adopt_lock);
  // The common case, a further line of the same writer into an open file,
  // skips the copy into m_line: every traced line takes this path.
  if (!m_file.is_open() || nev::nev_current_thread_id() != m_last_thread) {
    write_held(units, count);
    return;
  }
  units[count] = u'\r';
  units[count + 1] = u'\n';
  nev::Nev_status status;
  write_to_output(units, count + 2, status);
}

void Kov_diag_main::write_held(const char16_t* units, std::size_t count) {
  nev::Nev_status status;
  // Header, marker and line are gathered and go out in one Nev_file::write:
  // the file holds exactly what separate writes would give, a line is never
  // split, and a change of writer costs no extra system call.
  m_line.clear();
  if (!m_file.is_open()) open_file(status);
  if (is_new_thread()) append_marker(m_line);
  m_line.append(units, count);
  m_line.append(u"\r\n");
  write_to_output(m_line.data(), m_line.size(), status);
  // A rare long line does not pin its memory for the object's lifetime.
  if (m_line.capacity() > LINE_KEEP_CAPACITY) std::u16string().swap(m_line);
}

void Kov_diag_main::take_lock() {
  // The holder is most often inside one file write of a microsecond or two.
  // Going to sleep and being woken costs more than that, on every change
  // of writer, so a writer tries again for a while before it blocks.
  for (int attempt = 0; attempt < LOCK_SPIN_ATTEMPTS; ++attempt) {
    if (m_lock.try_lock()) return;
  }
  m_lock.lock();
}

void Kov_diag_main::open_file(nev::Nev_status& status) {
  create_filename();
  // The file stays in its directory: a name with a separator is refused,
  // a symbolic link at the file's place is not followed, and a pipe or
  // device there is refused rather than waited on or written to.
  if (m_filename.find_first_of(u"/\\") != std::u16string::npos) {
    status.assign(KOV_E_DIAG_FILE_NAME, nev::Nev_wstring_status_arg(m_filename));
  } else {
    const nev::Nev_path full(m_path, m_filename);
    // Readers (kovdiag follow) may read the file while it is written;
    // Windows enforces the sharing mode.
    constexpr std::uint32_t ATTRIBUTES =
        nev::NEV_FILE_NO_FOLLOW | nev::NEV_FILE_NO_OTHERS | nev::NEV_FILE_REGULAR_ONLY;
    m_file.open(full, nev::NEV_FILE_OPEN_ALWAYS, nev::NEV_FILE_WRITE, ATTRIBUTES, nev::NEV_FILE_SHARE_READ, status,
                nullptr);
  }
  // The header goes out whether the opening succeeded or not: a console
  // shows it even when the file is lost.
  std::u16string header;
  nev::Nev_date::today().to_string(HEADER_FORMAT, header);
  m_line.append(header);
  m_last_thread = 0;
}

void Kov_diag_main::append_marker(std::u16string& text) const {
  char16_t marker[64];
  const int length = nev::nev_swprintf(marker, 64, MARKER_FORMAT, static_cast<unsigned>(m_last_thread));
  if (length > 0) text.append(marker, static_cast<std::size_t>(length));
}

void Kov_diag_main::create_filename() {
  if (m_width == 0) {
    m_filename = m_name;
    return;
  }
  m_filename.assign(m_name, 0, m_marker);
  m_filename.append(number_field(m_sequence, m_width));
  m_filename.append(m_name, m_tail, std::u16string::npos);
  ++m_sequence;  // 65535 wraps to 0
}

bool Kov_diag_main::is_new_thread() {
  const std::uint32_t thread = nev::nev_current_thread_id();
  if (thread == m_last_thread) return false;
  m_last_thread = thread;
  return true;
}

void Kov_diag_main::write_to_output(const char16_t* text, std::size_t count, nev::Nev_status& status) {
  if (m_file.is_open()) m_file.write(text, static_cast<std::uint32_t>(count * sizeof(char16_t)), status);
  if (m_console == nullptr || count == 0) return;
  // A console that takes nothing ends the loop: the rest of the text is
  // dropped rather than holding the lock for ever.
  std::size_t done = 0;
  while (done < count) {
    std::uint32_t written = 0;
    const auto remaining = static_cast<std::uint32_t>(count - done);
    if (!nev::nev_write_console(m_console, text + done, remaining, &written) || written == 0) break;
    done += written;
  }
}

}  // namespace kov
