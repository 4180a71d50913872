// SCC_Hash.cpp - string hashes, text comparison and the bucket-size table of SCC_Map.
#include "scchash.h"

namespace {

// Each entry is a prime near double the one before.
constexpr long kTableSizes[] = {3,        5,         11,        23,        47,       97,
                                193,      383,       769,       1531,      3067,     6143,
                                12289,    24571,     49157,     98299,     196613,   393209,
                                786431,   1572869,   3145721,   6291449,   12582917, 25165813,
                                50331653, 100663291, 201326611, 402653189, 805306357};
static_assert(sizeof(kTableSizes) / sizeof(kTableSizes[0]) == 29);

inline unsigned char FoldAscii(unsigned char c) {
  return (c >= 'A' && c <= 'Z') ? static_cast<unsigned char>(c + ('a' - 'A')) : c;
}

}  // namespace

unsigned int SCC_Hash(const char* s) { return scc_detail::HashText<false>(s); }

unsigned int SCC_HashNoCase(const char* s) { return scc_detail::HashText<true>(s); }

int SCC_Compare(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) return a == b ? 0 : (a == nullptr ? -1 : 1);
  const int r = std::strcmp(a, b);  // strcmp compares the bytes as unsigned char
  return r < 0 ? -1 : (r > 0 ? 1 : 0);
}

int SCC_CompareNoCase(const char* a, const char* b) {
  if (a == nullptr || b == nullptr) return a == b ? 0 : (a == nullptr ? -1 : 1);
  for (;; ++a, ++b) {
    const unsigned char ca = FoldAscii(static_cast<unsigned char>(*a));
    const unsigned char cb = FoldAscii(static_cast<unsigned char>(*b));
    if (ca != cb) return ca < cb ? -1 : 1;
    if (ca == 0) return 0;
  }
}

long SCC_GetNewTableSize(long n) {
  for (long size : kTableSizes) {
    if (size > n) return size;
  }
  return 0;
}

unsigned int SCC_Hash(const SYS_StrNoCase& s) { return scc_detail::HashText<true>(s); }
