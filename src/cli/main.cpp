// The vesk command: see cli/application.h.
#include <iostream>

#include "cli/application.h"
#include "platform/platform.h"

int main(int argc, char** argv) {
  vesk::platform::ConsoleUtf8();
  return vesk::cli::Execute(argc, argv, std::cout, std::cerr);
}
