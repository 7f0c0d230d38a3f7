#include "tests/base/temp_folder.h"

#include <fstream>
#include <iterator>
#include <random>

namespace orventa {
namespace {

std::filesystem::path FromUtf8(const std::string& path) {
  return std::filesystem::path(std::u8string(path.begin(), path.end()));
}

std::string ToUtf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

}  // namespace

TempFolder::TempFolder() {
  std::random_device random;
  do {
    folder_ = std::filesystem::temp_directory_path() / ("orventa-test-" + std::to_string(random()));
  } while (!std::filesystem::create_directory(folder_));
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

std::string TempFolder::path() const {
  return ToUtf8(folder_);
}

std::string TempFolder::operator/(const std::string& name) const {
  return ToUtf8(folder_ / FromUtf8(name));
}

std::string ReadBytes(const std::string& path) {
  std::ifstream file(FromUtf8(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(FromUtf8(path), std::ios::binary) << bytes;
}

}  // namespace orventa
