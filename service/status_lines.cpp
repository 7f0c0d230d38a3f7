#include "service/status_lines.h"

#include <string_view>
#include <type_traits>

#include "base/log.h"
#include "base/text.h"
#include "service/service_state.h"

namespace orventa {
namespace {

class Lines {
 public:
  void Add(std::string_view key, std::string_view value) {
    text_ += key;
    text_ += '=';
    // One line a key, whatever a window calls itself.
    for (const char c : value) {
      if (c == '\n') {
        text_ += "\\n";
      } else if (c != '\r') {
        text_ += c;
      }
    }
    text_ += '\n';
  }
  void Add(std::string_view key, const std::string& value) { Add(key, std::string_view(value)); }
  void Add(std::string_view key, const char* value) { Add(key, std::string_view(value)); }
  void Add(std::string_view key, double value) { Add(key, Format("%.2f", value)); }
  template <typename Integer>
  requires std::is_integral_v<Integer>
  void Add(std::string_view key, Integer value) { Add(key, std::to_string(+value)); }

  std::string Take() { return std::move(text_); }

 private:
  std::string text_;
};

void LogEncoding(ServiceState& state, const EngineSnapshot& snapshot) {
  if (snapshot.encoder_backend.empty()) return;
  std::string encoding = snapshot.adapter.empty() ? "the default adapter" : snapshot.adapter;
  encoding += " with " + snapshot.encoder_backend;
  if (encoding == state.status_log.encoding) return;
  state.status_log.encoding = encoding;
  LogInfo("encoding on %s%s%s", encoding.c_str(), snapshot.ten_bit ? "" : " 8-bit",
          snapshot.hdr_output ? " hdr10" : "");
}

void AddNotices(Lines& lines, ServiceState& state) {
  const NoticeRecord newest = state.notices.Newest();
  lines.Add("notice_seq", newest.seq);
  lines.Add("written_seq", state.saves.files_written.load());
  lines.Add("notice_warning", newest.warning);
  lines.Add("notice", newest.detail.empty() ? newest.title : newest.title + "\n" + newest.detail);
}

void AddSound(Lines& lines, const EngineSnapshot& snapshot, const EngineLevels& levels) {
  lines.Add("microphone", snapshot.microphone);
  lines.Add("microphone_trouble", snapshot.microphone_trouble);
  lines.Add("system_level", levels.system);
  lines.Add("microphone_level", levels.microphone);
  lines.Add("microphone_drops", snapshot.microphone_drops);
}

void AddPicture(Lines& lines, const EngineSnapshot& snapshot) {
  lines.Add("running", snapshot.running);
  lines.Add("capturing", snapshot.capturing);
  lines.Add("paused", snapshot.paused);
  lines.Add("recording", snapshot.recording);
  lines.Add("recording_seconds", snapshot.recording_seconds);
  lines.Add("recording_bytes", snapshot.recording_bytes);
  lines.Add("recording_path", snapshot.recording_path);
  lines.Add("width", snapshot.width);
  lines.Add("height", snapshot.height);
  lines.Add("fps", snapshot.fps);
  lines.Add("source_width", snapshot.source_width);
  lines.Add("source_height", snapshot.source_height);
  lines.Add("encoder_backend", snapshot.encoder_backend);
  lines.Add("bitrate_kbps", snapshot.bitrate_kbps);
  lines.Add("max_bitrate_kbps", snapshot.max_bitrate_kbps);
  lines.Add("rate_control", snapshot.rate_control);
  lines.Add("codec", snapshot.codec);
}

void AddEncoder(Lines& lines, const EngineSnapshot& snapshot) {
  lines.Add("encoder_in_flight_max", snapshot.encoder_in_flight_max);
  lines.Add("hdr", snapshot.hdr);
  lines.Add("hdr_output", snapshot.hdr_output);
}

void AddReplay(Lines& lines, ServiceState& state, const EngineSnapshot& snapshot) {
  lines.Add("session_overrides", snapshot.session_overrides);
  lines.Add("replay_seconds", snapshot.replay_seconds);
  lines.Add("clip_seconds", snapshot.clip_seconds);
  lines.Add("custom_request", CustomRunWord(state.custom_request));
  lines.Add("target_description", snapshot.target_description);
  lines.Add("target_name", snapshot.target_name);
  lines.Add("target_path", snapshot.target_path);
  lines.Add("target_is_window", snapshot.target_is_window);
  lines.Add("target_custom_settings", snapshot.target_custom_settings);
  lines.Add("buffered_seconds", snapshot.buffered_seconds);
  lines.Add("buffered_bytes", snapshot.buffered_bytes);
  lines.Add("frames_captured", snapshot.frames_captured);
  lines.Add("frames_duplicated", snapshot.frames_duplicated);
}

void AddHealth(Lines& lines, ServiceState& state, const EngineSnapshot& snapshot) {
  bool saving = false;
  {
    const MutexLock lock(state.saves.lock);
    saving = state.saves.saving;
  }
  lines.Add("adapter", snapshot.adapter);
  lines.Add("restarts", snapshot.restarts);
  lines.Add("history_resets", snapshot.history_resets);
  lines.Add("saved_elsewhere", snapshot.saved_elsewhere);
  lines.Add("saving", saving);
  lines.Add("no_target", snapshot.no_target);
  lines.Add("no_encoder", snapshot.no_encoder);
  lines.Add("settings_written", state.config_stamp.load());
  lines.Add("gamelist_written", state.game_list_stamp.load());
  lines.Add("last_error", snapshot.last_error);
}

}  // namespace

std::string StatusLines(ServiceState& state) {
  const EngineSnapshot snapshot = state.engine->GetStatus();
  LogEncoding(state, snapshot);
  Lines lines;
  AddNotices(lines, state);
  AddPicture(lines, snapshot);
  AddSound(lines, snapshot, state.engine->Levels());
  AddEncoder(lines, snapshot);
  AddReplay(lines, state, snapshot);
  AddHealth(lines, state, snapshot);
  return lines.Take();
}

}  // namespace orventa
