#include <iostream>

#include "tools/orventactl/control_tool.h"

int main(int argc, char** argv) {
  return orventa::RunControlTool({argv + 1, argv + argc}, std::cout, std::cerr);
}
