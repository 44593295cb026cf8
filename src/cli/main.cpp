// The vesk command: see cli/application.h.
#include <iostream>

#include "cli/application.h"
#include "platform/platform.h"

#ifdef _WIN32
#include <windows.h>
// windows.h first
#include <shellapi.h>

#include <string>
#include <vector>

// On Windows the arguments are taken in UTF-16 and handed on in UTF-8, as everywhere else (the
// char* of main would be in the ANSI code page).
int main() {
  vesk::platform::ConsoleUtf8();
  int argc = 0;
  LPWSTR* larges = ::CommandLineToArgvW(::GetCommandLineW(), &argc);
  if (larges == nullptr) {
    std::cerr << "vesk : ligne de commande illisible\n";
    return 1;
  }
  std::vector<std::string> arguments;
  for (int i = 0; i < argc; ++i) arguments.push_back(vesk::platform::Etroit(larges[i]));
  ::LocalFree(larges);
  std::vector<char*> argv;
  for (std::string& a : arguments) argv.push_back(a.data());
  argv.push_back(nullptr);
  return vesk::cli::Execute(argc, argv.data(), std::cout, std::cerr);
}
#else
int main(int argc, char** argv) {
  vesk::platform::ConsoleUtf8();
  return vesk::cli::Execute(argc, argv, std::cout, std::cerr);
}
#endif
