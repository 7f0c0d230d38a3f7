// What the service needs of its platform, as references that the platform's main
// fills in and that outlive RunService. Main thread, unless a line says otherwise.
// No operation blocks but where it says so.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/clock.h"
#include "base/files.h"
#include "base/instance.h"
#include "base/message_loop.h"
#include "base/status.h"
#include "encoders/machine_codecs.h"
#include "mp4/repair.h"
#include "service/channel/channel.h"
#include "settings/config.h"
#include "video/replay_engine.h"

namespace orventa {

enum class DialogIcon { Information, Error };

// Boxes for what goes wrong before there is any other way to speak.
class IDialogs {
 public:
  virtual ~IDialogs() = default;
  // Returns when the user has closed it, where there is a user to do so.
  virtual void Show(std::string_view text, DialogIcon icon) = 0;
};

// The process itself and its relation to others.
class IProcess {
 public:
  virtual ~IProcess() = default;
  // An environment variable's value, which no child process will see.
  virtual std::string TakeEnvironment(const char* name) = 0;
  // Exact timers even while no window of ours is in front.
  virtual void HonourTimerRequests() = 0;
  // Whether the system has the media components that nothing works without.
  virtual bool MediaPartsPresent() = 0;
  // Both wait, for at most the limit.
  virtual InstanceResult AcquireInstance(uint32_t wait_ms,
                                         std::unique_ptr<ISingleInstance>& out) = 0;
  virtual void WaitForOlderProcess(uint64_t process_id, uint32_t wait_ms) = 0;
  // Asks for a rank before the games where programs compete for the graphics card;
  // the word for the rank that it now has.
  virtual std::string_view RaiseGraphicsPriority() = 0;
  // Gives taskbar and notifications one identity for this program.
  virtual void SetAppIdentity() = 0;
  // Keeps a folder from being moved or deleted while the result lives. Empty
  // where the system has no such hold, or refused it.
  virtual std::shared_ptr<void> HoldFolder(const std::string& path) = 0;
  // To whoever started this program from a terminal or with its output taken up;
  // nowhere when nobody did.
  virtual void Print(std::string_view text) = 0;
  // Ends the process with no destructor run. Only a fake returns.
  virtual void EndNow(int code) = 0;
};

class IDesktop {
 public:
  virtual ~IDesktop() = default;
  // The main thread's loop with its hidden window. Null: there can be none.
  virtual std::unique_ptr<IMessageLoop> MakeLoop() = 0;
  // Asks the system not to shut down yet, and shows why. After MakeLoop.
  virtual void RaiseShutdownBlock(std::string_view reason) = 0;
  virtual void LowerShutdownBlock() = 0;
  // Starts a program that lives on its own; it may take the foreground.
  // `system_code` says why it could not.
  virtual bool StartProgram(const std::string& path, const std::string& arguments,
                            const std::string& folder, int64_t& system_code) = 0;
  // Opens a text file in whatever edits such files here, a folder in whatever
  // shows folders.
  virtual bool OpenTextFile(const std::string& path, int64_t& system_code) = 0;
  virtual bool OpenFolder(const std::string& path, int64_t& system_code) = 0;
};

struct Platform {
  IClock& clock;
  KnownFolders folders;
  std::string user_name;
  IProcess& process;
  IDesktop& desktop;
  IDialogs& dialogs;
  // The one engine, not started. Called once a run.
  std::function<Status(const Config& config, const GameList& game_list,
                       std::unique_ptr<ReplayEngine>& engine)>
      make_engine;
  // OpenChannel, or what stands in for it.
  std::function<bool(IClock& clock, ChannelOptions options, std::unique_ptr<IChannelServer>& out)>
      open_channel;
  // What the card of that name encodes, or the best card. Empty: nothing is known.
  std::function<MachineCodecs(const std::string& adapter)> find_codecs = nullptr;
  // Clears `plays` of what players here do not show. Asked by a first run only. Empty:
  // they show all.
  std::function<void(MachineCodecs& codecs)> mark_what_plays = nullptr;
  // FinishInterrupted, or what stands in for it. Waits for the drive; the repair's thread.
  std::function<Status(const std::string& path)> finish_interrupted = FinishInterrupted;
};

}  // namespace orventa
