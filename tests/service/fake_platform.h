// A platform for the service that is made of fakes, in a folder of its own. It
// writes down what the service asks of it, in order, and lets a test act at
// moments of virtual time while the service runs.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "service/messages.h"
#include "service/platform.h"
#include "service/service.h"
#include "tests/fakes/fake_clock.h"
#include "tests/fakes/fake_engine.h"
#include "tests/fakes/fake_message_loop.h"
#include "tests/fakes/temp_folder.h"

namespace orventa {

class FakePlatform : public IProcess, public IDesktop, public IDialogs {
 public:
  FakePlatform();
  ~FakePlatform() override;

  FakeClock clock;
  std::vector<std::string> journal;  // what was asked, in order
  std::vector<std::string> dialogs;
  std::string printed;

  // Knobs.
  bool media_parts_present = true;
  uint64_t instance_held_until_ns = 0;  // steady clock; kForever: for good
  uint64_t older_process_ends_ns = 0;
  bool loop_can_be_made = true;
  Status engine_can_be_made;
  bool channels_can_be_opened = true;
  MachineCodecs codecs;  // H.264 only
  std::array<bool, kCodecCount> plays = {true, true, true};
  std::function<Status(const std::string& path)> finish_interrupted = FinishInterrupted;
  std::function<void(FakeEngine&)> on_engine;  // before its start

  // Valid while the service runs.
  FakeMessageLoop* loop = nullptr;
  FakeEngine* engine = nullptr;
  std::map<std::string, ChannelOptions> channels;  // the open ones, by name

  // Acts at a time after now. Calls on a thread that is not the service's.
  void After(uint64_t ms, std::function<void()> action) {
    clock.After(ms * kNsPerMs, std::move(action));
  }
  void CloseAfter(uint64_t ms) {
    After(ms, [this] { loop->Close(); });
  }
  // A message to the main thread, as any thread posts it.
  void PostAfter(uint64_t ms, ServiceMessage message, uint64_t value) {
    After(ms, [this, message, value] {
      (void)loop->Post({static_cast<uint32_t>(message), value, {}});
    });
  }
  // One request on the control channel, as a client's.
  std::string Ask(const std::string& verb, const std::string& body = {});
  // The value of a key in the answer to STATS.
  std::string Stat(const std::string& key);

  // Writes those lines of STATS down for `notes`, with blanks between them.
  void NoteAfter(uint64_t ms, std::vector<std::string> keys = {"notice"});
  std::vector<std::string> notes;

  // What the engine says of itself from before its start on.
  void StartEngineWith(std::function<void(EngineSnapshot&)> change) {
    on_engine = [change](FakeEngine& started) { started.ChangeStatus(change); };
  }

  // The service's whole life.
  int Run(std::vector<std::string> arguments = {});
  int RunFor(uint64_t ms, std::vector<std::string> arguments = {}) {
    CloseAfter(ms);
    return Run(std::move(arguments));
  }
  // The log's texts, without times.
  std::vector<std::string> Log() const;
  size_t LogCount(const std::string& text) const;
  size_t JournalCount(const std::string& entry) const;

  // The text of a file in the settings folder; "(no such file)".
  std::string ConfigFile(const std::string& name) const;

  std::string Folder(const std::string& name) const;  // "config", "local", "program", "videos"

  std::string TakeEnvironment(const char* name) override;
  void HonourTimerRequests() override;
  bool MediaPartsPresent() override;
  InstanceResult AcquireInstance(uint32_t wait_ms, std::unique_ptr<ISingleInstance>& out) override;
  void WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) override;
  std::string_view RaiseGraphicsPriority() override;
  void SetAppIdentity() override;
  std::shared_ptr<void> HoldFolder(const std::string& path) override;
  void Print(std::string_view text) override { printed += text; }
  void EndNow(int code) override;
  std::unique_ptr<IMessageLoop> MakeLoop() override;
  void RaiseShutdownBlock(std::string_view reason) override;
  void LowerShutdownBlock() override;
  bool StartProgram(const std::string& path, const std::string& arguments,
                    const std::string& working_folder, int64_t& system_code) override;
  bool OpenTextFile(const std::string& path, int64_t& system_code) override;
  bool OpenFolder(const std::string& path, int64_t& system_code) override;
  void Show(std::string_view text, DialogIcon icon) override;

 private:
  Status MakeEngine(const Config& config, const GameList& list, std::unique_ptr<ReplayEngine>& out);
  bool OpenFakeChannel(ChannelOptions options, std::unique_ptr<IChannelServer>& out);

  const TempFolder folder_;
};

}  // namespace orventa
