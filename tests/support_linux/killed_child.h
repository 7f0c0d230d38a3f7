// Work in a child process that is killed at one of its system calls. Linux only.
#pragma once

#include <functional>
#include <optional>

namespace orventa {

// What a child says that the system does not let itself be traced.
inline constexpr int kTracingNotPermitted = 3;

// Runs `work` in a forked child up to its given stop, of which every system call has
// two, on the way in and on the way out, and kills it there. None: it was killed;
// else it came to its end before, with this exit code, which is what `work` gave.
// The child shares nothing with the caller and runs none of its endings.
std::optional<int> RunUpToSystemCall(int stop, const std::function<int()>& work);

}  // namespace orventa
