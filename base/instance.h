// What a process knows of itself and of its brothers. Implemented in base_win/
// and base_linux/. Main thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

namespace orventa {

// Holding the lock means: this is the one instance for this user's session.
class ISingleInstance {
 public:
  virtual ~ISingleInstance() = default;  // lets go
};

enum class InstanceResult { Acquired, HeldByAnother, Failed };

// Waits up to `wait_ms` for another holder to let go. A holder that died counts
// as one that let go.
InstanceResult AcquireSingleInstance(const std::string& name, uint32_t wait_ms,
                                     std::unique_ptr<ISingleInstance>& out);

// Waits until a process that was already running when this one started is gone.
// A process id that was given to a younger process is not waited for.
void WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms);

uint32_t CurrentProcessId();

// The signed-in user's name, UTF-8; empty when the system names none.
std::string CurrentUserName();

// Ends the process at once, with no destructor run.
[[noreturn]] void EndProcessNow(int code);

}  // namespace orventa
