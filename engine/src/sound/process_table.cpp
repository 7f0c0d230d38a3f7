#include "sound/process_table.h"

namespace orventa {

bool IsAncestor(IProcessTable& table, uint32_t ancestor, uint32_t pid) {
  constexpr int kMostSteps = 64;
  auto child = table.Find(pid);
  for (int step = 0; step < kMostSteps && child && child->parent_pid != 0; ++step) {
    auto parent = table.Find(child->parent_pid);
    if (!parent) return false;
    // Younger than its child: the number was given to another process.
    if (parent->started != 0 && child->started != 0 && parent->started > child->started) {
      return false;
    }
    if (child->parent_pid == ancestor) return true;
    child = std::move(parent);
  }
  return false;
}

}  // namespace orventa
