// A folder of its own for a test, under the temp folder, removed with what is in it.
#pragma once

#include <filesystem>
#include <string>

namespace orventa {

class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  // UTF-8, as the system under test takes it.
  std::string path() const;
  std::string operator/(const std::string& name) const;

 private:
  std::filesystem::path folder_;
};

// By the C++ library, beside the way of base/files.h.
std::string ReadBytes(const std::string& path);
void WriteBytes(const std::string& path, const std::string& bytes);

}  // namespace orventa
