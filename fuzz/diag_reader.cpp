// The diagnostic file reader of kovdiag: bytes fed to Line_decoder in
// pieces of sizes the input chooses must give the lines of the whole file
// decoded at once; the thread filter must keep exactly the lines of the
// chosen thread's blocks; next_numbered_path must change only the number.
#include <algorithm>
#include <vector>

#include "diag_reader.h"
#include "fuzz_support.h"

namespace {

void check_decoder(fuzz::Reader& input, const std::string& bytes) {
  std::u16string whole;
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    whole += static_cast<char16_t>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
  }
  std::vector<std::u16string> expected;
  std::size_t start = 0;
  for (std::size_t end = whole.find(u"\r\n"); end != std::u16string::npos; end = whole.find(u"\r\n", start)) {
    expected.push_back(whole.substr(start, end - start));
    start = end + 2;
  }
  kovdiag::Line_decoder decoder;
  std::vector<std::u16string> lines;
  const auto* raw = reinterpret_cast<const std::uint8_t*>(bytes.data());
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t left = bytes.size() - at;
    const std::size_t piece = input.empty() ? left : std::min<std::size_t>(1 + input.byte() % 64, left);
    decoder.feed(raw + at, piece, lines);
    at += piece;
  }
  FUZZ_CHECK(lines == expected);
  FUZZ_CHECK(decoder.rest() == whole.substr(start));
}

void check_filter(std::uint32_t thread, const std::vector<std::u16string>& lines) {
  kovdiag::Thread_filter filter(thread);
  kovdiag::Thread_filter everything(std::nullopt);
  bool inside = false;
  for (const std::u16string& line : lines) {
    FUZZ_CHECK(everything.keep(line));
    bool keep = false;
    if (const auto id = kovdiag::marker_thread(line)) {
      inside = *id == thread;
    } else if (line.rfind(u"**** Diagnostic file created: ", 0) == 0) {
      inside = false;
    } else {
      keep = inside;
    }
    FUZZ_CHECK(filter.keep(line) == keep);
  }
}

void check_next_path(const std::string& path) {
  const std::string next = kovdiag::next_numbered_path(path);
  const std::size_t name_start = path.find_last_of("/\\") == std::string::npos ? 0 : path.find_last_of("/\\") + 1;
  const std::size_t last = path.find_last_of("0123456789");
  if (last == std::string::npos || last < name_start) {
    FUZZ_CHECK(next.empty());
    return;
  }
  FUZZ_CHECK(next.size() == path.size());
  std::size_t first = last;
  while (first > name_start && path[first - 1] >= '0' && path[first - 1] <= '9') --first;
  FUZZ_CHECK(next.compare(0, first, path, 0, first) == 0);
  FUZZ_CHECK(next.compare(last + 1, std::string::npos, path, last + 1) == 0);
  unsigned long number = 0;
  for (std::size_t i = first; i <= last && number <= 65535; ++i) number = number * 10 + static_cast<unsigned>(path[i] - '0');
  const unsigned long following = number >= 65535 ? 0 : number + 1;
  const std::string digits = std::to_string(following);
  const std::size_t width = last - first + 1;
  if (digits.size() <= width) FUZZ_CHECK(std::stoul(next.substr(first, width)) == following);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::Reader input(data, size);
  const std::uint32_t thread = input.u32();
  const std::string pieces = input.bytes(64);
  const std::string bytes = input.rest();
  fuzz::Reader sizes(reinterpret_cast<const std::uint8_t*>(pieces.data()), pieces.size());
  check_decoder(sizes, bytes);

  kovdiag::Line_decoder decoder;
  std::vector<std::u16string> lines;
  decoder.feed(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), lines);
  check_filter(thread, lines);
  check_next_path(bytes.substr(0, bytes.find('\0')));
  return 0;
}
