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
      "h264 plays everywhere. hevc and av1 look better at the same size, need a graphics card "
      "that\n"
      "encodes them, and some editors and websites do not take them.");
  add("ten_bit", Bool(At<kBlock, &V::ten_bit>),
      "true records 10 instead of 8 bits a colour: no bands in dark skies and fog. Needs hevc or "
      "av1\n"
      "and a card that can; otherwise it is left at 8.");
  add("hdr", Bool(At<kBlock, &V::hdr>),
      "true records HDR games as HDR10, which looks right on HDR displays only. false turns them "
      "into an\n"
      "ordinary picture that looks right everywhere. Needs hevc or av1.");
  add("bitrate_kbps",
      AndThen(Number(At<kBlock, &V::bitrate_kbps>, Checked(500, 500000)),
              // Whoever names a bitrate has chosen it.
              [](Config& config) { At<kBlock, &V::bitrate_auto>(config) = false; }),
      "Kilobits a second, 500 to 500000. 40000 are about 300 megabytes a minute. Counts only "
      "while\n"
      "bitrate_auto is false; a file with this line and without that one has chosen its bitrate.");
  add("bitrate_auto", Bool(At<kBlock, &V::bitrate_auto>),
      "true works the bitrate out from resolution, frame rate and codec, and leaves bitrate_kbps "
      "alone.");
  add("max_bitrate_percent", Number(At<kBlock, &V::max_bitrate_percent>, Checked(100, 400)),
      "How far vbr may go above the bitrate in busy scenes, in percent of it, 100 to 400. cbr and "
      "cqp\n"
      "do not look at it.");
  add("rate_control", Words(At<kBlock, &V::rate_control>, {"cbr", "vbr", "cqp"}),
      "vbr spends more on busy scenes and less on calm ones, the best use of the room. cbr always\n"
      "spends the same. cqp keeps the quality the same, whatever the size.");
  add("fps", Number(At<kBlock, &V::fps>, Checked(1, 480)),
      "Frames a second, 1 to 480. 60 is what most players and websites show; more costs the "
      "graphics\n"
      "card and, at the same quality, room.");
  add("resolution", Resolution(At<kBlock, &V::resolution>),
      "native keeps the game's own size. A height in pixels from 360 to 4320, as 1080 or 1440, "
      "scales\n"
      "to it and keeps the shape.");
  add("preset_h264", Text(At<kBlock, &V::preset_h264>),
      "How hard the encoder tries with h264, by the encoder's own name; only the line of the codec "
      "in\n"
      "use counts. Empty is its default. NVIDIA's go from p1, fastest, to p7, best.");
  add("preset_hevc", Text(At<kBlock, &V::preset_hevc>), "The same with hevc.");
  add("preset_av1", Text(At<kBlock, &V::preset_av1>), "The same with av1.");
  add("keyframe_interval_seconds",
      Number(At<kBlock, &V::keyframe_interval_seconds>, Checked(1, 60)),
      "Clips can only start on a keyframe, so this is also the trim granularity: at 2, a \"30 "
      "second\" "
      "clip is really 28-30 seconds.");
  add("adaptive_quantization", Bool(At<kBlock, &V::adaptive_quantization>),
      "true spends more on flat areas such as sky and smoke, where blocks show most. NVIDIA only; "
      "it\n"
      "costs the card a little.");
  add("preset_name", Text(At<kBlock, &V::preset_name>),
      "The named preset that these settings came from; empty when they came from none. Presets lie "
      "in\n"
      "presets.ini.");
  rows.back().effect = Effect::None;
}

}  // namespace

Settings VideoSettings() {
  Settings rows;
  AppendVideo<&C::video>(rows, "video", Effect::Restart);
  rows.push_back({"video", "adapter", Text(At<&C::adapter>), Effect::Restart,
                  "The graphics card that captures and encodes, by its driver's name. Empty picks "
                  "the best one; name\n"
                  "another only if games run on that."});

  rows.push_back({"recording", "use_video_settings", Bool(At<&C::recording_use_video_settings>),
                  Effect::None,
                  "true records with the settings of [video]; the ones below are kept for when it "
                  "is false. false\n"
                  "builds the picture anew when a recording starts, and with another codec, size "
                  "or quality the replay\n"
                  "loses what it held."});
  // A recording takes its settings when it opens.
  AppendVideo<&C::recording>(rows, "recording", Effect::None);

  const auto replay = [&](std::string key, Value value, std::string comment) {
    rows.push_back({"replay", std::move(key), std::move(value), Effect::None, std::move(comment)});
  };
  replay(
      "duration_seconds", Number(At<&C::replay, &R::duration_seconds>, Checked(1, 3600)),
      "How many seconds back the replay reaches, 1 to 3600. Every minute takes about 300 megabytes "
      "at 40000\nkilobits a second.");
  replay("max_memory_mb", MemoryLimit(At<&C::replay, &R::max_memory_mb>),
         "The most megabytes that the replay may take, 256 to 262144. Once it is full, the oldest "
         "goes "
         "first, so\nthe replay gets shorter than duration_seconds. Counts only while "
         "max_memory_limited is true.");
  replay("max_memory_limited", Bool(At<&C::replay, &R::max_memory_limited>),
         "true holds the replay to max_memory_mb. false lets it take what duration_seconds needs.");
  replay("storage", Storage(At<&C::replay, &R::storage>),
         "memory keeps the replay in memory, which is fastest and wears nothing. disk keeps it in "
         "files "
         "on the\ndrive, for long replays on machines with little memory.");
  return rows;
}

}  // namespace orventa::schema
