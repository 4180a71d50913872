// A program outside the library's tree, built against the installed package: the
// README's example.
#include <brixsys.h>

int main() {
  SSM manager;  // the process's assertion manager
  SYS_String name("board");
  name << '-' << 7L;  // "board-7"
  return name.Match("b*-[0-9]") ? 0 : 1;
}
