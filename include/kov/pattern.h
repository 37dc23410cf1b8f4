// kov_check_for_pattern: do the bytes of a stream at a position equal a
// given pattern?
//
//   nev::Nev_file_istream file;
//   file.open(u"archive.bin", status);
//   const unsigned char magic[] = {0x50, 0x4B, 0x03, 0x04};
//   bool zip = kov::kov_check_for_pattern(file, 0, magic, 4, status);
//
// The stream is read one byte per compared byte through read_at, which names
// its offset; no position of the stream's own moves, and nothing is buffered,
// so a mismatch at the first byte costs one read.
//
// Threads: the function keeps no state; it may run on several threads at
// once, over one stream too, within the stream's own contract (nev/stream.h).
#pragma once

#include <cstdint>

#include "kov/export.h"
#include "nev/status.h"
#include "nev/stream.h"

namespace kov {

// True when the `length` bytes of `stream` from `offset` on equal `pattern`
// (a zero byte is a byte like any other; a length of 0 matches without any
// read). A stream that ends inside the pattern is a plain mismatch: false with
// a clear status. Any other read failure gives false with 0xC2010907 pushed
// over the read's own code. So the status alone tells "no match" from
// "could not read"; it is cleared first.
KOV_EXPORT bool kov_check_for_pattern(nev::Nev_istream& stream, std::uint64_t offset, const unsigned char* pattern,
                                      std::uint32_t length, nev::Nev_status& status);

}  // namespace kov
