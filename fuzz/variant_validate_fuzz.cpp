// variant_validate_fuzz.cpp - feeds arbitrary range specifications and values to
// SCC_Variant::Validate and arbitrary texts to the variant's conversions and SimpleScanf.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "sccvariant.h"
#include "ssm.h"

namespace {

// Direction 1 doubles, direction 0 halves: gives the "#" path converted bounds.
class HalfConvertor : public SCC_Convertor {
 public:
  SCC_Variant Convert(SCC_Variant value, int direction) override {
    const double d = static_cast<double>(value);
    return SCC_Variant(direction == 1 ? d * 2 : d / 2);
  }
};

}  // namespace

// Input: one selector byte, then the specification and the value text separated by the
// first NUL byte. The selector picks the value's type and whether a convertor is used.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < 1) return 0;
  const std::uint8_t selector = data[0];
  const char* rest = reinterpret_cast<const char*>(data + 1);
  const std::size_t restSize = size - 1;
  const char* split = static_cast<const char*>(std::memchr(rest, '\0', restSize));
  const std::size_t specSize = split ? static_cast<std::size_t>(split - rest) : restSize;
  const std::string spec(rest, specSize);
  const std::string valueText =
      split ? std::string(split + 1, restSize - specSize - 1) : std::string();

  SCC_Variant value;
  switch (selector & 3) {
    case 0:
      value = SCC_Variant(valueText.c_str());
      break;
    case 1:
      value = SCC_Variant(static_cast<double>(SCC_Variant(valueText.c_str())));
      break;
    case 2: {
      try {
        value = SCC_Variant(static_cast<long>(SCC_Variant(valueText.c_str())));
      } catch (const SYS_Exception&) {
        value = SCC_Variant(-1);
      }
      break;
    }
    default:
      break;  // empty
  }
  const SCC_Variant before = value;

  static HalfConvertor convertor;
  const int valid = value.Validate(SYS_String(spec.c_str()), (selector & 4) ? &convertor : nullptr);
  if (valid != 0 && valid != 1) __builtin_trap();
  // Only a failure replaces the value (compared as texts, so that NaN matches itself).
  if (valid && (value.GetType() != before.GetType() ||
                static_cast<const SYS_String>(value) != static_cast<const SYS_String>(before)))
    __builtin_trap();

  (void)static_cast<const SYS_String>(value);
  (void)static_cast<double>(value);
  try {
    (void)static_cast<long>(value);
  } catch (const SYS_Exception&) {
  }

  // The reader itself on the same text, with bounded words.
  char word[8];
  char c;
  int n = 0;
  double d = 0;
  (void)SimpleScanf(spec.c_str(), "%c %7s , %lf %d%n", &c, word, &d, &n, &n);
  return 0;
}
