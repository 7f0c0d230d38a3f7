// A file that may be an interrupted recording: whatever the bytes, looking it over
// ends, reads nothing beyond them, and a plan points at no sample outside what is
// kept. A repaired file is then known for a finished one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "mp4/box_io.h"
#include "mp4/repair_plan.h"

namespace {

using namespace orventa;

void Require(bool condition) {
  if (!condition) std::abort();
}

class Memory : public IByteSource {
 public:
  explicit Memory(std::span<const uint8_t> bytes) : bytes_(bytes) {}
  uint64_t Size() const override { return bytes_.size(); }
  Status ReadAt(uint64_t offset, std::span<uint8_t> into) override {
    Require(offset <= bytes_.size() && into.size() <= bytes_.size() - offset);
    std::ranges::copy(bytes_.subspan(offset, into.size()), into.begin());
    return Status::Ok();
  }

 private:
  std::span<const uint8_t> bytes_;
};

// The first box of a type among boxes; empty when there is none.
std::span<const uint8_t> Child(std::span<const uint8_t> boxes, uint32_t type) {
  while (boxes.size() >= kBoxHeaderBytes) {
    ByteReader in(boxes);
    const uint32_t size = in.U32();
    Require(size >= kBoxHeaderBytes && size <= boxes.size());
    if (in.U32() == type) return boxes.subspan(kBoxHeaderBytes, size - kBoxHeaderBytes);
    boxes = boxes.subspan(size);
  }
  return {};
}

void CheckChunks(const RepairPlan& plan) {
  std::span<const uint8_t> box = plan.moov;
  for (const char* type : {"moov", "trak", "mdia", "minf", "stbl", "co64"}) {
    box = Child(box, FourCc(type));
  }
  ByteReader in(box);
  in.Skip(4);
  const uint32_t count = in.U32();
  Require(count > 0);
  for (uint32_t i = 0; i < count; ++i) Require(in.U64() <= plan.cut_point);
  Require(!in.failed());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> bytes(data, data + size);
  Memory source(bytes);
  RepairPlan plan;
  if (!PlanRepair(source, plan).ok()) return 0;
  Require(plan.cut_point <= size);
  Require(plan.header_offset + kLargeBoxHeaderBytes <= plan.cut_point);
  CheckChunks(plan);

  std::vector<uint8_t> header;
  ByteWriter out(header);
  WriteLargeBoxHeader(out, FourCc("mdat"), plan.cut_point - plan.header_offset);
  bytes.resize(plan.cut_point);
  std::ranges::copy(header, bytes.begin() + static_cast<std::ptrdiff_t>(plan.header_offset));
  bytes.insert(bytes.end(), plan.moov.begin(), plan.moov.end());
  Memory repaired(bytes);
  Require(PlanRepair(repaired, plan).message() == "already finished");
  return 0;
}
