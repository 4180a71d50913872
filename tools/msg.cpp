// msg.cpp - brixsys msg: message files on the command line: check, look up, list, dump and
// re-save.
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "sfmmsgdb.h"
#include "sysstring.h"
#include "toolmain.h"

namespace brixtool {

const char kMsgUsage[] =
    "usage: brixsys msg check FILE\n"
    "       brixsys msg get FILE KEY\n"
    "       brixsys msg sections FILE\n"
    "       brixsys msg dump FILE [SECTION]\n"
    "       brixsys msg save IN OUT\n"
    "\n"
    "Message files hold \";\" comments, \"[Name]\" section headers and \"number:text\"\n"
    "lines. Message n of a section has the key base + n; messages before the first\n"
    "section have key = number.\n"
    "\n"
    "  check     report rejected lines (exit 1 if any) and repeated names and keys\n"
    "  get       print the text of KEY, a key number or SECTION:NUMBER\n"
    "  sections  list every section: name, base, message count\n"
    "  dump      print key, number and text of every message, section by section\n"
    "  save      write IN again as OUT, without comments and rejected lines\n"
    "\n"
    "Exit status: 0 done, 1 failed or problems found, 2 usage error.\n";

}  // namespace brixtool

namespace {

using brixtool::ErrnoReason;
using brixtool::Fail;
using brixtool::Note;
using brixtool::Progress;
using brixtool::kExitFailed;
using brixtool::kExitOk;
using brixtool::Plural;
using brixtool::UsageError;

// Keys are 32-bit and wrap, as the database computes them.
int32_t AddKey(int32_t a, int32_t b) { return int32_t(uint32_t(a) + uint32_t(b)); }

// A whole decimal number in the 32-bit range: optional sign, digits, nothing else.
std::optional<int32_t> ParseInt32(const std::string& text) {
  size_t digits = text.find_first_not_of("+-") == 1 ? 1 : 0;
  if (text.size() <= digits || text.find_first_not_of("0123456789", digits) != std::string::npos)
    return std::nullopt;
  errno = 0;
  long long value = strtoll(text.c_str(), nullptr, 10);
  if (errno == ERANGE || value < INT32_MIN || value > INT32_MAX) return std::nullopt;
  return int32_t(value);
}

bool SameName(const std::string& a, const std::string& b) {
  return SYS_StrNoCase(SYS_String(a.data(), int(a.size()))) ==
         SYS_StrNoCase(SYS_String(b.data(), int(b.size())));
}

// The accepted records of a file, as far as keys go: the sections in file order with
// the message numbers each holds (repeats included), and the messages before the first
// section (base 0).
struct Section {
  std::string name;
  int32_t base = 0;
  std::vector<int32_t> numbers;  // file order
};

struct Catalogue {
  Section loose;
  std::vector<Section> sections;

  // The section that name lookups find: the first of that name, letter case ignored.
  const Section* Find(const std::string& name) const {
    for (const Section& s : sections)
      if (SameName(s.name, name)) return &s;
    return nullptr;
  }

  bool HasKey(int32_t key) const {
    auto holds = [key](const Section& s) {
      for (int32_t n : s.numbers)
        if (AddKey(s.base, n) == key) return true;
      return false;
    };
    if (holds(loose)) return true;
    for (const Section& s : sections)
      if (AddKey(0, -s.base) == key || holds(s)) return true;
    return false;
  }
};

// An indexed message file with what indexing reported.
struct Loaded {
  std::unique_ptr<SFM_MessageDB> db;
  std::string diagnostics;  // the rejected-line reports, one per line
  int rejected = 0;
  Catalogue catalogue;
};

// Runs `index` with standard output going to a temporary file and returns what it
// printed: the database reports rejected lines there and nowhere else.
template <class F>
std::optional<std::string> CaptureStdout(F&& index) {
  fflush(stdout);
  FILE* capture = tmpfile();
  int saved = capture ? dup(STDOUT_FILENO) : -1;
  if (saved < 0 || dup2(fileno(capture), STDOUT_FILENO) < 0) {
    if (saved >= 0) close(saved);
    if (capture) fclose(capture);
    return std::nullopt;
  }
  index();
  fflush(stdout);
  dup2(saved, STDOUT_FILENO);
  close(saved);
  std::string text;
  rewind(capture);
  char buffer[4096];
  for (size_t got; (got = fread(buffer, 1, sizeof buffer, capture)) > 0;) text.append(buffer, got);
  fclose(capture);
  return text;
}

// Rebuilds the key layout from a saved copy, which holds exactly the accepted records
// in file order as "[Name]" and "number:text" lines. Bases follow the file format's rule:
// two above the highest key so far, the header itself reserving its base.
bool ReadCatalogue(const SFM_MessageDB& db, Catalogue& out, std::string& error) {
  const char* tmp = getenv("TMPDIR");
  std::string dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/brixsys-msg.XXXXXX";
  if (!mkdtemp(dir.data())) {
    error = "cannot create a temporary directory: " + std::string(strerror(errno));
    return false;
  }
  std::string copy = dir + "/records";
  bool saved = db.Save(copy.c_str()) != 0;
  std::ifstream in(copy, std::ios::binary);
  int32_t highest = 0;
  Section* current = &out.loose;
  for (std::string line; saved && std::getline(in, line);) {
    if (!line.empty() && line[0] == '[') {
      Section s;
      s.name = line.substr(1, line.size() - 2);
      s.base = AddKey(highest, 2);
      highest = s.base;
      out.sections.push_back(std::move(s));
      current = &out.sections.back();
      continue;
    }
    int32_t number = ParseInt32(line.substr(0, line.find(':'))).value_or(0);
    int32_t key = AddKey(current->base, number);
    highest = std::max(highest, key);
    current->numbers.push_back(number);
  }
  in.close();
  unlink(copy.c_str());
  rmdir(dir.c_str());
  if (!saved) error = "cannot copy the records to " + dir;
  return saved;
}

// Opens and indexes `file`; on failure prints why and returns null.
std::unique_ptr<Loaded> Load(const char* file, bool noteRejected) {
  struct stat info;
  if (stat(file, &info) != 0) {
    Fail(std::string(file) + ": " + strerror(errno));
    return nullptr;
  }
  if (S_ISDIR(info.st_mode)) {
    Fail(std::string(file) + ": is a directory");
    return nullptr;
  }
  auto loaded = std::make_unique<Loaded>();
  // Indexing is one call into the library: a large file shows its name while it runs.
  constexpr off_t kLargeFile = 16 << 20;
  std::optional<std::string> diagnostics;
  {
    Progress progress("indexing " + std::string(file), 0, info.st_size >= kLargeFile);
    diagnostics = CaptureStdout([&] { loaded->db = std::make_unique<SFM_MessageDB>(file, 1); });
  }
  if (!diagnostics) {
    Fail("cannot create a temporary file: " + std::string(strerror(errno)));
    return nullptr;
  }
  if (!loaded->db->IsValid()) {
    Fail(std::string(file) + ": cannot open");
    return nullptr;
  }
  loaded->diagnostics = std::move(*diagnostics);
  loaded->rejected = int(std::count(loaded->diagnostics.begin(), loaded->diagnostics.end(), '\n'));
  std::string error;
  if (!ReadCatalogue(*loaded->db, loaded->catalogue, error)) {
    Fail(error);
    return nullptr;
  }
  if (noteRejected && loaded->rejected > 0)
    Note(std::string(file) + ": " + Plural(loaded->rejected, "line") +
         " rejected (see brixsys msg check)");
  return loaded;
}

int Check(const char* file) {
  auto loaded = Load(file, false);
  if (!loaded) return kExitFailed;
  fputs(loaded->diagnostics.c_str(), stdout);

  const Catalogue& c = loaded->catalogue;
  int warnings = 0;
  long messages = long(c.loose.numbers.size());
  std::map<int32_t, int> uses;
  auto count = [&uses](const Section& s) {
    for (int32_t n : s.numbers) ++uses[AddKey(s.base, n)];
  };
  count(c.loose);
  for (size_t i = 0; i < c.sections.size(); ++i) {
    const Section& s = c.sections[i];
    messages += long(s.numbers.size());
    count(s);
    if (c.Find(s.name) != &s) {
      printf(
          "%s : warning : section \"%s\" repeats an earlier name; lookups by name find the "
          "first\n",
          file, s.name.c_str());
      ++warnings;
    }
  }
  for (const auto& [key, times] : uses) {
    if (times < 2) continue;
    printf("%s : warning : key %d is given %d times; the last text wins\n", file, int(key), times);
    ++warnings;
  }
  printf("%s: %s, %s, %s, %s\n", file, Plural(long(c.sections.size()), "section").c_str(),
         Plural(messages, "message").c_str(), Plural(loaded->rejected, "rejected line").c_str(),
         Plural(warnings, "warning").c_str());
  return loaded->rejected > 0 ? kExitFailed : kExitOk;
}

int Get(const char* file, const std::string& keyText) {
  // Checked before the file is read, so that a bad key is always a usage error.
  std::optional<int32_t> key = ParseInt32(keyText);
  std::string sectionName;
  std::optional<int32_t> number;
  if (!key) {
    size_t colon = keyText.rfind(':');
    if (colon != std::string::npos) {
      sectionName = keyText.substr(0, colon);
      number = ParseInt32(keyText.substr(colon + 1));
    }
    if (!number) return UsageError("bad key \"" + keyText + "\": want a number or SECTION:NUMBER");
  }
  auto loaded = Load(file, true);
  if (!loaded) return kExitFailed;
  if (!key) {
    const Section* s = loaded->catalogue.Find(sectionName);
    if (!s) return Fail(std::string(file) + ": no section \"" + sectionName + "\"");
    key = AddKey(s->base, *number);
  }
  if (!loaded->catalogue.HasKey(*key))
    return Fail(std::string(file) + ": no message with key " + std::to_string(*key));
  SYS_String text = loaded->db->getTxt(*key);
  fwrite(static_cast<const char*>(text), 1, size_t(text.GetLength()), stdout);
  fputc('\n', stdout);
  return kExitOk;
}

int Sections(const char* file) {
  auto loaded = Load(file, true);
  if (!loaded) return kExitFailed;
  size_t width = 0;
  for (const Section& s : loaded->catalogue.sections) width = std::max(width, s.name.size());
  for (const Section& s : loaded->catalogue.sections)
    printf("%-*s %11d %6zu\n", int(width), s.name.c_str(), int(s.base), s.numbers.size());
  return kExitOk;
}

// The distinct numbers of a section in ascending order, each with its key and the text
// the database returns for that key.
void DumpMessages(const SFM_MessageDB& db, const Section& s) {
  std::vector<int32_t> numbers = s.numbers;
  std::sort(numbers.begin(), numbers.end());
  numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
  for (int32_t n : numbers) {
    int32_t key = AddKey(s.base, n);
    SYS_String text = db.getTxt(key);
    printf("%d\t%d\t", int(key), int(n));
    fwrite(static_cast<const char*>(text), 1, size_t(text.GetLength()), stdout);
    fputc('\n', stdout);
  }
}

void DumpSection(const SFM_MessageDB& db, const Section& s) {
  printf("[%s] base %d\n", s.name.c_str(), int(s.base));
  DumpMessages(db, s);
}

int Dump(const char* file, const char* only) {
  auto loaded = Load(file, true);
  if (!loaded) return kExitFailed;
  const Catalogue& c = loaded->catalogue;
  if (only) {
    const Section* s = c.Find(only);
    if (!s) return Fail(std::string(file) + ": no section \"" + only + "\"");
    DumpSection(*loaded->db, *s);
    return kExitOk;
  }
  DumpMessages(*loaded->db, c.loose);
  for (const Section& s : c.sections) DumpSection(*loaded->db, s);
  return kExitOk;
}

int Save(const char* in, const char* out) {
  auto loaded = Load(in, true);
  if (!loaded) return kExitFailed;
  errno = 0;
  if (!loaded->db->Save(out)) return Fail(std::string("cannot write ") + out + ErrnoReason());
  return kExitOk;
}

}  // namespace

namespace brixtool {

int RunMsg(int argc, char** argv) {
  return Dispatch(argc, argv,
                  {{"check", 1, 1, [&] { return Check(argv[2]); }},
                   {"get", 2, 2, [&] { return Get(argv[2], argv[3]); }},
                   {"sections", 1, 1, [&] { return Sections(argv[2]); }},
                   {"dump", 1, 2, [&] { return Dump(argv[2], argc == 4 ? argv[3] : nullptr); }},
                   {"save", 2, 2, [&] { return Save(argv[2], argv[3]); }}});
}

}  // namespace brixtool
