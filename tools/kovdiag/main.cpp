// kovdiag: diagnostic files and a service's diagnostic parameters, for people.
//
//   kovdiag cat FILE [--thread ID]
//   kovdiag follow FILE [--thread ID] [--for SECONDS] [--lines N]
//   kovdiag config SERVICE [--machine M] [--path P] [--name N] [--level L] [--console on|off]
//   kovdiag show SERVICE [--machine M]
//
// cat prints a diagnostic file (UTF-16LE, CR LF) as UTF-8 with one line per
// "\n". follow does the same and keeps printing as the file grows; when the
// file has no more to give and the next numbered file exists (see
// next_numbered_path), it moves on to that one. It runs until interrupted
// (SIGINT), for --for SECONDS, or until --lines N lines were printed.
// --thread ID (hexadecimal, as in the markers) keeps one thread's lines.
//
// config writes the parameters given and keeps the others as they were
// (a value never set is written as the library's default: ".",
// "default.dgn", 0); show prints them. Exit status: 0 done, 1 failure (its
// text on standard error), 2 usage.
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "diag_reader.h"
#include "kov/diag.h"
#include "nev/codes.h"
#include "nev/file.h"
#include "nev/registry.h"
#include "nev/strings.h"
#include "nev/system.h"

namespace {

const char* const USAGE =
    "usage: kovdiag cat FILE [--thread ID]\n"
    "       kovdiag follow FILE [--thread ID] [--for SECONDS] [--lines N]\n"
    "       kovdiag config SERVICE [--machine M] [--path P] [--name N] [--level L] [--console on|off]\n"
    "       kovdiag show SERVICE [--machine M]\n";

constexpr auto POLL_INTERVAL = std::chrono::milliseconds(100);

volatile std::sig_atomic_t interrupted = 0;
extern "C" void on_interrupt(int) { interrupted = 1; }

struct Usage_error {
  std::string what;
};

// The command line after the command: one operand and "--name value" options.
struct Arguments {
  std::string operand;
  std::map<std::string, std::string> options;
};

Arguments parse(int argc, char** argv, const std::vector<std::string>& allowed) {
  Arguments arguments;
  for (int i = 2; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.rfind("--", 0) == 0) {
      bool known = false;
      for (const auto& option : allowed) known = known || option == word;
      if (!known) throw Usage_error{"unknown option " + word};
      if (i + 1 >= argc) throw Usage_error{word + " needs a value"};
      arguments.options[word] = argv[++i];
    } else if (arguments.operand.empty()) {
      arguments.operand = word;
    } else {
      throw Usage_error{"unexpected " + word};
    }
  }
  if (arguments.operand.empty()) throw Usage_error{"missing operand"};
  return arguments;
}

std::optional<std::string> option(const Arguments& arguments, const std::string& name) {
  const auto found = arguments.options.find(name);
  if (found == arguments.options.end()) return std::nullopt;
  return found->second;
}

unsigned long number_option(const Arguments& arguments, const std::string& name, int base, unsigned long limit) {
  const std::string text = *option(arguments, name);
  char* end = nullptr;
  const unsigned long value = std::strtoul(text.c_str(), &end, base);
  if (text.empty() || *end != '\0' || value > limit || text[0] == '-') {
    throw Usage_error{name + " takes a number up to " + std::to_string(limit)};
  }
  return value;
}

std::optional<std::uint32_t> thread_option(const Arguments& arguments) {
  if (!option(arguments, "--thread")) return std::nullopt;
  return static_cast<std::uint32_t>(number_option(arguments, "--thread", 16, 0xFFFFFFFFul));
}

int report(const nev::Nev_status& status) {
  std::fprintf(stderr, "kovdiag: %s\n", nev::nev_to_utf8(nev::nev_status_text(status)).c_str());
  return 1;
}

// Prints the lines that pass the filter; counts them.
class Printer {
 public:
  explicit Printer(std::optional<std::uint32_t> thread) : m_filter(thread) {}
  void print(const std::vector<std::u16string>& lines, std::optional<unsigned long> limit) {
    for (const auto& line : lines) {
      if (limit && m_printed >= *limit) return;
      if (!m_filter.keep(line)) continue;
      const std::string text = nev::nev_to_utf8(line);
      std::fwrite(text.data(), 1, text.size(), stdout);
      std::fputc('\n', stdout);
      ++m_printed;
    }
    std::fflush(stdout);
  }
  unsigned long printed() const { return m_printed; }

 private:
  kovdiag::Thread_filter m_filter;
  unsigned long m_printed = 0;
};

// Reads the bytes of `path` from `offset` on and prints the whole lines
// they complete, a piece at a time. Returns false with `status` set when
// the file cannot be read.
bool read_from(const std::string& path, std::uint64_t& offset, kovdiag::Line_decoder& decoder, Printer& printer,
               std::optional<unsigned long> limit, nev::Nev_status& status) {
  nev::Nev_file file;
  file.open(nev::nev_from_utf8(path), nev::NEV_FILE_OPEN_EXISTING, nev::NEV_FILE_READ, 0,
            nev::NEV_FILE_SHARE_READ_WRITE, status);
  if (!status.ok()) return false;
  std::vector<std::uint8_t> buffer(65536);
  std::vector<std::u16string> lines;
  for (;;) {
    const std::uint32_t count = file.read_at(offset, buffer.data(), static_cast<std::uint32_t>(buffer.size()), status);
    if (!status.ok()) return false;
    if (count == 0) return true;
    lines.clear();
    decoder.feed(buffer.data(), count, lines);
    printer.print(lines, limit);
    offset += count;
  }
}

int command_cat(const Arguments& arguments) {
  Printer printer(thread_option(arguments));
  kovdiag::Line_decoder decoder;
  std::uint64_t offset = 0;
  nev::Nev_status status;
  if (!read_from(arguments.operand, offset, decoder, printer, std::nullopt, status)) return report(status);
  // Text behind the last line end: a file cut short still shows it.
  if (!decoder.rest().empty()) printer.print({decoder.rest()}, std::nullopt);
  return 0;
}

// The size of the file at `path`; none when it cannot be opened. Through
// Nev_file, whose paths are UTF-16 on Windows, like every path of the tool.
std::optional<std::uint64_t> file_size(const std::string& path) {
  nev::Nev_file file;
  nev::Nev_status status;
  file.open(nev::nev_from_utf8(path), nev::NEV_FILE_OPEN_EXISTING, nev::NEV_FILE_READ, 0,
            nev::NEV_FILE_SHARE_READ_WRITE, status);
  const std::uint64_t size = status.ok() ? file.size(status) : 0;
  if (!status.ok()) return std::nullopt;
  return size;
}

int command_follow(const Arguments& arguments) {
  Printer printer(thread_option(arguments));
  std::optional<unsigned long> limit;
  if (option(arguments, "--lines")) limit = number_option(arguments, "--lines", 10, 0xFFFFFFFFul);
  std::optional<std::chrono::steady_clock::time_point> deadline;
  if (const auto seconds = option(arguments, "--for")) {
    char* end = nullptr;
    const double value = std::strtod(seconds->c_str(), &end);
    if (seconds->empty() || *end != '\0' || !(value >= 0 && value < 1e9)) throw Usage_error{"--for takes seconds"};
    deadline = std::chrono::steady_clock::now() +
               std::chrono::duration_cast<std::chrono::steady_clock::duration>(std::chrono::duration<double>(value));
  }
  std::signal(SIGINT, on_interrupt);

  std::string current = arguments.operand;
  std::uint64_t offset = 0;
  kovdiag::Line_decoder decoder;
  while (!interrupted && !(limit && printer.printed() >= *limit) &&
         !(deadline && std::chrono::steady_clock::now() >= *deadline)) {
    // A file that became shorter was replaced: start it again.
    if (file_size(current).value_or(0) < offset) {
      offset = 0;
      decoder = kovdiag::Line_decoder();
    }
    const std::uint64_t before = offset;
    nev::Nev_status status;
    read_from(current, offset, decoder, printer, limit, status);  // a missing file may appear later
    if (offset != before) continue;
    const std::string next = kovdiag::next_numbered_path(current);
    if (!next.empty() && file_size(next).has_value()) {
      current = next;
      offset = 0;
      decoder = kovdiag::Line_decoder();
      continue;
    }
    std::this_thread::sleep_for(POLL_INTERVAL);
  }
  return 0;
}

// Reads one value of the service's Parameters key. False when it is not
// there; a failure of another kind stays in `status`.
template <typename Value, typename Reader>
bool read_parameter(Reader reader, nev::Nev_hkey root, const std::u16string& service, const std::u16string& name,
                    Value& value, nev::Nev_status& status) {
  reader(root, nev::nev_reg_service_parameters_key(service), u"", name, value, status);
  if (status.ok()) return true;
  if (status.code() == nev::NEV_E_REG_KEY_NOT_FOUND || status.code() == nev::NEV_E_REG_VALUE_NOT_FOUND) {
    status.clear();
  }
  return false;
}

// The four values of a service, each as it is or absent.
struct Parameters {
  std::optional<std::u16string> path;
  std::optional<std::u16string> name;
  std::optional<std::uint32_t> level;
  std::optional<std::uint32_t> console;
};


bool read_parameters(nev::Nev_hkey root, const std::u16string& service, Parameters& out, nev::Nev_status& status) {
  std::u16string text;
  std::uint32_t number = 0;
  if (read_parameter(nev::nev_get_reg_string_value, root, service, kov::KOV_DIAG_PATH_VALUE, text, status)) out.path = text;
  if (!status.ok()) return false;
  if (read_parameter(nev::nev_get_reg_string_value, root, service, kov::KOV_DIAG_NAME_VALUE, text, status)) out.name = text;
  if (!status.ok()) return false;
  if (read_parameter(nev::nev_get_reg_uint_value, root, service, kov::KOV_DIAG_LEVEL_VALUE, number, status)) {
    out.level = number;
  }
  if (!status.ok()) return false;
  if (read_parameter(nev::nev_get_reg_uint_value, root, service, kov::KOV_DIAG_CONSOLE_VALUE, number, status)) {
    out.console = number;
  }
  return status.ok();
}

int command_show(const Arguments& arguments) {
  const std::u16string machine = nev::nev_from_utf8(option(arguments, "--machine").value_or(""));
  const std::u16string service = nev::nev_from_utf8(arguments.operand);
  nev::Nev_status status;
  const nev::Nev_reg_connection root(machine, nev::NEV_HKEY_LOCAL_MACHINE, status);
  if (!status.ok()) return report(status);
  Parameters parameters;
  if (!read_parameters(root.get(), service, parameters, status)) return report(status);
  const auto text = [](const std::optional<std::u16string>& value) {
    return value ? nev::nev_to_utf8(*value) : std::string("(not set)");
  };
  const auto number = [](const std::optional<std::uint32_t>& value) {
    return value ? std::to_string(*value) : std::string("(not set)");
  };
  std::printf("DiagFilePath       %s\n", text(parameters.path).c_str());
  std::printf("DiagFileName       %s\n", text(parameters.name).c_str());
  std::printf("DiagTraceLevel     %s\n", number(parameters.level).c_str());
  std::printf("DiagEnableConsole  %s\n",
              parameters.console ? (*parameters.console == 1 ? "on" : "off") : "(not set)");
  return 0;
}

int command_config(const Arguments& arguments) {
  const std::u16string machine = nev::nev_from_utf8(option(arguments, "--machine").value_or(""));
  const std::u16string service = nev::nev_from_utf8(arguments.operand);
  const auto path = option(arguments, "--path");
  const auto name = option(arguments, "--name");
  const auto console = option(arguments, "--console");
  std::optional<std::uint16_t> level;
  if (option(arguments, "--level")) level = static_cast<std::uint16_t>(number_option(arguments, "--level", 10, 65535));
  if (console && *console != "on" && *console != "off") throw Usage_error{"--console takes on or off"};
  if (!path && !name && !level && !console) throw Usage_error{"nothing to configure"};

  nev::Nev_status status;
  if (path || name || level) {
    Parameters current;
    {
      const nev::Nev_reg_connection root(machine, nev::NEV_HKEY_LOCAL_MACHINE, status);
      if (!status.ok() || !read_parameters(root.get(), service, current, status)) return report(status);
    }
    const std::u16string new_path = path ? nev::nev_from_utf8(*path) : current.path.value_or(u".");
    const std::u16string new_name = name ? nev::nev_from_utf8(*name) : current.name.value_or(u"default.dgn");
    const std::uint16_t new_level = level ? *level : static_cast<std::uint16_t>(current.level.value_or(0));
    kov::Kov_diag_global::set_service_parameters(machine, service, new_path, new_name, new_level, status);
    if (!status.ok()) return report(status);
  }
  if (console) {
    const nev::Nev_reg_connection root(machine, nev::NEV_HKEY_LOCAL_MACHINE, status);
    if (!status.ok()) return report(status);
    nev::nev_set_reg_uint_value(root.get(), nev::nev_reg_service_parameters_key(service), u"", kov::KOV_DIAG_CONSOLE_VALUE,
                                *console == "on" ? 1 : 0, status);
    if (!status.ok()) return report(status);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  nev::Nev_utf8_arguments arguments(argc, argv);  // every character, on Windows too
  argc = arguments.count();
  argv = arguments.argv();
  if (argc < 2) {
    std::fputs(USAGE, stderr);
    return 2;
  }
  const std::string command = argv[1];
  try {
    if (command == "cat") return command_cat(parse(argc, argv, {"--thread"}));
    if (command == "follow") return command_follow(parse(argc, argv, {"--thread", "--for", "--lines"}));
    if (command == "show") return command_show(parse(argc, argv, {"--machine"}));
    if (command == "config") {
      return command_config(parse(argc, argv, {"--machine", "--path", "--name", "--level", "--console"}));
    }
    throw Usage_error{"unknown command " + command};
  } catch (const Usage_error& error) {
    std::fprintf(stderr, "kovdiag: %s\n%s", error.what.c_str(), USAGE);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kovdiag: %s\n", error.what());
    return 1;
  }
}
