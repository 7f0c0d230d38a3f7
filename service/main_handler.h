// What reaches the main thread while the service runs: posted messages, timers
// and the desktop's events, each handed to whom it concerns.
#pragma once

#include "base/message_loop.h"

namespace orventa {

class MainHandler : public IMessageHandler {
 public:
  void OnMessage(Message message) override;
  void OnTimer(uint32_t timer_id) override;
  void OnSystemEvent(SystemEvent event) override;
};

}  // namespace orventa
