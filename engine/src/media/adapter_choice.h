// Which of a machine's graphics adapters the pictures are made on. Pure; any thread.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace orventa {

struct AdapterRow {
  std::string name;       // the driver's
  bool software = false;  // never taken
};

// What came of making a device on an adapter.
enum class AdapterAnswer { NoDevice, Integrated, Discrete };

// `rows` in the system's order of preference. The adapter named `wanted`, if it gives
// a device; else, and for an empty name, the first discrete one that does, else the
// first of all. `open` is called at most once an adapter; nothing: none gives a device.
std::optional<size_t> ChooseAdapter(const std::vector<AdapterRow>& rows, const std::string& wanted,
                                    const std::function<AdapterAnswer(size_t)>& open);

}  // namespace orventa
