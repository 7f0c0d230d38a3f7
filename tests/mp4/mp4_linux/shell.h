// Other tools, asked through the shell.
#pragma once

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

namespace orventa::test {

// What a shell command prints, errors too.
inline std::string Shell(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen((command + " 2>&1").c_str(), "r"), pclose);
  if (pipe == nullptr) throw std::runtime_error("cannot run " + command);
  std::string text;
  char piece[4096];
  while (const size_t read = fread(piece, 1, sizeof(piece), pipe.get())) text.append(piece, read);
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

}  // namespace orventa::test
