// A fresh folder that goes with everything in it at the end of a test.
#pragma once

#include <algorithm>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>
#include <vector>

namespace orventa {

class TempFolder {
 public:
  TempFolder() {
    std::random_device random;
    path_ = std::filesystem::temp_directory_path() /
            ("orventa-test-" + std::to_string(random()) + "-" + std::to_string(random()));
    std::filesystem::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  std::string path() const { return Utf8(path_); }
  // A path inside; nothing is made there.
  std::string operator/(const std::string& name) const { return Utf8(path_ / Native(name)); }

  // Names of what lies in a folder, sorted.
  static std::vector<std::string> Names(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(Native(folder), error)) {
      names.push_back(Utf8(entry.path().filename()));
    }
    std::sort(names.begin(), names.end());
    return names;
  }

 private:
  static std::string Utf8(const std::filesystem::path& path) {
    const std::u8string text = path.u8string();
    return {text.begin(), text.end()};
  }
  static std::filesystem::path Native(const std::string& name) {
    return std::filesystem::path(std::u8string(name.begin(), name.end()));
  }

  std::filesystem::path path_;
};

}  // namespace orventa
