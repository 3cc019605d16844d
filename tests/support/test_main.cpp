// One main for every test program: GoogleTest, or a registered child
// function when started with --ruvo-child=<name>.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <map>
#include <string>

#include "support/support.hpp"

namespace ruvo_test {

std::map<std::string, child_fn> &children() {
  static std::map<std::string, child_fn> table;
  return table;
}

bool register_child(const char *name, child_fn fn) {
  children()[name] = fn;
  return true;
}

}  // namespace ruvo_test

int main(int argc, char **argv) {
  static const char kSwitch[] = "--ruvo-child=";
  if (argc > 1 && std::strncmp(argv[1], kSwitch, sizeof kSwitch - 1) == 0) {
    // Unbuffered, so a child that dies still hands over what it printed.
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    const auto it = ruvo_test::children().find(argv[1] + sizeof kSwitch - 1);
    if (it == ruvo_test::children().end()) return 125;
    return it->second(std::vector<std::string>(argv + 2, argv + argc));
  }
  ruvo_test::fail_on_crash();
  ::testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
