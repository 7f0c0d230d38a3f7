// Recordings to cut off, and what a repair must find in what is left of them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "mp4/mp4_writer.h"
#include "mp4/repair_plan.h"
#include "tests/mp4/box_walker.h"
#include "tests/mp4/clip_fixture.h"

namespace orventa::test {

EncodedPacket Encoded(const BufferedPacket& packet);

// Opens a writer and gives it all packets of the movie in the order of their times.
// The file is then what a killed writer leaves.
void Record(Mp4Writer& writer, const std::string& path, const Mp4Movie& movie);

// A finished recording as it was just before the write that finished it.
std::vector<uint8_t> Unfinished(std::vector<uint8_t> file);

// The fragments that lie whole in a piece of a recording, by another road than the
// repair's. Tracks by the number that fragments give them.
std::map<uint32_t, std::vector<Sample>> FragmentsIn(const std::vector<uint8_t>& recording,
                                                    size_t bytes);

class MemorySource : public IByteSource {
 public:
  explicit MemorySource(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  uint64_t Size() const override { return bytes_.size(); }
  Status ReadAt(uint64_t offset, std::span<uint8_t> into) override;

 private:
  std::span<const uint8_t> bytes_;
};

}  // namespace orventa::test
