// sfmstrtab.cpp - the library's built-in string table: every numbered text it uses.
#include "sfm/sfmstrtab.h"

#include <algorithm>
#include <iterator>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "sfmmsgdb.h"

namespace brix::strtab {
namespace {

struct Row {
  int id;
  const char* text;
};

// Kept sorted by id; Builtin() searches it by bisection.
constexpr Row kTable[] = {
#define BRIX_TEXT(number, text) {number, text},
#include "sfmstrtab_en.inc"
#undef BRIX_TEXT
};

static_assert(std::is_sorted(std::begin(kTable), std::end(kTable),
                             [](const Row& a, const Row& b) { return a.id < b.id; }),
              "the string table must stay sorted by id");

}  // namespace

const char* Builtin(int id) {
  const Row* end = std::end(kTable);
  const Row* row =
      std::lower_bound(std::begin(kTable), end, id, [](const Row& r, int v) { return r.id < v; });
  return row != end && row->id == id ? row->text : nullptr;
}

namespace {

// The caches are process-wide and the host may call TR from any thread, so unlike
// the library's objects they take a lock. They are never destroyed, so TR stays
// usable from other objects' static destructors.
struct Registry {
  std::mutex mutex;
  std::vector<std::pair<Lookup, void*>> lookups;  // oldest first
  std::unordered_map<int, SYS_String> byId;
};

struct TextHash {
  using is_transparent = void;
  size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>{}(s); }
};

struct TextCache {
  std::mutex mutex;
  std::unordered_map<std::string, SYS_String, TextHash, std::equal_to<>> byText;
};

Registry& GetRegistry() {
  static Registry* registry = new Registry;
  return *registry;
}

TextCache& GetTextCache() {
  static TextCache* cache = new TextCache;
  return *cache;
}

}  // namespace

void RegisterLookup(Lookup lookup, void* context) {
  if (!lookup) return;
  Registry& r = GetRegistry();
  std::lock_guard lock(r.mutex);
  r.lookups.emplace_back(lookup, context);
  r.byId.clear();
}

void UnregisterLookup(Lookup lookup, void* context) {
  Registry& r = GetRegistry();
  std::lock_guard lock(r.mutex);
  auto it = std::find(r.lookups.begin(), r.lookups.end(), std::make_pair(lookup, context));
  if (it == r.lookups.end()) return;
  r.lookups.erase(it);
  r.byId.clear();
}

void ClearCache() {
  Registry& r = GetRegistry();
  std::lock_guard lock(r.mutex);
  r.byId.clear();
}

}  // namespace brix::strtab

SYS_String TR(int id) {
  using namespace brix::strtab;
  Registry& r = GetRegistry();
  std::lock_guard lock(r.mutex);
  auto cached = r.byId.find(id);
  if (cached != r.byId.end() && cached->second.GetLength() > 0) return cached->second;

  SYS_String text;
  bool found = false;
  for (auto it = r.lookups.rbegin(); it != r.lookups.rend() && !found; ++it)
    found = it->first(it->second, id, text) != 0;
  if (!found) {
    const char* builtin = Builtin(id);
    text = builtin ? builtin : "";
  }
  // An empty result is cached too but looked up again on the next call, by design.
  r.byId[id] = text;
  return text;
}

SYS_String TR(const char* text) {
  using namespace brix::strtab;
  std::string_view key = text ? text : "";
  TextCache& c = GetTextCache();
  std::lock_guard lock(c.mutex);
  auto it = c.byText.find(key);
  if (it == c.byText.end())
    it = c.byText.emplace(std::string(key), SYS_String(key.data(), int(key.size()))).first;
  return it->second;
}
