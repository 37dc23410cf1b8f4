// Diagnostics: a per-process diagnostic file and console, trace scopes that
// filter by level, and the process-wide diagnostic object.
//
// Kov_diag_main is the sink. It owns one diagnostic file (UTF-16LE, CR LF,
// no byte-order mark) and, for a service that asks for it, the console. The
// file opens when the first line arrives; every new file starts with a
// creation header, and a thread marker stands wherever the writing thread
// changes. It writes whatever it is given: only trace scopes test the level.
//
// Kov_diag_trace is held on a traced function's stack. Its construction and
// destruction write entry and exit lines; between them the function writes
// messages and hex dumps through it. Each line carries a time stamp in
// hundredths of a second and an indentation that follows the thread's depth
// of enabled scopes:
//
//   void run(kov::Kov_diag_main& diag) {
//     kov::Kov_diag_trace scope(u"run", 3, diag);   // [10:15:30:25]  > run
//     scope.trace(u"%d items from %s", 12, u"disk"); // [10:15:30:25]    12 items from disk
//   }                                                // [10:15:30:25]  < run
//
// A scope is enabled when the object's level is not 0 and at least the
// scope's level; the test is made once, at construction. A disabled scope
// costs one read of the level and one test per call.
//
// Kov_diag_global holds the process's one object (made on demand from the
// environment or a service's registry parameters, or handed in by the
// caller) and reads and writes a service's parameters.
//
// Thread safety: any thread may call any operation of one object, writers
// and the configuration's getters and setters alike; a write's header,
// marker and line stand together, and a write opens its file with one
// consistent directory and name. The level is an atomic read without a
// lock. A scope belongs to the thread that made it. No operation reports a
// failure: a file that cannot be opened loses lines, and the next line tries
// again.
#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>

#include "kov/export.h"
#include "nev/file.h"
#include "nev/locks.h"
#include "nev/status.h"
#include "nev/system.h"

namespace kov {

// The values of a service's parameters key (nev_reg_service_parameters_key)
// that the diagnostics read: the file's folder and name template, the trace
// level, and whether the service's object gets a console (exactly 1).
inline constexpr char16_t KOV_DIAG_PATH_VALUE[] = u"DiagFilePath";
inline constexpr char16_t KOV_DIAG_NAME_VALUE[] = u"DiagFileName";
inline constexpr char16_t KOV_DIAG_LEVEL_VALUE[] = u"DiagTraceLevel";
inline constexpr char16_t KOV_DIAG_CONSOLE_VALUE[] = u"DiagEnableConsole";

// The sink of a process's diagnostics: one file and an optional console.
class KOV_EXPORT Kov_diag_main {
 public:
  // Configured from the environment: DGN_FILEPATH (directory, default "."),
  // DGN_FILENAME (name template, default "default.dgn"), DGN_TRACELEVEL
  // (decimal, low 16 bits, default 0). Opens nothing; no console.
  Kov_diag_main();
  // Configured from the registry parameters of `service` on this machine;
  // values that cannot be read keep the defaults. "DiagEnableConsole" of
  // exactly 1 gives the object the console. Opens no file.
  explicit Kov_diag_main(const std::u16string& service);
  // Closes the file and releases the console.
  ~Kov_diag_main();
  Kov_diag_main(const Kov_diag_main&) = delete;
  Kov_diag_main& operator=(const Kov_diag_main&) = delete;

  // The trace level; 0 means tracing is off. Takes no lock: one relaxed
  // atomic load, so a scope's level test stays a plain read.
  std::uint16_t level() const noexcept { return m_level.load(std::memory_order_relaxed); }
  // Stores the level; 0 also closes the file and releases the console.
  void level(std::uint16_t level);
  // The directory of the file, by reference: valid until the directory is
  // next set. A caller that reads it while another thread sets it must
  // order the two itself.
  const std::u16string& path() const;
  // Stores the directory; an open file stays open, the next opening uses it.
  void path(const std::u16string& path);
  // The name template as given, its number field unexpanded, by reference
  // (as path()).
  const std::u16string& name() const;
  // Stores and parses the name template, then closes the file. The first
  // "%" followed by decimal digits is a number field of that many digits:
  // "svc%3.dgn" names svc000.dgn, svc001.dgn, ... A field is never wider than
  // what keeps the formed name within 255 units, the longest file name. The
  // running number is not restarted by a new template. A formed name that holds "/" or "\" is not opened.
  void name(const std::u16string& name);
  // path, name and level with these values, in that order, under one hold
  // of the lock: no file is opened with the new directory and the old name.
  void reset(const std::u16string& path, const std::u16string& name, std::uint16_t level);
  // Ends the current file and releases the console. The next write opens
  // a file again.
  void close();
  // Writes one line (CR LF is added), opening the file first if none is
  // open. Never reports a failure.
  void write(const std::u16string& line);

 private:
  friend class Kov_diag_trace;

  // write for `count` units at `units`.
  void write_units(const char16_t* units, std::size_t count);
  // write for a line that a scope built on its stack with two spare units
  // behind it: when no header or marker has to go first, CR LF is put there
  // and the line goes out from the caller's buffer, uncopied.
  void write_built_line(char16_t* units, std::size_t count);
  // write_units with m_lock held.
  void write_held(const char16_t* units, std::size_t count);
  // Puts `count` units on file and console.
  void write_to_output(const char16_t* text, std::size_t count, nev::Nev_status& status);
  // Forms m_filename from the template and the running number.
  void create_filename();
  // Records the calling thread; true when it differs from the last writer.
  bool is_new_thread();
  // Takes m_lock, trying for a while before blocking.
  void take_lock();
  // Opens the next file and puts its header into m_line; m_lock is held.
  void open_file(nev::Nev_status& status);
  // Appends the marker of m_last_thread to `text`.
  void append_marker(std::u16string& text) const;
  // Takes `name` (leaving the old template in it) and parses its number
  // field; m_lock is held.
  void store_name(std::u16string& name);
  // Closes the file and releases the console; m_lock is held.
  void end_output();

  std::atomic<std::uint16_t> m_level{0};  // read by every scope on every thread
  std::uint16_t m_sequence = 0;  // number of the next numbered file name
  std::uint32_t m_width = 0;     // digits of the number field, 0 when none
  std::uint32_t m_marker = 0;    // index of the "%" that opens the field
  std::uint32_t m_tail = 0;      // index of the first unit behind the field
  std::u16string m_path;
  std::u16string m_name;
  std::u16string m_filename;  // the file name formed for the latest opening
  // Guards the configuration strings and fields, the file, the console and
  // the writing sequence; taken by the getters of path and name too.
  mutable nev::Nev_critical m_lock;
  nev::Nev_file m_file;
  nev::Nev_console m_console = nullptr;
  std::uint32_t m_last_thread = 0;  // id of the last writer; 0 after every opening
  std::u16string m_line;            // what one write puts out, under m_lock
};

namespace detail {
// Whether a call trace(text, Args...) is a dump: a pointer to 8-bit values
// (std::uint8_t, char, std::byte, not bool) and a length that converts to
// std::uint16_t.
template <typename... Args>
constexpr bool is_dump_call() {
  if constexpr (sizeof...(Args) == 2) {
    return []<typename Data, typename Length>(std::type_identity<Data>, std::type_identity<Length>) {
      if constexpr (std::is_pointer_v<Data>) {
        using Byte = std::remove_cv_t<std::remove_pointer_t<Data>>;
        if constexpr (std::is_integral_v<Byte> || std::is_enum_v<Byte>)
          return sizeof(Byte) == 1 && !std::is_same_v<Byte, bool> && std::is_convertible_v<Length, std::uint16_t>;
      }
      return false;
    }(std::type_identity<Args>()...);
  }
  return false;
}
}  // namespace detail

// A trace scope: entry and exit lines, messages and dumps at one level.
class KOV_EXPORT Kov_diag_trace {
 public:
  // Most code units of a formatted message, its terminator included; a
  // longer message is cut to MESSAGE_LIMIT - 1 units.
  static constexpr std::size_t MESSAGE_LIMIT = 1024;

  // Tests `level` against the object's level once; when enabled, the
  // thread's depth goes up and an entry line "> name" is written. `name` is
  // not copied: it must outlive the scope. `diag` must outlive it too.
  Kov_diag_trace(const char16_t* name, std::uint16_t level, Kov_diag_main& diag)
      : m_name_p(name), m_diag_p(&diag), m_enabled(is_enabled(diag.level(), level)) {
    if (m_enabled) enter(diag, name);
  }
  // When enabled, writes the exit line "< name" and lowers the depth.
  ~Kov_diag_trace() {
    if (m_enabled) leave(*m_diag_p, m_name_p);
  }
  Kov_diag_trace(const Kov_diag_trace&) = delete;
  Kov_diag_trace& operator=(const Kov_diag_trace&) = delete;

  // One message line, printf-style on 16-bit text ("%s" takes 16-bit
  // text). Nothing when disabled: the arguments are not looked at. The
  // arguments reach the formatter through a C variable argument list, with
  // its promotions; this template only keeps the disabled test inline (a
  // function with "..." is never inlined). Arguments that fit the dump
  // below (8-bit data and a length) go to the dump, as they always did.
  template <typename... Args>
    requires(!detail::is_dump_call<Args...>())
  void trace(const char16_t* format, Args... args) {
    if (m_enabled) trace_formatted(*m_diag_p, format, args...);
  }
  // A heading line (`text` as it stands, except that "%%" gives one "%":
  // no conversion is made and no argument read), then `length` bytes as
  // rows of 16: hex column of 48 characters, then the printable bytes, "."
  // for the others. `bytes` points to 8-bit values (std::uint8_t, char,
  // std::byte); it is a template so that a message whose first argument is
  // a literal 0, as in trace(u"%d of %d", 0, n), is never taken for a dump
  // of a null pointer.
  template <typename Byte>
    requires(sizeof(Byte) == 1 && (std::is_integral_v<Byte> || std::is_enum_v<Byte>) &&
             !std::is_same_v<std::remove_cv_t<Byte>, bool>)
  void trace(const char16_t* text, Byte* bytes, std::uint16_t length) {
    if (m_enabled) dump(*m_diag_p, text, reinterpret_cast<const std::uint8_t*>(bytes), length);
  }

  // The level rule: an object level of 0 lets nothing through, any other
  // lets through every scope level up to it.
  static constexpr bool is_enabled(std::uint16_t object_level, std::uint16_t scope_level) noexcept {
    return object_level != 0 && object_level >= scope_level;
  }

 private:
  // The work of an enabled scope. These take what they need as arguments,
  // not the scope: a scope whose address never leaves the inline code stays
  // in registers, so a disabled one costs its level test and no more.
  static void enter(Kov_diag_main& diag, const char16_t* name);
  static void leave(Kov_diag_main& diag, const char16_t* name) noexcept;
  static void trace_message(Kov_diag_main& diag, const char16_t* format, std::va_list args);
  static void trace_formatted(Kov_diag_main& diag, const char16_t* format, ...);
  static void dump(Kov_diag_main& diag, const char16_t* text, const std::uint8_t* bytes, std::uint16_t length);
  // Builds one line (time stamp, indentation, prefix, text) and hands it on.
  static void write(Kov_diag_main& diag, const char16_t* prefix, const char16_t* text);

  const char16_t* m_name_p;
  Kov_diag_main* m_diag_p;
  bool m_enabled;
};

// The process-wide diagnostic object, and a service's diagnostic parameters.
//
// The object is made or installed once, at the first global() or
// initialise(), and never destroyed. Threads that make these first calls at
// the same time wait for one of them and all get the same object; after
// that global() is one atomic load.
class KOV_EXPORT Kov_diag_global {
 public:
  // Makes the object from the environment, if there is none.
  static void initialise();
  // Installs the caller's object, if there is none; the caller keeps it
  // alive. Throws std::invalid_argument for a null pointer when there is
  // none yet.
  static void initialise(Kov_diag_main* diag);
  // Makes the object from the service's parameters, if there is none;
  // otherwise re-reads them and resets the object when all three were read.
  static void initialise(const std::u16string& service);
  // The object, made from the environment if there is none. A failed
  // allocation throws std::bad_alloc and leaves no object.
  static Kov_diag_main& global();

  // Reads "DiagFilePath", "DiagFileName" and "DiagTraceLevel" (low 16 bits)
  // of the service's "Parameters" key, on this machine when `machine` is
  // empty. Values not read keep what the caller preset; the first failure
  // ends the reading, with KOV_E_DIAG_READ (or KOV_E_DIAG_READ_MACHINE) on
  // top. Clears `status` first.
  static void get_service_parameters(const std::u16string& machine, const std::u16string& service,
                                     std::u16string& path, std::u16string& name, std::uint16_t& level,
                                     nev::Nev_status& status);
  // Writes the three values in the same order; the first failure ends the
  // writing, with KOV_E_DIAG_WRITE (or KOV_E_DIAG_WRITE_MACHINE) on top.
  // Values already written stay. Clears `status` first.
  static void set_service_parameters(const std::u16string& machine, const std::u16string& service,
                                     const std::u16string& path, const std::u16string& name, std::uint16_t level,
                                     nev::Nev_status& status);

 private:
  static std::atomic<Kov_diag_main*> m_global_p;  // set once, never changed
};

}  // namespace kov
