// resmodule.h - the one entry point of a resource module: its text for a string number.
#pragma once

#include <algorithm>
#include <iterator>

namespace brixres {

struct Text {
  int id;
  const char* text;
};

/// The text of `id` in a table sorted by id, or null.
template <size_t N>
const char* Find(const Text (&table)[N], int id) {
  const Text* end = std::end(table);
  const Text* row =
      std::lower_bound(std::begin(table), end, id, [](const Text& t, int v) { return t.id < v; });
  return row != end && row->id == id ? row->text : nullptr;
}

}  // namespace brixres

/// Exported by every resource module and looked up by name when it is loaded.
extern "C" __attribute__((visibility("default"))) const char* BrixResourceString(int id);
