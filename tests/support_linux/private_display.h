// An X server of a test's own, without a screen to look at: started on a free
// display number, ended with the object, and open to being stopped or killed.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support_linux/child_program.h"

namespace orventa {

class PrivateDisplay {
 public:
  // Starts it and waits until it takes clients. Throws std::runtime_error when
  // there is no such program or it does not start. `screen` as "1280x720x24".
  explicit PrivateDisplay(const std::string& screen = "1280x720x24",
                          std::vector<std::string> arguments = {});
  ~PrivateDisplay();
  PrivateDisplay(const PrivateDisplay&) = delete;
  PrivateDisplay& operator=(const PrivateDisplay&) = delete;

  const std::string& name() const { return name_; }  // ":5"
  pid_t pid() const { return server_->pid(); }

  // Ends the server at once, as a crash would.
  void Kill();
  // Starts another one under the same name.
  void StartAgain();
  // The server stands still, and goes on.
  void Freeze();
  void Thaw();

 private:
  void Start(const std::string& number);

  const std::string screen_;
  const std::vector<std::string> arguments_;
  std::string name_;
  std::unique_ptr<ChildProgram> server_;
};

// Points DISPLAY at a server while it lives.
class DisplayVariable {
 public:
  explicit DisplayVariable(const std::string& name);
  ~DisplayVariable();
  DisplayVariable(const DisplayVariable&) = delete;
  DisplayVariable& operator=(const DisplayVariable&) = delete;

 private:
  std::string before_;
};

}  // namespace orventa
