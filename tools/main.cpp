// kxctl: the configuration front-end of the platform bus.
#include <iostream>
#include <string>
#include <vector>

#include "tools/app.h"

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  kxctl::App app(kxctl::looperBusFactory());
  return app.run(args, std::cout, std::cerr);
}
