#include "service/service_state.h"

namespace orventa {
namespace {

std::atomic<ServiceState*> current_service = nullptr;

}  // namespace

ServiceState* CurrentService() {
  return current_service.load();
}

void PublishService(ServiceState* state) {
  current_service.store(state);
}

const char* CustomRunWord(CustomRun run) {
  return run == CustomRun::None ? "" : run == CustomRun::Replay ? "replay" : "recording";
}

GameList CopyGameList(ServiceState& state) {
  const MutexLock lock(state.config_lock);
  return state.game_list;
}

Config CopyConfig(ServiceState& state) {
  const MutexLock lock(state.config_lock);
  return state.config;
}

}  // namespace orventa
