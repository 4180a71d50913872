// A program outside the library's tree, built against the installed package.
#include <brixsys.h>

int main() {
  // Without a live manager a failed check returns 0 and notifies nobody.
  return SSM_AssertFailed("", "consumer", 1, SSM_Check, 0) == 0 ? 0 : 1;
}
