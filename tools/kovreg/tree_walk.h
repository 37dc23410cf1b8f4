// Walking a registry tree for kovreg's query /s and export: a key first,
// then its subkeys in enumeration order, each with everything below it.
//
// The walk keeps its own stack rather than recursing, so the depth of a tree
// costs memory for one frame a level and never the call stack; and it opens
// each key from its parent's open key, so reaching a key is one step,
// however deep it lies, rather than a walk down from the root. Only the keys
// on the way to the current one are open at any time.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "nev/codes.h"
#include "nev/registry.h"
#include "nev/status.h"

namespace kovreg {

// A key met by the walk: open for reading, with its full name for output and
// its depth below the key the walk started at (0 for that key).
struct Walked_key {
  nev::Nev_hkey handle = nullptr;
  std::u16string name;
  std::size_t depth = 0;
};

namespace detail {

struct Walk_frame {
  Walked_key key;
  std::vector<std::u16string> subkeys;
  std::size_t next = 0;
};

// Closes the open keys of the frames on every way out of the walk.
struct Open_frames {
  std::vector<Walk_frame> frames;
  ~Open_frames() {
    for (Walk_frame& frame : frames) nev::nev_reg_close_key(frame.key.handle);
  }
};

// Opens `below` under `base` as `key`; false with the registry's reason in
// `status` (the key not found, or its parent deleted meanwhile).
inline bool open_key(nev::Nev_hkey base, const std::u16string& below, Walked_key& key, nev::Nev_status& status) {
  if (nev::nev_reg_open_key(base, below, 0, nev::NEV_KEY_QUERY_VALUE, &key.handle) == nev::NEV_ERROR_SUCCESS) {
    status.clear();
    return true;
  }
  key.handle = nullptr;
  nev::Nev_object_vector<std::u16string> ignored;
  nev::nev_enum_reg_keys(base, below, u"", ignored, status);
  if (status.ok()) status.assign(nev::NEV_E_REG_KEY_NOT_FOUND, nev::Nev_wstring_status_arg(key.name));
  return false;
}

// The subkey names of the frame's key into the frame.
inline bool list_subkeys(Walk_frame& frame, nev::Nev_status& status) {
  nev::Nev_object_vector<std::u16string> names;
  nev::nev_enum_reg_keys(frame.key.handle, u"", u"", names, status);
  for (const std::u16string* name : names) frame.subkeys.push_back(*name);
  return status.ok();
}

}  // namespace detail

// Calls `visit(const Walked_key&)` for `path` below `root` (named `name` in
// output) and for every key below it down to `max_depth` levels, parents
// before children. `visit` reports its failures in `status` and answers
// false to stop. True when the whole walk was done.
template <class Visit>
bool walk_tree(nev::Nev_hkey root, const std::u16string& path, const std::u16string& name, std::size_t max_depth,
               nev::Nev_status& status, Visit visit) {
  detail::Open_frames open;
  detail::Walk_frame first;
  first.key.name = name;
  if (!detail::open_key(root, path, first.key, status)) return false;
  open.frames.push_back(std::move(first));
  bool fresh = true;  // the frame on top has not been visited yet
  while (!open.frames.empty()) {
    detail::Walk_frame& frame = open.frames.back();
    if (fresh) {
      if (!visit(static_cast<const Walked_key&>(frame.key))) return false;
      if (frame.key.depth < max_depth && !detail::list_subkeys(frame, status)) return false;
      fresh = false;
    }
    if (frame.next == frame.subkeys.size()) {
      nev::nev_reg_close_key(frame.key.handle);
      open.frames.pop_back();
      continue;
    }
    detail::Walk_frame next;
    next.key.name = frame.key.name + u"\\" + frame.subkeys[frame.next];
    next.key.depth = frame.key.depth + 1;
    const bool opened = detail::open_key(frame.key.handle, frame.subkeys[frame.next++], next.key, status);
    if (!opened) return false;
    open.frames.push_back(std::move(next));
    fresh = true;
  }
  return true;
}

}  // namespace kovreg
