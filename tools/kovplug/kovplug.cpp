// kovplug: installs, lists and checks plug-ins in the registry.
//
//   kovplug list TYPE
//   kovplug create PLUGIN TYPE [--interface V] [--implementation V]
//   kovplug register PLUGIN TYPE LIBRARY [--display-name T] [--interface V]
//                    [--implementation V] [--library-version V]
//                    (LIBRARY is stored as its canonical absolute path)
//   kovplug unregister PLUGIN [TYPE]
//   kovplug --machine M COMMAND ...   the same on the named machine M
//
// --machine M works on M's hive where NEV_REGISTRY_MACHINES places it (a
// folder holding M.db, or an etcd location holding M under its prefix), as
// if it were this machine's: the plug-in functions read this machine's
// registry only.
// TYPE is a type identifier in braces; versions are written major.minor (a
// bare major means minor 0). Failures are printed as readable status text;
// the exit code is 0 on success, 1 on a failure, 2 on a usage error.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "kov/plugin.h"
#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"
#include "nev/strings.h"
#include "nev/system.h"

namespace {

constexpr const char* USAGE =
    "usage:\n"
    "  kovplug list TYPE\n"
    "  kovplug create PLUGIN TYPE [--interface V] [--implementation V]\n"
    "  kovplug register PLUGIN TYPE LIBRARY [--display-name T] [--interface V]\n"
    "                   [--implementation V] [--library-version V]\n"
    "  kovplug unregister PLUGIN [TYPE]\n"
    "  kovplug --machine M COMMAND ...  (M's hive, found through NEV_REGISTRY_MACHINES)\n"
    "TYPE is {XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}; versions are major.minor.\n";

// A mistake on the command line; its text goes to the user with the usage.
struct Usage_error {
  std::string text;
};

void print(std::FILE* stream, const std::u16string& text) { std::fputs(nev::nev_to_utf8(text).c_str(), stream); }

// Parses "major.minor" or "major" into a version number.
std::uint32_t parse_version(const std::string& text) {
  const std::size_t dot = text.find('.');
  const std::string major = text.substr(0, dot);
  const std::string minor = dot == std::string::npos ? "0" : text.substr(dot + 1);
  auto half = [&](const std::string& part) {
    if (part.empty() || part.size() > 5 || part.find_first_not_of("0123456789") != std::string::npos)
      throw Usage_error{"not a version (major.minor): " + text};
    const unsigned long value = std::stoul(part);
    if (value > 0xFFFF) throw Usage_error{"version part above 65535: " + text};
    return static_cast<std::uint32_t>(value);
  };
  return half(major) << 16 | half(minor);
}

std::string show_version(std::uint32_t version) {
  return std::to_string(version >> 16) + "." + std::to_string(version & 0xFFFF);
}

// Parses a type identifier; the all-zero answer of a text that does not
// parse is refused.
_GUID parse_type(const std::string& text) {
  _GUID type{};
  kov::kov_string_to_type(nev::nev_from_utf8(text), type);
  if (kov::kov_is_equal_type(type, _GUID{})) throw Usage_error{"not a type identifier: " + text};
  return type;
}

// A plug-in name as the registry holds it: one key below the plug-in root.
// An empty name would address the root itself, and a "\" would reach
// into another plug-in's keys, so both are refused before anything happens.
std::u16string plugin_name(const std::string& text) {
  if (text.empty()) throw Usage_error{"the plug-in name is empty"};
  if (text.find('\\') != std::string::npos) throw Usage_error{"a plug-in name cannot hold \"\\\": " + text};
  return nev::nev_from_utf8(text);
}

// Positional arguments and "--name value" options.
struct Arguments {
  std::vector<std::string> positional;
  std::map<std::string, std::string> options;
};

Arguments split_arguments(int argc, char** argv, const std::vector<std::string>& known_options) {
  Arguments args;
  for (int i = 2; i < argc; ++i) {
    const std::string word = argv[i];
    if (word.rfind("--", 0) != 0) {
      args.positional.push_back(word);
      continue;
    }
    bool known = false;
    for (const std::string& option : known_options) known = known || option == word;
    if (!known) throw Usage_error{"unknown option " + word};
    if (i + 1 >= argc) throw Usage_error{"option " + word + " needs a value"};
    args.options[word] = argv[++i];
  }
  return args;
}

void expect_count(const Arguments& args, std::size_t least, std::size_t most) {
  if (args.positional.size() < least || args.positional.size() > most)
    throw Usage_error{"wrong number of arguments"};
}

std::uint32_t version_option(const Arguments& args, const std::string& name, std::uint32_t fallback) {
  const auto found = args.options.find(name);
  return found == args.options.end() ? fallback : parse_version(found->second);
}

int fail(const nev::Nev_status& status) {
  print(stderr, nev::nev_status_text(status) + u"\n");
  return 1;
}

int list(const Arguments& args) {
  expect_count(args, 1, 1);
  const _GUID type = parse_type(args.positional[0]);
  nev::Nev_object_vector<std::u16string> names;
  nev::Nev_object_vector<std::u16string> display_names;
  nev::Nev_status status;
  kov::kov_plugin_enumerate(type, names, display_names, status);
  std::size_t width = 0;
  for (const std::u16string* name : names) width = std::max(width, name->size());
  for (unsigned i = 0; i < names.size(); ++i)
    print(stdout, names[i] + std::u16string(width - names[i].size() + 2, u' ') + display_names[i] + u"\n");
  return status.ok() ? 0 : fail(status);
}

int create(const Arguments& args) {
  expect_count(args, 2, 2);
  const std::u16string plugin = plugin_name(args.positional[0]);
  const _GUID type = parse_type(args.positional[1]);
  const std::uint32_t interface_version = version_option(args, "--interface", 0);
  const std::uint32_t implementation_version = version_option(args, "--implementation", 0);
  gan::Gan_base* object = nullptr;
  nev::Nev_status status;
  kov::kov_plugin_create_instance(plugin, type, interface_version, implementation_version, object, status);
  if (!status.ok()) return fail(status);
  if (status.code() != 0) print(stdout, nev::nev_status_text(status) + u"\n");
  std::u16string type_text;
  kov::kov_type_to_string(object->type(), type_text);
  print(stdout, u"Created " + std::u16string(object->description()) + u" (type " + type_text + u", interface " +
                    nev::nev_from_utf8(show_version(object->interface_version())) + u", implementation " +
                    nev::nev_from_utf8(show_version(object->implementation_version())) + u") from the plug-in " +
                    plugin + u".\n");
  kov::Kov_plugin_deallocator().deallocate(object);
  return 0;
}

int register_plugin(const Arguments& args) {
  expect_count(args, 3, 3);
  std::u16string type_text;
  kov::kov_type_to_string(parse_type(args.positional[1]), type_text);
  const std::u16string key =
      kov::kov_make_path(kov::PLUGIN_ROOT_KEY, plugin_name(args.positional[0]), type_text);
  // Every version is parsed before anything is written.
  std::vector<std::pair<const char16_t*, std::uint32_t>> numbers;
  numbers.emplace_back(u"LibraryVersion", version_option(args, "--library-version", kov::PLUGIN_LIBRARY_VERSION));
  if (args.options.count("--interface"))
    numbers.emplace_back(u"InterfaceVersion", version_option(args, "--interface", 0));
  if (args.options.count("--implementation"))
    numbers.emplace_back(u"ImplementationVersion", version_option(args, "--implementation", 0));
  // The library is stored by its canonical absolute path: creation loads
  // nothing by a relative one.
  // The argument is UTF-8, and goes in and out of the path as UTF-8: a
  // narrow string would be taken in the ANSI code page on Windows.
  std::error_code error;
  const std::string& given = args.positional[2];
  const std::filesystem::path library =
      std::filesystem::canonical(std::filesystem::path(std::u8string(given.begin(), given.end())), error);
  const std::u8string canonical = library.u8string();
  const std::u16string library_text = nev::nev_from_utf8(std::string(canonical.begin(), canonical.end()));
  nev::Nev_status status;
  if (error) {
    status.assign(nev::NEV_E_FILE_OPEN, nev::Nev_wstring_status_arg(nev::nev_from_utf8(args.positional[2])),
                  nev::Nev_wstring_status_arg(nev::nev_from_utf8(error.message())));
    return fail(status);
  }
  nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"ImagePath", library_text, status);
  if (status.ok() && args.options.count("--display-name"))
    nev::nev_set_reg_string_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", u"DisplayName",
                                  nev::nev_from_utf8(args.options.at("--display-name")), status);
  for (const auto& [name, value] : numbers)
    if (status.ok()) nev::nev_set_reg_uint_value(nev::NEV_HKEY_LOCAL_MACHINE, key, u"", name, value, status);
  return status.ok() ? 0 : fail(status);
}

int unregister(const Arguments& args) {
  expect_count(args, 1, 2);
  std::u16string key = kov::PLUGIN_ROOT_KEY + (u"\\" + plugin_name(args.positional[0]));
  if (args.positional.size() == 2) {
    std::u16string type_text;
    kov::kov_type_to_string(parse_type(args.positional[1]), type_text);
    key += u"\\" + type_text;
  }
  nev::Nev_status status;
  nev::nev_delete_reg_tree(nev::NEV_HKEY_LOCAL_MACHINE, key, status);
  return status.ok() ? 0 : fail(status);
}

// Makes the hive of machine `machine` this process's hive; false, with the
// failure printed, when the machine cannot be connected.
bool use_machine(const std::string& machine) {
  const char* machines = std::getenv("NEV_REGISTRY_MACHINES");
  if (machines == nullptr || *machines == '\0') throw Usage_error{"--machine needs NEV_REGISTRY_MACHINES"};
  // Set before the registry's first use, which resolves the locations.
  const std::string location = std::string(machines);
  const bool store = location.rfind("etcd://", 0) == 0;
  nev::nev_setenv(u"NEV_REGISTRY", nev::nev_from_utf8(location + "/" + machine + (store ? "" : ".db")));
  nev::Nev_status status;
  const nev::Nev_hkey root = nev::nev_connect_reg_root(nev::nev_from_utf8(machine), nev::NEV_HKEY_LOCAL_MACHINE, status);
  if (root == nullptr) {
    print(stderr, nev::nev_status_text(status) + u"\n");
    return false;
  }
  nev::nev_disconnect_reg_root(root, status);
  return true;
}

int run(int argc, char** argv) {
  if (argc >= 3 && std::string(argv[1]) == "--machine") {
    if (!use_machine(argv[2])) return 1;
    argv[2] = argv[0];
    return run(argc - 2, argv + 2);
  }
  if (argc < 2) throw Usage_error{"no command"};
  const std::string command = argv[1];
  const std::vector<std::string> versions = {"--interface", "--implementation"};
  if (command == "list") return list(split_arguments(argc, argv, {}));
  if (command == "create") return create(split_arguments(argc, argv, versions));
  if (command == "register")
    return register_plugin(split_arguments(
        argc, argv, {"--display-name", "--interface", "--implementation", "--library-version"}));
  if (command == "unregister") return unregister(split_arguments(argc, argv, {}));
  if (command == "--help" || command == "-h" || command == "help") {
    std::fputs(USAGE, stdout);
    return 0;
  }
  throw Usage_error{"unknown command " + command};
}

}  // namespace

int main(int argc, char** argv) {
  nev::Nev_utf8_arguments arguments(argc, argv);  // every character, on Windows too
  argc = arguments.count();
  argv = arguments.argv();
  try {
    return run(argc, argv);
  } catch (const Usage_error& error) {
    std::fprintf(stderr, "kovplug: %s\n%s", error.text.c_str(), USAGE);
    return 2;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kovplug: %s\n", error.what());
    return 1;
  }
}
