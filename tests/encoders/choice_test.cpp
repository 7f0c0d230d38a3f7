#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "encoders/encoders.h"
#include "encoders/machine_codecs.h"
#include "tests/encoders/fakes/fake_encoders.h"

namespace orventa {
namespace {

void SetSwitch(const char* value) {
  // putenv is the one call that the C libraries of both platforms share; the text
  // must outlive it.
  static std::string text;
  text = std::string("ORVENTA_NO_ENCODER=") + value;
  putenv(text.data());
}

class EncoderChoice : public ::testing::Test {
 protected:
  void SetUp() override { SetSwitch(""); }
  void TearDown() override { SetSwitch(""); }

  Status Open(const EncoderSettings& settings, GraphicsDevice* on = nullptr) {
    return OpenEncoder(list, on != nullptr ? on : &device, settings, encoder, taken);
  }

  FakeDevice device;
  FakeBackend nvenc{"NVENC"};
  FakeBackend other{"Other"};
  BackendList list = {&nvenc, &other};
  std::unique_ptr<IVideoEncoder> encoder;
  IEncoderBackend* taken = nullptr;
};

Status Refuse(const EncoderSettings&) {
  return {StatusCode::DriverError, "refused"};
}

EncoderSettings HdrAv1() {
  EncoderSettings settings;
  settings.codec = Codec::Av1;
  settings.input_format = EncoderInput::P010;
  settings.preset = "p6";
  settings.width = 1920;
  settings.colour_primaries = ColourPrimaries::Bt2020;
  settings.transfer = Transfer::Pq;
  settings.matrix = ColourMatrix::Bt2020;
  settings.mastering.max_nits = 1000;
  return settings;
}

std::string Shape(const EncoderSettings& settings) {
  return std::string(CodecWord(settings.codec)) +
         (settings.input_format == EncoderInput::P010 ? " 10" : " 8") +
         (settings.preset.empty() ? "" : " " + settings.preset) +
         (settings.transfer == Transfer::Pq ? " pq" : "") +
         (settings.colour_primaries == ColourPrimaries::Bt2020 ? " 2020" : "") +
         (settings.matrix == ColourMatrix::Bt2020 ? " nc" : "") +
         (settings.mastering.max_nits > 0 ? " mastered" : "");
}

std::vector<std::string> Shapes(const std::vector<EncoderSettings>& list) {
  std::vector<std::string> shapes;
  for (const auto& settings : list) shapes.push_back(Shape(settings));
  return shapes;
}

TEST_F(EncoderChoice, TakesTheFirstBackendThatOpens) {
  EXPECT_TRUE(Open({}).ok());
  EXPECT_EQ(taken, &nvenc);
  EXPECT_TRUE(other.asked.empty());

  nvenc.create = Refuse;
  EXPECT_TRUE(Open({}).ok());
  EXPECT_EQ(taken, &other);

  nvenc.supports = false;
  nvenc.asked.clear();
  EXPECT_TRUE(Open({}).ok());
  EXPECT_TRUE(nvenc.asked.empty());
}

TEST_F(EncoderChoice, FallsBackToEightBitsThenToOlderCodecs) {
  EncoderSettings plain;
  plain.codec = Codec::Hevc;
  const std::pair<EncoderSettings, std::vector<std::string>> rows[] = {
      {HdrAv1(),
       {"av1 10 p6 pq 2020 nc mastered", "av1 8 p6", "hevc 10 pq 2020 nc mastered", "hevc 8",
        "h264 8"}},
      {plain, {"hevc 8", "h264 8"}},
      {{}, {"h264 8"}}};
  nvenc.create = other.create = Refuse;
  for (const auto& [settings, tried] : rows) {
    nvenc.asked.clear();
    other.asked.clear();
    EXPECT_FALSE(Open(settings).ok());
    EXPECT_EQ(Shapes(nvenc.asked), tried);
    EXPECT_EQ(Shapes(other.asked), tried);
  }
  other.asked.clear();
  other.create = [](const EncoderSettings& settings) {
    return settings.codec == Codec::Hevc ? Status::Ok() : Status(StatusCode::Unsupported, "no av1");
  };
  ASSERT_TRUE(Open(HdrAv1()).ok());
  EXPECT_EQ(taken, &other);
  EXPECT_EQ(Shape(encoder->Settings()), rows[0].second[2]);
  EXPECT_EQ(other.asked.size(), 3U);
}

TEST_F(EncoderChoice, TellsTheFirstFailureOrABusyCard) {
  const EncoderSettings h264;
  FakeBackend third("Third");
  list.push_back(&third);
  nvenc.create = Refuse;
  third.create = [](const EncoderSettings&) { return Status(StatusCode::OutOfMemory, "third"); };
  other.create = third.create;
  EXPECT_EQ(Open(h264), Status(StatusCode::DriverError, "refused"));

  other.create = [](const EncoderSettings&) {
    return Status(StatusCode::SessionLimitReached, "busy");
  };
  EXPECT_EQ(Open(h264), Status(StatusCode::SessionLimitReached, "busy"));
  EXPECT_EQ(encoder, nullptr);
  EXPECT_EQ(taken, nullptr);
}

TEST_F(EncoderChoice, SaysWhyThereIsNoEncoder) {
  EXPECT_EQ(OpenEncoder(list, nullptr, {}, encoder, taken),
            Status(StatusCode::InvalidArgument, "null D3D11 device"));

  nvenc.supports = other.supports = false;
  EXPECT_EQ(Open({}),
            Status(StatusCode::Unsupported, "no hardware encoder available on Fake 9000"));
  nvenc.load_message = "too old";
  other.load_message = "not told";
  EXPECT_EQ(Open({}), Status(StatusCode::Unsupported,
                             "no hardware encoder available on Fake 9000 (NVENC: too old)"));
  FakeDevice nameless("");
  EXPECT_EQ(Open({}, &nameless).message(), "no hardware encoder available (NVENC: too old)");

  nvenc.supports = true;
  SetSwitch("1");
  EXPECT_EQ(Open({}), Status(StatusCode::Unsupported,
                             "no hardware encoder available on Fake 9000 (NVENC: too old)"
                             " (ORVENTA_NO_ENCODER is set)"));
  EXPECT_TRUE(nvenc.asked.empty());
  SetSwitch("0");
  EXPECT_TRUE(Open({}).ok());
}

TEST_F(EncoderChoice, RemembersOnlyThatAnEncoderExists) {
  FakeDevice first("one", 101);
  FakeDevice second("two", 102);
  EXPECT_FALSE(EncoderExists(list, nullptr));
  EXPECT_FALSE(EncoderExists(list, &first)) << "no codec";
  EXPECT_EQ(nvenc.probes, 1);

  nvenc.codecs = {CodecCaps{}};
  nvenc.probe_status = {StatusCode::DriverError, "asleep"};
  EXPECT_FALSE(EncoderExists(list, &first));
  nvenc.probe_status = Status::Ok();
  EXPECT_TRUE(EncoderExists(list, &first));
  const int probes = nvenc.probes;
  EXPECT_TRUE(EncoderExists(list, &first));
  EXPECT_EQ(nvenc.probes, probes);
  EXPECT_TRUE(EncoderExists(list, &second));
  EXPECT_EQ(nvenc.probes, probes + 1);
  EXPECT_EQ(other.probes, 2) << "a positive answer ends the search";

  SetSwitch("yes");
  EXPECT_FALSE(EncoderExists(list, &first));
}

TEST_F(EncoderChoice, ReportsAdaptersBackendsAndCodecs) {
  EXPECT_EQ(EncoderReport(list, {}), "no video adapters were found\n");

  nvenc.codecs = {{Codec::H264, 4096, 2160, false, true, true},
                  {Codec::Hevc, 8192, 4320, true, false, false}};
  FakeBackend sulking("Sulking");
  sulking.probe_status = {StatusCode::DriverError, "driver asleep"};
  FakeBackend absent("Absent");
  absent.supports = false;
  list = {&nvenc, &other, &sulking, &absent};
  EXPECT_EQ(EncoderReport(list, {{"Big", true, 8192, &device}, {"Small", false, 128, nullptr}}),
            "gpu 0: Big -- discrete, 8192 MB\n"
            "  NVENC\n"
            "  h264  up to 4096x2160, 8-bit only, B-frames, lossless\n"
            "  hevc  up to 8192x4320, 10-bit\n"
            "  Other: available, encodes nothing\n"
            "  Sulking: available, but would not answer -- driver asleep\n"
            "gpu 1: Small -- integrated, 128 MB\n"
            "  no D3D11 device could be made on it\n");
  list = {&absent};
  EXPECT_EQ(EncoderReport(list, {{"Big", true, 8192, &device}}),
            "gpu 0: Big -- discrete, 8192 MB\n  no encoder backend offered itself\n");
}

TEST(AutomaticBitrate, GrowsMoreSlowlyThanPicturesAndStaysInRange) {
  constexpr auto kbps = AutomaticBitrateKbps;
  const uint32_t full_hd = kbps(1920, 1080, 60, Codec::H264);
  EXPECT_TRUE(full_hd > 30'000 && full_hd < 40'000) << full_hd;
  const uint32_t twice_as_fast = kbps(1920, 1080, 120, Codec::H264);
  EXPECT_TRUE(twice_as_fast > full_hd && twice_as_fast < 2 * full_hd) << twice_as_fast;
  const uint32_t four_times_as_large = kbps(3840, 2160, 60, Codec::H264);
  EXPECT_GT(four_times_as_large, 2 * full_hd);
  EXPECT_LT(four_times_as_large, 4 * full_hd);
  EXPECT_LT(kbps(1920, 1080, 60, Codec::Hevc), full_hd);
  EXPECT_LT(kbps(1920, 1080, 60, Codec::Av1), kbps(1920, 1080, 60, Codec::Hevc));
  EXPECT_EQ(kbps(0, 0, 0, Codec::H264), 500U);
  EXPECT_EQ(kbps(UINT32_MAX, UINT32_MAX, 1000, Codec::H264), 500'000U);
}

TEST_F(EncoderChoice, ProcessorsAreFastAtH264OnlyAndAllBackendsCount) {
  nvenc.hardware = false;
  nvenc.codecs = {{.codec = Codec::H264, .max_width = 4096, .max_height = 4096},
                  {.codec = Codec::Hevc, .max_width = 8192, .max_height = 8192, .ten_bit = true}};
  other.codecs = {{.codec = Codec::Av1, .max_width = 1280, .max_height = 720}};
  const auto told = [&] {
    std::string text;
    for (const CodecMeans& means : FindMachineCodecs(list, &device)) {
      text += std::string(means.encodes ? "e" : "-") + (means.ten_bit ? "t" : "-") +
              (means.fast ? "f " : "- ");
    }
    return text;
  };
  EXPECT_EQ(told(), "e-f et- e-- ");
  other.codecs = {{.codec = Codec::Hevc, .max_width = 4096, .max_height = 4096}};
  EXPECT_EQ(told(), "e-f e-f --- ");
  other.probe_status = {StatusCode::DriverError, "no"};
  nvenc.supports = false;
  EXPECT_EQ(told(), "--- --- --- ");
}

}  // namespace
}  // namespace orventa
