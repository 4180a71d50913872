// test_locale.h - locales built for a test with localedef in a temporary folder.
//
// The machines that run the tests need not have any locale but C installed, so the tests
// that depend on a comma decimal point or a double-byte code page build those locales
// themselves (LOCPATH points setlocale at them). A test is skipped only when the machine
// has no localedef at all; a localedef that fails is a failure.
#pragma once

#include <gtest/gtest.h>

#include <clocale>
#include <cstdlib>
#include <string>

namespace test_locale {

// "comma": LC_NUMERIC alone, with "," as the decimal point and "." grouping thousands.
// "gbk": the Simplified Chinese locale in the GBK double-byte code page.
inline const char* kComma = "comma";
inline const char* kGbk = "gbk";

inline bool HaveLocaledef() { return std::system("command -v localedef >/dev/null 2>&1") == 0; }

// The folder that holds the built locales (made once per process, removed at exit).
inline const std::string& Folder() {
  static const std::string folder = [] {
    char dir[] = "/tmp/brix_locale_XXXXXX";
    if (!mkdtemp(dir)) return std::string();
    static const std::string cleanup = "rm -rf " + std::string(dir);
    std::atexit([] { [[maybe_unused]] const int r = std::system(cleanup.c_str()); });
    return std::string(dir);
  }();
  return folder;
}

// Builds locale `name` into Folder() unless it is there (a double-byte one takes seconds).
inline void Build(const std::string& name) {
  const std::string d = Folder();
  if (d.empty() || std::system(("test -d " + d + "/" + name).c_str()) == 0) return;
  std::string make;
  if (name == kComma) {
    const std::string src = d + "/comma.src";
    if (FILE* f = std::fopen(src.c_str(), "w")) {
      std::fputs(
          "LC_NUMERIC\ndecimal_point \"<U002C>\"\nthousands_sep \"<U002E>\"\n"
          "grouping 3;3\nEND LC_NUMERIC\n",
          f);
      std::fclose(f);
    }
    make = "localedef -c -i " + src + " -f ANSI_X3.4-1968 " + d + "/" + name;
  } else {
    make = "localedef -c -i zh_CN -f GBK " + d + "/" + name;
  }
  [[maybe_unused]] const int made = std::system((make + " >/dev/null 2>&1").c_str());
}

// Switches one category of the C locale to a built locale for the life of the object.
class Scoped {
 public:
  Scoped(int category, const char* name) : m_category(category) {
    m_old = std::setlocale(category, nullptr);
    Build(name);
    if (Folder().empty()) return;
    const char* old_path = std::getenv("LOCPATH");
    const std::string saved_path = old_path ? old_path : "";
    setenv("LOCPATH", Folder().c_str(), 1);
    m_ok = std::setlocale(category, name) != nullptr;
    // The locale's data are loaded now; later look-ups must not see the folder.
    if (old_path)
      setenv("LOCPATH", saved_path.c_str(), 1);
    else
      unsetenv("LOCPATH");
  }
  ~Scoped() { std::setlocale(m_category, m_old.c_str()); }
  Scoped(const Scoped&) = delete;
  Scoped& operator=(const Scoped&) = delete;
  bool ok() const { return m_ok; }

 private:
  int m_category;
  std::string m_old;
  bool m_ok = false;
};

}  // namespace test_locale

// Skips the test when the machine cannot build locales, fails it when it could but did not.
#define BRIX_REQUIRE_LOCALE(scoped)                                               \
  do {                                                                            \
    if (!(scoped).ok()) {                                                         \
      if (!test_locale::HaveLocaledef()) GTEST_SKIP() << "no localedef on this machine"; \
      FAIL() << "localedef did not build the test locale";                         \
    }                                                                             \
  } while (0)
