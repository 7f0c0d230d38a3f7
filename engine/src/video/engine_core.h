// What the pieces of the engine share. Owned by Engine, outlives its thread.
#pragma once

#include <string>

#include "base/files.h"
#include "base/text.h"
#include "video/device_holder.h"
#include "video/engine_orders.h"
#include "video/engine_platform.h"
#include "video/pipeline_parts.h"
#include "video/recorder.h"
#include "video/session_state.h"
#include "video/status_board.h"

namespace orventa {

// The environment's switches for looking into trouble, read as the engine starts.
struct EngineSwitches {
  std::string pace_log_path;      // ORVENTA_PACE_LOG
  bool flush_each_frame = false;  // ORVENTA_FLUSH_EACH_FRAME
  bool no_repeats = false;        // ORVENTA_NO_REPEATS

  static EngineSwitches FromEnvironment() {
    return {.pace_log_path = Environment("ORVENTA_PACE_LOG"),
            .flush_each_frame = EnvironmentSwitch("ORVENTA_FLUSH_EACH_FRAME"),
            .no_repeats = EnvironmentSwitch("ORVENTA_NO_REPEATS")};
  }
};

struct EngineCore {
  EngineCore(const EnginePlatform& the_platform, const KnownFolders& the_folders,
             const Config& config)
      : platform(the_platform),
        folders(the_folders),
        orders(the_platform.clock),
        session(config, JoinPath(the_folders.local_data, "replay")),
        recorder(platform, folders, orders, session, status),
        device(the_platform) {}

  IClock& clock() const { return platform.clock; }

  EnginePlatform platform;
  KnownFolders folders;
  EngineOrders orders;
  StatusBoard status;
  SessionState session;
  Recorder recorder;
  DeviceHolder device;
  PipelineParts parts;  // engine thread
};

}  // namespace orventa
