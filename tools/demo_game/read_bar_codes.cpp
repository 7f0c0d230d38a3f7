// Reads raw pictures of one byte a pixel from standard input, as
//   ffmpeg -i clip.mp4 -f rawvideo -pix_fmt gray - | orventa-read-bar-codes 1280x720
// and prints a line a picture: the demo game's frame number or "unreadable" (or
// "torn" when top and bottom are of two frames), then "flash" or "-".
#include <cstdio>
#include <cstring>
#include <optional>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "tools/demo_game/bar_code.h"
#include "tools/demo_game/picture_size.h"

namespace {

void Print(const orventa::bar_code::Reading& reading) {
  const char* const flash = reading.flash ? "flash" : "-";
  if (const auto number = reading.Number()) {
    std::printf("%u %s\n", *number, flash);
  } else {
    const bool torn = reading.top && reading.bottom;
    std::printf("%s %s\n", torn ? "torn" : "unreadable", flash);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const auto size = argc == 2 ? orventa::ParsePictureSize(argv[1]) : std::nullopt;
  if (!size) {
    std::fprintf(stderr, "usage: orventa-read-bar-codes WIDTHxHEIGHT < gray pictures\n");
    return 2;
  }
  std::vector<uint8_t> picture(size_t{size->width} * size->height);
  for (;;) {
    const size_t got = std::fread(picture.data(), 1, picture.size(), stdin);
    if (got == 0) return std::ferror(stdin) != 0 ? 1 : 0;
    if (got < picture.size()) {
      std::fprintf(stderr, "orventa-read-bar-codes: the last picture is cut short\n");
      return 1;
    }
    Print(orventa::bar_code::Read({picture.data(), size->width, size->width, size->height}));
  }
}
