#include <windows.h>

#include <fcntl.h>
#include <io.h>

#include <iostream>

#include "base/base_win/win32.h"
#include "tools/orventactl/control_tool.h"

int wmain(int argc, wchar_t** argv) {
  // Answers are UTF-8 with plain line feeds, on a console as in a file.
  SetConsoleOutputCP(CP_UTF8);
  _setmode(_fileno(stdin), _O_BINARY);
  _setmode(_fileno(stdout), _O_BINARY);
  std::vector<std::string> arguments;
  for (int i = 1; i < argc; ++i) arguments.push_back(orventa::Narrow(argv[i]));
  return orventa::RunControlTool(arguments, std::cout, std::cerr);
}
