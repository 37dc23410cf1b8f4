// The kovreg program, run as a user runs it: .reg files in and out, bad
// files refused with their line, and the editing commands.
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "hive_fixture.h"
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
