// This test program started once more, to run one of its disabled tests: what must
// stand other processes, and their deaths, is tested with real ones.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace orventa {

class IChild {
 public:
  // Kills it, and waits for its end.
  virtual ~IChild() = default;
  virtual uint64_t process_id() const = 0;
  virtual bool IsRunning() = 0;
  // With no chance to tidy up. Does not wait.
  virtual void Kill() = 0;
};

// `test` is a full test name; the child finds `folder` in ChildFolder().
std::unique_ptr<IChild> StartChild(const std::string& test, const std::string& folder);

inline constexpr const char* kChildFolderVariable = "ORVENTA_TEST_FOLDER";
std::string ChildFolder();

// Waits for a sign that another process makes with LeaveSign. False: it never came.
bool AwaitSign(const std::string& path);
void LeaveSign(const std::string& path);

}  // namespace orventa
