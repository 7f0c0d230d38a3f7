// The picture of the replay and of recordings, and the replay itself.
#include "base/text.h"
#include "settings/setting.h"

namespace orventa::schema {
namespace {

using C = Config;
using V = Config::Video;
using R = Config::Replay;

// Reads as `value` does and then does what a line of this key does besides.
Value AndThen(Value value, std::function<void(Config&)> then) {
  value.read = [read = std::move(value.read), then = std::move(then)](Config& config,
                                                                      std::string_view text) {
    const Taken taken = read(config, text);
    if (taken != Taken::Ignored) then(config);
    return taken;
  };
  return value;
}

Value Resolution(Member<uint32_t> member) {
  Value value = Number(member);
  value.read = [number = std::move(value.read), member](Config& config, std::string_view text) {
    if (!EqualsIgnoreCase(text, "native")) return number(config, text);
    member(config) = 0;
    return Taken::AsIs;
  };
  value.write = [=](const Config& config) {
    const uint32_t height = Of(member, config);
    return height == 0 ? std::string("native") : std::to_string(height);
  };
  value.stage = CheckStage::Ranges;
  value.correct = [=](Config& config, const Config& defaults) {
    const uint32_t height = Of(member, config);
    if (height == 0 || (height >= 360 && height <= 4320)) return false;
    member(config) = Of(member, defaults);
    return true;
  };
  return value;
}

Value MemoryLimit(Member<uint32_t> member) {
  // A file from before the switch names a limit, or 0 for none.
  Value value = AndThen(Number(member, Checked(256, 262144)), [=](Config& config) {
    config.replay.max_memory_limited = Of(member, config) != 0;
  });
  value.correct = [check = std::move(value.correct)](Config& config, const Config& defaults) {
    return config.replay.max_memory_limited && check(config, defaults);
  };
  return value;
}

Value Storage(Member<ReplayStorage> member) {
  Value value = Words(member, {"memory", "disk"});
  value.read = [words = std::move(value.read), member](Config& config, std::string_view text) {
    if (words(config, text) == Taken::AsIs) return Taken::AsIs;
    member(config) = ReplayStorage::Memory;
    return Taken::Corrected;
  };
  return value;
}

template <auto kBlock>
void AppendVideo(Settings& rows, std::string section, Effect effect) {
  const auto add = [&](std::string key, Value value, std::string comment) {
    rows.push_back({section, std::move(key), std::move(value), effect, std::move(comment)});
  };
  add("codec", Words(At<kBlock, &V::codec>, {"h264", "hevc", "av1"}, {"h265", 1}),
      "How the picture is compressed: h264, hevc or av1. h264 plays everywhere. hevc and av1 look "
      "better at the same file size, but need a graphics card that can make them, and some editors "
      "and websites do not take them.");
  add("ten_bit", Bool(At<kBlock, &V::ten_bit>),
      "true records finer shades of colour (10 instead of 8 bits), so that dark skies and fog show "
      "no bands. Needs hevc or av1 and a graphics card that can; otherwise it has no effect.");
  add("hdr", Bool(At<kBlock, &V::hdr>),
      "true records HDR games in HDR (HDR10), which looks right on HDR displays only and needs "
      "hevc or av1. false turns them into an ordinary picture that looks right everywhere.");
  add("bitrate_kbps",
      AndThen(Number(At<kBlock, &V::bitrate_kbps>, Checked(500, 500000)),
              // Whoever names a bitrate has chosen it.
              [](Config& config) { At<kBlock, &V::bitrate_auto>(config) = false; }),
      "How much is written for each second of video, in kilobits, 500 to 500000. More looks better "
      "and makes larger files; 40000 is about 300 megabytes a minute. Counts only while "
      "bitrate_auto is false.");
  add("bitrate_auto", Bool(At<kBlock, &V::bitrate_auto>),
      "true chooses a bitrate that suits resolution, fps and codec, whatever bitrate_kbps says. "
      "false takes bitrate_kbps.");
  add("max_bitrate_percent", Number(At<kBlock, &V::max_bitrate_percent>, Checked(100, 400)),
      "How far the bitrate may rise in busy scenes while rate_control is vbr, in percent, 100 to "
      "400. 150 allows half as much again.");
  add("rate_control", Words(At<kBlock, &V::rate_control>, {"cbr", "vbr", "cqp"}),
      "vbr spends more on busy scenes and less on calm ones, which looks best for the size of the "
      "file. cbr spends the same on every second. cqp keeps the quality the same, however large "
      "the file gets.");
  add("fps", Number(At<kBlock, &V::fps>, Checked(1, 480)),
      "Frames a second, 1 to 480. 60 is what most players and websites show; more is more work for "
      "the graphics card and makes larger files.");
  add("resolution", Resolution(At<kBlock, &V::resolution>),
      "native records the game at its own size. A height in pixels, 360 to 4320, such as 1080 or "
      "1440, scales the picture to it and keeps its shape.");
  add("preset_h264", Text(At<kBlock, &V::preset_h264>),
      "How much work the graphics card puts into h264. On NVIDIA p1 is fastest and p7 looks best; "
      "other cards have words of their own, which the app lists. Empty leaves it to the card. Of "
      "this line and the next two, only the one of the codec in use counts.");
  add("preset_hevc", Text(At<kBlock, &V::preset_hevc>), "The same with hevc.");
  add("preset_av1", Text(At<kBlock, &V::preset_av1>), "The same with av1.");
  add("keyframe_interval_seconds",
      Number(At<kBlock, &V::keyframe_interval_seconds>, Checked(1, 60)),
      "How many seconds lie between two keyframes, which are complete pictures, 1 to 60.\n|Clips "
      "can only start on a keyframe, so this is also the trim granularity: at 2, a \"30 second\" "
      "clip is really 28-30 seconds.");
  add("adaptive_quantization", Bool(At<kBlock, &V::adaptive_quantization>),
      "true spends more on smooth areas such as sky and smoke, where flaws show most. NVIDIA only, "
      "and a little more work for the card.");
  add("preset_name", Text(At<kBlock, &V::preset_name>),
      "The preset, from presets.ini, that these settings were taken from; empty when they came "
      "from none. Choose presets in the app.");
  rows.back().effect = Effect::None;
}

}  // namespace

Settings VideoSettings() {
  Settings rows;
  AppendVideo<&C::video>(rows, "video", Effect::Restart);
  rows.push_back({"video", "adapter", Text(At<&C::adapter>), Effect::Restart,
                  "The graphics card that records, by its full name, such as NVIDIA GeForce RTX "
                  "4070. Empty picks the best one; name another only if your games run on that."});

  rows.push_back({"recording", "use_video_settings", Bool(At<&C::recording_use_video_settings>),
                  Effect::None,
                  "true records with the settings of [video] and leaves the ones below unused. "
                  "false records with the ones below; when such a recording starts with another "
                  "codec, size or quality, the replay loses what it held."});
  // A recording takes its settings when it opens.
  AppendVideo<&C::recording>(rows, "recording", Effect::None);

  const auto replay = [&](std::string key, Value value, std::string comment) {
    rows.push_back({"replay", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  replay("duration_seconds", Number(At<&C::replay, &R::duration_seconds>, Checked(1, 3600)),
         "How many seconds back the replay reaches, 1 to 3600. At 40000 kilobits a second every "
         "minute of it takes about 300 megabytes.");
  replay("max_memory_mb", MemoryLimit(At<&C::replay, &R::max_memory_mb>),
         "How many megabytes the replay may take, 256 to 262144, while max_memory_limited is true. "
         "Once they are full, the oldest goes first, and the replay gets shorter than "
         "duration_seconds.");
  replay("max_memory_limited", Bool(At<&C::replay, &R::max_memory_limited>),
         "true keeps the replay within max_memory_mb. false lets it take what duration_seconds "
         "needs.");
  replay(
      "storage", Storage(At<&C::replay, &R::storage>),
      "memory keeps the replay in memory, which is fastest. disk keeps it in files on the drive, "
      "for long replays on computers with little memory; it writes all the time while you play.");
  return rows;
}

}  // namespace orventa::schema
