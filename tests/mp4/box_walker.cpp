#include "tests/mp4/box_walker.h"

#include <algorithm>
#include <stdexcept>

namespace orventa::test {

uint64_t Box::Number(size_t at, size_t bytes) const {
  if (at + bytes > body.size()) throw std::out_of_range(type + " is too short");
  uint64_t value = 0;
  for (size_t i = 0; i < bytes; ++i) value = value * 256 + body[at + i];
  return value;
}

std::string Box::Text(size_t at, size_t bytes) const {
  if (at + bytes > body.size()) throw std::out_of_range(type + " is too short");
  const auto first = body.begin() + static_cast<std::ptrdiff_t>(at);
  return {first, first + static_cast<std::ptrdiff_t>(bytes)};
}

std::vector<Box> Boxes(const std::vector<uint8_t>& bytes, size_t start) {
  const Box all{"file", 0, 0, bytes};
  std::vector<Box> boxes;
  for (size_t at = 0; at < bytes.size();) {
    Box box;
    uint64_t size = all.U32(at);
    box.type = all.Text(at + 4, 4);
    box.start = start + at;
    if (size == 1) {
      size = all.U64(at + 8);
      box.header_bytes = 16;
    }
    if (size < box.header_bytes || size > bytes.size() - at) {
      throw std::runtime_error(box.type + " does not fit into its parent");
    }
    const auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
    box.body.assign(first + static_cast<std::ptrdiff_t>(box.header_bytes),
                    first + static_cast<std::ptrdiff_t>(size));
    at += size;
    boxes.push_back(std::move(box));
  }
  return boxes;
}

std::string Types(const std::vector<Box>& boxes) {
  std::string text;
  for (const Box& box : boxes) text += (text.empty() ? "" : " ") + box.type;
  return text;
}

std::vector<Box> Children(const Box& box, size_t skip) {
  const std::vector<uint8_t> inner(box.body.begin() + static_cast<std::ptrdiff_t>(skip),
                                   box.body.end());
  return Boxes(inner, box.start + box.header_bytes + skip);
}

namespace {

// Bytes of a box's own fields before its children.
size_t FieldsBefore(const std::string& type) {
  if (type == "stsd" || type == "dref") return 8;
  if (type == "avc1" || type == "hvc1" || type == "av01") return 78;
  if (type == "mp4a") return 28;
  return 0;
}

std::optional<Box> Look(const std::vector<uint8_t>& file, std::string_view path) {
  std::vector<Box> boxes = Boxes(file);
  while (true) {
    const size_t slash = path.find('/');
    std::string_view step = path.substr(0, slash);
    size_t index = 0;
    if (step.size() > 4) index = static_cast<size_t>(step[5] - '0');
    step = step.substr(0, 4);
    auto found = boxes.begin();
    for (size_t seen = 0; found != boxes.end(); ++found) {
      if (found->type == step && seen++ == index) break;
    }
    if (found == boxes.end()) return std::nullopt;
    if (slash == std::string_view::npos) return *found;
    path.remove_prefix(slash + 1);
    boxes = Children(Box(*found), FieldsBefore(found->type));
  }
}

}  // namespace

Box Find(const std::vector<uint8_t>& file, std::string_view path) {
  auto box = Look(file, path);
  if (!box) throw std::runtime_error("no " + std::string(path));
  return *box;
}

bool Has(const std::vector<uint8_t>& file, std::string_view path) {
  return Look(file, path).has_value();
}

std::vector<Sample> Samples(const std::vector<uint8_t>& file, std::string_view trak) {
  const std::string stbl = std::string(trak) + "/mdia/minf/stbl/";
  const Box stsz = Find(file, stbl + "stsz");
  const Box stsc = Find(file, stbl + "stsc");
  const Box co64 = Find(file, stbl + "co64");
  const Box stts = Find(file, stbl + "stts");

  std::vector<Sample> samples(stsz.U32(8));
  for (size_t i = 0; i < samples.size(); ++i) samples[i].size = stsz.U32(12 + 4 * i);

  size_t next = 0;
  for (uint32_t run = 0; run < stts.U32(4); ++run) {
    for (uint32_t i = 0; i < stts.U32(8 + 8 * run); ++i) {
      samples.at(next++).duration = stts.U32(12 + 8 * run);
    }
  }
  if (next != samples.size()) throw std::runtime_error("stts does not cover every sample");

  next = 0;
  for (uint32_t chunk = 1; chunk <= co64.U32(4); ++chunk) {
    uint32_t count = 0;
    for (uint32_t entry = 0; entry < stsc.U32(4); ++entry) {
      if (stsc.U32(8 + 12 * entry) <= chunk) count = stsc.U32(12 + 12 * entry);
    }
    uint64_t offset = co64.U64(8 + 8 * (chunk - 1));
    for (; count > 0; --count, ++next) {
      samples.at(next).offset = offset;
      offset += samples[next].size;
    }
  }
  if (next != samples.size()) throw std::runtime_error("stsc does not cover every sample");

  const bool all_sync = !Has(file, stbl + "stss");
  for (Sample& sample : samples) sample.sync = all_sync;
  if (!all_sync) {
    const Box stss = Find(file, stbl + "stss");
    for (uint32_t i = 0; i < stss.U32(4); ++i) samples.at(stss.U32(8 + 4 * i) - 1).sync = true;
  }
  return samples;
}

}  // namespace orventa::test
