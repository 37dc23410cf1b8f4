// The kovreg program, run as a user runs it: .reg files in and out, bad
// files refused with their line, and the editing commands.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <tuple>

#include "hive_fixture.h"
#include "nev/platform.h"
#include "nev/registry.h"
#include "nev/strings.h"

using namespace nev;

namespace {

struct Outcome {
  int code = -1;
  std::string output;  // standard output and error together
};

// Runs kovreg with `arguments` (words separated by blanks, taken literally)
// and `input` on its standard input; the hive is the test's.
Outcome kovreg(const std::string& arguments, const std::string& input = "") {
  std::vector<std::string> words;
  std::istringstream split(arguments);
  for (std::string word; split >> word;) words.push_back(word);
  Outcome outcome;
  outcome.code = kov_test::run_program(KOVREG_PATH, words, input, &outcome.output);
  return outcome;
}

void write_file(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

std::string read_file(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

// The UTF-16LE bytes, with the byte-order mark, of 8-bit text.
std::string utf16(const std::string& text) {
  std::string bytes = "\xFF\xFE";
  for (const char c : text) bytes += {c, '\0'};
  return bytes;
}

// The UTF-16LE data of a string value: the units of `text` and a NUL.
std::vector<std::uint8_t> string_data(const std::u16string& text) {
  std::vector<std::uint8_t> data;
  for (const char16_t unit : text + u'\0') data.insert(data.end(), {static_cast<std::uint8_t>(unit & 0xFF),
                                                                     static_cast<std::uint8_t>(unit >> 8)});
  return data;
}

void set_value(const std::u16string& key, const std::u16string& name, std::uint32_t type,
               const std::vector<std::uint8_t>& data) {
  Nev_status status;
  nev_set_reg_value(NEV_HKEY_LOCAL_MACHINE, key, name, type, data, status);
  ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
}

// Everything below HKLM\`key` in `hive`: each key's name, then its values
// as name, type and data bytes in hexadecimal; equal text, equal trees.
std::string dump(const std::string& hive, const std::u16string& key = u"Software") {
  kov_test::set_env("NEV_REGISTRY", hive.c_str());
  Nev_status status;
  std::vector<Nev_reg_value> values;
  nev_enum_reg_values(NEV_HKEY_LOCAL_MACHINE, key, values, status);
  std::string out = "[" + nev_to_utf8(key) + "]\n";
  for (const Nev_reg_value& value : values) {
    out += nev_to_utf8(value.name) + " " + std::to_string(value.type) + " ";
    for (const std::uint8_t byte : value.data) out += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    out += "\n";
  }
  Nev_object_vector<std::u16string> subkeys;
  nev_enum_reg_keys(NEV_HKEY_LOCAL_MACHINE, key, u"", subkeys, status);
  for (const std::u16string* subkey : subkeys) out += dump(hive, key + u"\\" + *subkey);
  return out;
}

// The key to compare after an import of `written` alone: all of Software
// where a fresh hive holds nothing else; on Windows, whose one registry the
// system's own processes write to meanwhile, the written key itself.
std::u16string compared(const std::u16string& written) {
  return kov_test::system_registry() ? written : u"Software";
}

// Expects the tree below HKLM\`key` in the hive `copy` to equal the one in
// `hive`, and leaves `hive` the one in use.
void expect_same_tree(const std::string& hive, const std::string& copy, const std::u16string& key = u"Software") {
  const std::string copied = dump(copy, key);
  EXPECT_EQ(copied, dump(hive, key));
}

// A file with every value type, the way people write them by hand.
const char* const EVERY_TYPE =
    "Windows Registry Editor Version 5.00\r\n"
    "\r\n"
    "; every kind of value\r\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Kov\\All]\r\n"
    "@=\"the default\"\r\n"
    "\"Text\" = \"back\\\\slash \\\"quoted\\\" \xC3\xA9t\xC3\xA9\" ; a comment\r\n"
    "\"Number\"=dword:0000abcd\r\n"
    "\"Short\"=dword:7\r\n"
    "\"Binary\"=hex:de,ad,be,ef,00,01,02,03,04,05,06,07,08,09,0a,0b,0c,0d,0e,0f,10,11,\\\r\n"
    "  12,13,14,15,16,17,18,19,1a,1b,1c,1d,1e,1f\r\n"
    "\"Expand\"=hex(2):25,00,50,00,41,00,54,00,48,00,25,00,00,00\r\n"
    "\"Multi\"=hex(7):61,00,00,00,62,00,63,00,00,00,00,00\r\n"
    "\"Quad\"=hex(b):01,02,03,04,05,06,07,08\r\n"
    "\"None\"=hex(0):\r\n"
    "\"Other\"=hex(4242):01\r\n"
    "\"Gone\"=\"soon\"\r\n"
    "\"Gone\"=-\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Kov\\All\\Child]\r\n"
    "\"Empty\"=\"\"\r\n"
    "\r\n"
    "[HKEY_LOCAL_MACHINE\\Software\\Kov\\Removed]\r\n"
    "\"x\"=dword:1\r\n"
    "[-HKEY_LOCAL_MACHINE\\Software\\Kov\\Removed]\r\n";

}  // namespace

TEST_F(Hive_test, KovregRoundTripsEveryValueType) {
  KOV_SKIP_ON_WINDOWS("compares the hives of several files, and Windows has one registry per machine");
  write_file(folder() + "/all.reg", EVERY_TYPE);
  Outcome outcome = kovreg("import " + folder() + "/all.reg");
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  const std::string original = dump(hive());
  EXPECT_EQ(original,
            "[Software]\n[Software\\Kov]\n[Software\\Kov\\All]\n"
            " 1 7400680065002000640065006600610075006c0074000000\n"
            "Text 1 6200610063006b005c0073006c0061007300680020002200710075006f0074006500640022002000e9007400e9000000\n"
            "Number 4 cdab0000\nShort 4 07000000\n"
            "Binary 3 deadbeef000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f\n"
            "Expand 2 2500500041005400480025000000\nMulti 7 610000006200630000000000\n"
            "Quad 11 0102030405060708\nNone 0 \nOther 16962 01\n"
            "[Software\\Kov\\All\\Child]\nEmpty 1 0000\n");

  // Each dialect written and read back gives the same hive.
  const struct {
    const char* option;
    std::string start;
  } dialects[] = {{"", std::string("\xFF\xFEW\0i\0n\0", 8)},
                  {"--utf8", "Windows Registry Editor Version 5.00\r\n"},
                  {"--regedit4", "REGEDIT4\r\n"}};
  for (const auto& dialect : dialects) {
    SCOPED_TRACE(dialect.option);
    const std::string file = folder() + "/out" + dialect.option + ".reg";
    outcome = kovreg("--hive " + hive() + " export HKLM\\Software " + file + " " + dialect.option);
    ASSERT_EQ(outcome.code, 0) << outcome.output;
    std::ifstream written(file, std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(written), {});
    EXPECT_EQ(bytes.substr(0, dialect.start.size()), dialect.start);
    // CR LF line ends, no line reaching column 80; the first dialect is UTF-16LE.
    const std::size_t unit = dialect.option[0] == 0 ? 2 : 1;
    for (std::size_t start = 0, end; (end = bytes.find('\n', start)) != std::string::npos; start = end + unit) {
      ASSERT_GE(end, start + unit);
      EXPECT_EQ(bytes[end - unit], '\r');
      EXPECT_LT(end - unit - start, 80 * unit);
    }
    const std::string copy = folder() + "/copy" + dialect.option + ".db";
    outcome = kovreg("--hive " + copy + " import " + file);
    ASSERT_EQ(outcome.code, 0) << outcome.output;
    EXPECT_EQ(dump(copy), original);
  }
}

TEST_F(Hive_test, KovregImportsEightBitVersion4Files) {
  // Latin-1 bytes, LF line ends; the string data of hex(2) is 8-bit text.
  write_file(folder() + "/old.reg",
             "REGEDIT4\n\n[HKEY_CURRENT_USER\\Old]\n\"Caf\xE9\"=\"cr\xE8me\"\n"
             "\"Path\"=hex(2):25,50,25,00\n");
  const Outcome outcome = kovreg("import " + folder() + "/old.reg");
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  EXPECT_EQ(text_of(NEV_HKEY_CURRENT_USER, u"Old", u"CAF\u00c9"), u"cr\u00e8me");
  EXPECT_EQ(text_of(NEV_HKEY_CURRENT_USER, u"Old", u"Path"), u"%P%");
}

TEST_F(Hive_test, KovregRefusesBadFilesAndWritesNothing) {
  const std::string good =
      "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Partial]\r\n\"a\"=dword:1\r\n";
  const struct {
    std::string bytes;
    int line;
    const char* reason;
  } files[] = {
      {good + "[HKEY_NOWHERE\\X]\r\n", 5, "HKEY_NOWHERE"},
      {good + "[HKEY_DYN_DATA\\X]\r\n", 5, "HKEY_DYN_DATA"},
      {good + "\"b\"=hex:01,zz,03\r\n", 5, "\"zz\" is no hexadecimal byte"},
      {good + "\"b\"=hex:01,02,\\\r\n  0g\r\n", 5, "\"0g\""},
      {good + "\"b\"=\"never closed\r\n", 5, "not terminated"},
      {good + "\"never closed=\"x\"\r\n", 5, "="},
      {good + "\"b\"=dword:123456789\r\n", 5, "1 to 8 hexadecimal digits"},
      {good + "\"b\"=text\r\n", 5, "no string, dword"},
      {good + "[HKEY_LOCAL_MACHINE\\Software\\Partial]\r\n\"b\"=hex:01,\\\r\n", 6, "past the end"},
      {"REGEDIT4\n\"a\"=\"b\"\n", 2, "outside any section"},
      {"[HKEY_LOCAL_MACHINE\\X]\n", 1, "does not begin with"},
      {good + "[HKEY_LOCAL_MACHINE\\Software\\A]]\r\n", 5, "a key name cannot hold \"]\""},
      {good + "[HKEY_LOCAL_MACHINE\\Software\\A]x]\r\n", 5, "text after the section name"},
      {good + "[HKEY_LOCAL_MACHINE\\Software\\A" + std::string(1, '\0') + "B]\r\n", 5, "key name holds a NUL"},
      {good + "\"a" + std::string(1, '\0') + "b\"=dword:1\r\n", 5, "value name holds a NUL"},
      {utf16(good + "\"b\"=\"c\"\r\n") + "\x41", 6, "odd number of bytes"},
      {utf16(good + "\"b\"=\"c\"") + "\x41", 5, "odd number of bytes"},
  };
  const std::string file = folder() + "/bad.reg";
  for (const auto& row : files) {
    SCOPED_TRACE(row.bytes);
    write_file(file, row.bytes);
    const Outcome outcome = kovreg("import " + file);
    EXPECT_NE(outcome.code, 0);
    EXPECT_NE(outcome.output.find("Line " + std::to_string(row.line) + " of the registry file " + file),
              std::string::npos)
        << outcome.output;
    EXPECT_NE(outcome.output.find(row.reason), std::string::npos) << outcome.output;
    EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"Software\\Partial", u""));
  }
  const Outcome outcome = kovreg("import " + folder() + "/missing.reg");
  EXPECT_NE(outcome.code, 0);
  EXPECT_NE(outcome.output.find("could not be opened"), std::string::npos) << outcome.output;
}

TEST_F(Hive_test, KovregEditsKeysAndValues) {
  const struct {
    std::string arguments, input;
    int code;
    std::string output;
  } steps[] = {
      {"add HKLM\\Software\\Ed /v Name /d hello /f", "", 0, "completed successfully"},
      {"add HKEY_LOCAL_MACHINE\\Software\\Ed /v Count /t REG_DWORD /d 42 /f", "", 0, "completed"},
      {"add HKLM\\Software\\Ed /ve /d dflt /f", "", 0, "completed"},
      {"add HKLM\\Software\\Ed\\Sub", "", 0, "completed"},
      {"query hklm\\software\\ed", "", 0, "    Count    REG_DWORD    0x2a\n"},
      {"query HKLM\\Software\\Ed /ve", "", 0, "(Default)    REG_SZ    dflt"},
      {"query HKLM\\Software\\Ed", "", 0, "\nHKEY_LOCAL_MACHINE\\Software\\Ed\\Sub\n"},
      {"query HKLM\\Software\\Ed /v Missing", "", 1, "does not exist"},
      {"query HKLM\\Software\\Nowhere", "", 1,
       "The registry key HKEY_LOCAL_MACHINE\\Software\\Nowhere does not exist."},
      {"query HKXX\\Software", "", 1, "The registry root HKXX is not held"},
      {"add HKLM\\Software\\Ed /v Count /t REG_DWORD /d 4294967296 /f", "", 2, "no number"},
      {"add HKLM\\Software\\Ed /v Count /t REG_DWORD /d 7", "", 1, "cancelled"},
      {"query HKLM\\Software\\Ed /v Count", "", 0, "0x2a"},
      {"add HKLM\\Software\\Ed /v Count /t REG_DWORD /d 7", "yes", 0, "completed"},
      {"query HKLM\\Software\\Ed /v Count", "", 0, "REG_DWORD    0x7"},
      {"delete HKLM\\Software\\Ed /v Name /f", "", 0, "completed"},
      {"delete HKLM\\Software\\Ed /v Name /f", "", 1, "does not exist"},
      {"delete HKLM /f", "", 1, "not valid"},
      {"--machine far query HKLM\\Software", "", 1, "The machine far cannot be connected"},
      {"export HKLM\\Software\\Ed " + folder() + "/ed.reg", "", 0, "completed"},
      {"export HKLM\\Software\\Ed " + folder() + "/ed.reg", "", 1, "cancelled"},
      {"export HKLM\\Software\\Ed " + folder() + "/ed.reg /y", "", 0, "completed"},
      {"delete HKLM\\Software\\Ed /va /f", "", 0, "completed"},
      {"frobnicate", "", 2, "unknown command"},
  };
  for (const auto& step : steps) {
    const Outcome outcome = kovreg(step.arguments, step.input);
    EXPECT_EQ(outcome.code, step.code) << step.arguments << "\n" << outcome.output;
    EXPECT_NE(outcome.output.find(step.output), std::string::npos) << step.arguments << "\n" << outcome.output;
  }
  // Deleting all values keeps the key and its subkeys; deleting the key takes it.
  std::vector<Nev_reg_value> values;
  Nev_status status;
  nev_enum_reg_values(NEV_HKEY_LOCAL_MACHINE, u"Software\\Ed", values, status);
  EXPECT_STATUS_OK(status);
  EXPECT_TRUE(values.empty());
  EXPECT_TRUE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"Software\\Ed", u"Sub"));
  EXPECT_EQ(kovreg("delete HKLM\\Software\\Ed /f").code, 0);
  EXPECT_FALSE(nev_reg_key_exists(NEV_HKEY_LOCAL_MACHINE, u"Software\\Ed", u""));
}

// The editor writes line breaks inside quoted text as "\\n" and "\\r"; they
// are read as such, every other backslash sequence stays as it stands, and
// export writes line breaks as hex(1), which reads back exactly.
TEST_F(Hive_test, KovregReadsLineBreakEscapesInStrings) {
  write_file(folder() + "/breaks.reg",
             "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Breaks]\r\n"
             "\"Lines\"=\"one\\ntwo\\r\\nthree\\r\"\r\n"
             "\"Other\"=\"a\\tb\\\\nc\\x\"\r\n"
             "\"Line\\nName\"=\"\\\"\\n\\\"\"\r\n");
  Outcome outcome = kovreg("import " + folder() + "/breaks.reg");
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"Software\\Breaks", u"Lines"), u"one\ntwo\r\nthree\r");
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"Software\\Breaks", u"Other"), u"a\\tb\\nc\\x");
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"Software\\Breaks", u"Line\nName"), u"\"\n\"");

  const std::string original = dump(hive(), u"Software\\Breaks");
  const std::string file = folder() + "/again.reg";
  outcome = kovreg("export HKLM\\Software\\Breaks " + file + " --utf8");
  // A name with a line break has no form in the file: nothing is written.
  EXPECT_EQ(outcome.code, 1) << outcome.output;
  EXPECT_NE(outcome.output.find("Line\nName\" of the key HKEY_LOCAL_MACHINE\\Software\\Breaks cannot be written: it "
                                "holds a NUL character or a line break"),
            std::string::npos)
      << outcome.output;
  EXPECT_FALSE(std::ifstream(file).good());
  Nev_status status;
  nev_delete_reg_value(NEV_HKEY_LOCAL_MACHINE, u"Software\\Breaks", u"Line\nName", status);
  ASSERT_EQ(kovreg("export HKLM\\Software\\Breaks " + file + " --utf8").code, 0);
  EXPECT_NE(read_file(file).find("\"Lines\"=hex(1):6f,00,6e,00,65,00,0a,00,"), std::string::npos) << read_file(file);
  ASSERT_EQ(kovreg("--hive " + folder() + "/copy.db import " + file).code, 0);
  expect_same_tree(hive(), folder() + "/copy.db", u"Software\\Breaks");
  EXPECT_NE(original, dump(hive(), u"Software\\Breaks"));  // the name with the break is gone
}

// UTF-8 cannot carry a lone surrogate: such string data goes out as hex(1),
// and a name holding one is refused; UTF-16, the default, carries both.
TEST_F(Hive_test, KovregUtf8ExportKeepsLoneSurrogatesExact) {
  set_value(u"Software\\Lone", u"Lone", NEV_REG_SZ, string_data(std::u16string(u"a\xD800" u"b")));
  set_value(u"Software\\Lone", u"Pair", NEV_REG_SZ, string_data(u"\U0001F600"));
  const std::string file = folder() + "/lone.reg";
  Outcome outcome = kovreg("export HKLM\\Software\\Lone " + file + " --utf8");
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  const std::string bytes = read_file(file);
  EXPECT_NE(bytes.find("\"Lone\"=hex(1):61,00,00,d8,62,00,00,00\r\n"), std::string::npos) << bytes;
  EXPECT_NE(bytes.find("\"Pair\"=\"\xF0\x9F\x98\x80\"\r\n"), std::string::npos) << bytes;
  ASSERT_EQ(kovreg("--hive " + folder() + "/copy.db import " + file).code, 0);
  expect_same_tree(hive(), folder() + "/copy.db", compared(u"Software\\Lone"));

  set_value(u"Software\\Lone", std::u16string(u"n\xDC00"), NEV_REG_DWORD, {1, 0, 0, 0});
  outcome = kovreg("export HKLM\\Software\\Lone " + folder() + "/name.reg --utf8");
  EXPECT_EQ(outcome.code, 1) << outcome.output;
  EXPECT_NE(outcome.output.find("could not be written"), std::string::npos) << outcome.output;
  EXPECT_NE(outcome.output.find("lone surrogate, which UTF-8 cannot carry"), std::string::npos) << outcome.output;
  EXPECT_FALSE(std::ifstream(folder() + "/name.reg").good());

  outcome = kovreg("export HKLM\\Software\\Lone " + folder() + "/wide.reg");
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  ASSERT_EQ(kovreg("--hive " + folder() + "/wide.db import " + folder() + "/wide.reg").code, 0);
  expect_same_tree(hive(), folder() + "/wide.db", compared(u"Software\\Lone"));
}

// Version 4 files are Windows-1252: the euro sign is byte 0x80 both ways;
// REG_SZ text outside the code page goes out as hex(1) (UTF-16LE), and
// names or hex(2)/hex(7) text outside it are refused, as no form holds them.
TEST_F(Hive_test, KovregVersion4IsWindows1252) {
  set_value(u"Software\\Old", u"Euro", NEV_REG_SZ, string_data(u"5 \u20AC \u2018q\u2019 \u00e9"));
  set_value(u"Software\\Old", u"Omega", NEV_REG_SZ, string_data(u"\u03A9"));
  set_value(u"Software\\Old", u"Path", NEV_REG_EXPAND_SZ, string_data(u"%\u20AC%"));
  set_value(u"Software\\Old", u"Caf\u00e9", NEV_REG_MULTI_SZ, string_data(std::u16string(u"\u0160\0", 2)));
  const std::string file = folder() + "/old.reg";
  Outcome outcome = kovreg("export HKLM\\Software\\Old " + file + " --regedit4");
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  const std::string bytes = read_file(file);
  EXPECT_NE(bytes.find("\"Euro\"=\"5 \x80 \x91q\x92 \xE9\"\r\n"), std::string::npos) << bytes;
  EXPECT_NE(bytes.find("\"Omega\"=hex(1):a9,03,00,00\r\n"), std::string::npos) << bytes;
  EXPECT_NE(bytes.find("\"Path\"=hex(2):25,80,25,00\r\n"), std::string::npos) << bytes;
  EXPECT_NE(bytes.find("\"Caf\xE9\"=hex(7):8a,00,00\r\n"), std::string::npos) << bytes;
  ASSERT_EQ(kovreg("--hive " + folder() + "/copy.db import " + file).code, 0);
  expect_same_tree(hive(), folder() + "/copy.db", compared(u"Software\\Old"));

  const struct {
    std::u16string name;
    std::uint32_t type;
    std::u16string text;
    const char* reason;
  } refused[] = {
      {u"\u03A9", NEV_REG_SZ, u"x", "Windows-1252 (a REGEDIT4 file) cannot hold all its characters"},
      {u"Wide", NEV_REG_EXPAND_SZ, u"\u03A9", "string data holds characters that Windows-1252"},
      {u"Wide", NEV_REG_MULTI_SZ, u"\u4E00", "string data holds characters that Windows-1252"},
  };
  for (const auto& row : refused) {
    SCOPED_TRACE(row.reason);
    set_value(u"Software\\Bad", row.name, row.type, string_data(row.text));
    outcome = kovreg("export HKLM\\Software\\Bad " + folder() + "/bad.reg --regedit4");
    EXPECT_EQ(outcome.code, 1) << outcome.output;
    EXPECT_NE(outcome.output.find(row.reason), std::string::npos) << outcome.output;
    EXPECT_FALSE(std::ifstream(folder() + "/bad.reg").good());
    Nev_status status;
    nev_delete_reg_tree(NEV_HKEY_LOCAL_MACHINE, u"Software\\Bad", status);
  }

  // A version 4 file is read as Windows-1252 even where its bytes would
  // pass for UTF-8 ("\xC3\xA9" is two characters, not one).
  write_file(folder() + "/hand.reg",
             "REGEDIT4\r\n\r\n[HKEY_LOCAL_MACHINE\\Software\\Hand]\r\n\"T\"=\"\xC3\xA9 \x80\"\r\n"
             "\"X\"=hex(2):9c,00\r\n");
  outcome = kovreg("import " + folder() + "/hand.reg");
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"Software\\Hand", u"T"), u"\u00C3\u00A9 \u20AC");
  EXPECT_EQ(text_of(NEV_HKEY_LOCAL_MACHINE, u"Software\\Hand", u"X"), u"\u0153");
}

TEST_F(Hive_test, KovregHelpWarnsAboutUtf8ForTheWindowsEditor) {
  const Outcome outcome = kovreg("--help");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_NE(outcome.output.find("reads such a file in its ANSI code page and silently corrupts"), std::string::npos)
      << outcome.output;
}

TEST_F(Hive_test, KovregWalksTheDeepestTreeAndRefusesDeeperFiles) {
  // 512 levels are the most a path may have; the walks reach every level.
  std::string path = "HKEY_LOCAL_MACHINE\\Deep";
  for (int level = 2; level <= 512; ++level) path += "\\L";
  std::string file = "Windows Registry Editor Version 5.00\r\n\r\n[" + path + "]\r\n\"end\"=dword:00000001\r\n";
  write_file(folder() + "/deep.reg", file);
  Outcome outcome = kovreg("import " + folder() + "/deep.reg");
  ASSERT_EQ(outcome.code, 0) << outcome.output.substr(0, 400);
  outcome = kovreg("query HKLM\\Deep /s");
  EXPECT_EQ(outcome.code, 0) << outcome.output.substr(0, 400);
  EXPECT_NE(outcome.output.find(path + "\n    end    REG_DWORD    0x1"), std::string::npos);
  outcome = kovreg("export HKLM\\Deep " + folder() + "/out.reg --utf8 /y");
  ASSERT_EQ(outcome.code, 0) << outcome.output.substr(0, 400);
  std::ifstream written(folder() + "/out.reg", std::ios::binary);
  const std::string bytes(std::istreambuf_iterator<char>(written), {});
  EXPECT_NE(bytes.find("[" + path + "]\r\n\"end\"=dword:00000001"), std::string::npos);

  // One level more is refused, whole, with the depth and the limit.
  file = "Windows Registry Editor Version 5.00\r\n\r\n[HKEY_LOCAL_MACHINE\\Shallow]\r\n\"a\"=dword:1\r\n\r\n[" + path +
         "\\L]\r\n\"end\"=dword:00000001\r\n";
  write_file(folder() + "/deeper.reg", file);
  outcome = kovreg("import " + folder() + "/deeper.reg");
  EXPECT_EQ(outcome.code, 1);
  EXPECT_NE(outcome.output.find("is 513 levels deep, where at most 512 are allowed"), std::string::npos)
      << outcome.output.substr(0, 400);
  EXPECT_EQ(kovreg("query HKLM\\Shallow").code, 1);
}

// Files go both ways between kovreg and the Windows registry editor: what
// kovreg exports, the editor imports (/S) with every value intact; what the
// editor exports (/E) from there, kovreg imports with every value intact.
// The file names are not ASCII: kovreg takes its arguments and opens its
// files in UTF-16, as the editor does.
TEST_F(Hive_test, KovregAndTheWindowsEditorReadEachOthersFiles) {
#ifndef _WIN32
  GTEST_SKIP() << "the Windows registry editor runs on Windows (in CI, under Wine)";
#else
  const std::u16string key = u"Software\\KovEditor" + nev_from_utf8(std::to_string(kov_test::process_id()));
  const std::string key_text = "HKEY_LOCAL_MACHINE\\" + nev_to_utf8(key);
  std::vector<std::uint8_t> binary(3000);
  for (std::size_t i = 0; i < binary.size(); ++i) binary[i] = static_cast<std::uint8_t>(i * 7 + i / 256);
  const std::vector<std::tuple<std::u16string, std::uint32_t, std::vector<std::uint8_t>>> values = {
      {u"", NEV_REG_SZ, string_data(u"d\u00e9faut")},
      {u"Text \u00e9t\u00e9", NEV_REG_SZ, string_data(u"\u20ac \u65e5\u672c \U0001F600 \"q\" back\\slash")},
      {u"Lines", NEV_REG_SZ, string_data(u"one\ntwo\r\nthree")},
      {u"Number", NEV_REG_DWORD, {0xcd, 0xab, 0, 0}},
      {u"Quad", NEV_REG_QWORD, {1, 2, 3, 4, 5, 6, 7, 8}},
      {u"Expand", NEV_REG_EXPAND_SZ, string_data(u"%PATH%\\\u00e9t\u00e9")},
      {u"Multi", NEV_REG_MULTI_SZ, string_data(std::u16string(u"a\0\u00e9t\u00e9\0", 5))},
      {u"None", NEV_REG_NONE, {}},
      {u"Binary", NEV_REG_BINARY, binary},
      {u"Other", 0x4242, {1, 2}},
  };
  for (const auto& [name, type, data] : values) set_value(key, name, type, data);
  set_value(key + u"\\Child", u"Empty", NEV_REG_SZ, string_data(u""));
  const std::string original = dump(hive(), key);
  auto remove_key = [&] {
    Nev_status status;
    nev_delete_reg_tree(NEV_HKEY_LOCAL_MACHINE, key, status);
    ASSERT_TRUE(status.ok()) << nev_to_utf8(nev_status_text(status));
  };
  const std::string ours = nev_to_utf8(kov_test::native_separators(nev_from_utf8(folder() + "/kovreg-\xC3\xA9t\xC3\xA9-\xE2\x82\xAC.reg")));
  const std::string theirs = nev_to_utf8(kov_test::native_separators(nev_from_utf8(folder() + "/\xE6\x97\xA5\xE6\x9C\xAC.reg")));

  Outcome outcome = kovreg("export " + key_text + " " + ours);
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  remove_key();
  std::string output;
  ASSERT_EQ(kov_test::run_program("regedit", {"/S", ours}, "", &output), 0) << output;
  EXPECT_EQ(dump(hive(), key), original) << "imported by the editor";

  ASSERT_EQ(kov_test::run_program("regedit", {"/E", theirs, key_text}, "", &output), 0) << output;
  remove_key();
  outcome = kovreg("import " + theirs);
  ASSERT_EQ(outcome.code, 0) << outcome.output;
  const std::string file = read_file(theirs);
  EXPECT_EQ(dump(hive(), key), original)
      << "exported by the editor:\n" << nev_to_utf8(nev_from_utf16le(file.data(), file.size(), false));
  remove_key();
#endif
}
