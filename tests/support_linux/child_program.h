// Another program that runs quietly while the object lives: a display server, a
// window manager, whatever a test looks at from outside.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace orventa {

class ChildProgram {
 public:
  // Looks for `program` on the path. `words[0]` is what it is told to be its own name;
  // `variables` ("NAME=value") are added to this process's.
  ChildProgram(const std::string& program, std::vector<std::string> words,
               std::vector<std::string> variables = {});
  ~ChildProgram();
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;

  pid_t pid() const { return pid_; }
  void Kill();  // at once, as a crash would

 private:
  pid_t pid_ = -1;
};

}  // namespace orventa
