#include "service/background_work.h"

#include <exception>
#include <utility>

#include "base/log.h"

namespace orventa {
namespace {

// Shared with a piece that its asker may have given up.
struct Awaited {
  Mutex mutex;
  std::unique_ptr<IWaitPoint> changed;
  bool done ORVENTA_GUARDED_BY(mutex) = false;
};

void RunCatchingAll(const char* name, const std::function<void()>& piece) {
  try {
    piece();
  } catch (const std::exception& error) {
    LogError("%s: %s", name, error.what());
  } catch (...) {
    LogError("%s: an exception without a text", name);
  }
}

}  // namespace

BackgroundWork::BackgroundWork(IClock& clock, const char* name)
    : clock_(clock), name_(name), work_(clock.MakeWaitPoint()) {}

BackgroundWork::~BackgroundWork() {
  std::unique_ptr<IThread> thread;
  {
    const MutexLock lock(mutex_);
    ending_ = true;
    waiting_.clear();
    work_->NotifyAll();
    thread = std::move(thread_);
  }
}

bool BackgroundWork::Post(std::function<void()> piece) {
  const MutexLock lock(mutex_);
  try {
    if (!thread_) {
      thread_ = clock_.StartThread(name_, ThreadPriority::Background, [this] { Run(); });
    }
  } catch (const std::exception& error) {
    LogError("%s: %s", name_, error.what());
    return false;
  }
  waiting_.push_back(std::move(piece));
  work_->NotifyAll();
  return true;
}

bool BackgroundWork::RunUntil(uint64_t steady_ns, std::function<void()> piece) {
  const auto awaited = std::make_shared<Awaited>();
  awaited->changed = clock_.MakeWaitPoint();
  const bool posted = Post([awaited, name = name_, piece = std::move(piece)] {
    RunCatchingAll(name, piece);
    const MutexLock lock(awaited->mutex);
    awaited->done = true;
    awaited->changed->NotifyAll();
  });
  const MutexLock lock(awaited->mutex);
  while (posted && !awaited->done && clock_.SteadyNs() < steady_ns) {
    awaited->changed->Wait(awaited->mutex, steady_ns);
  }
  return awaited->done;
}

bool BackgroundWork::IsIdle() const {
  const MutexLock lock(mutex_);
  return !working_ && waiting_.empty();
}

void BackgroundWork::Run() {
  std::function<void()> piece;
  while (Next(piece)) RunCatchingAll(name_, piece);
}

bool BackgroundWork::Next(std::function<void()>& piece) {
  piece = nullptr;
  const MutexLock lock(mutex_);
  working_ = false;
  while (waiting_.empty() && !ending_) work_->Wait(mutex_, kForever);
  if (ending_) return false;
  piece = std::move(waiting_.front());
  waiting_.pop_front();
  working_ = true;
  return true;
}

}  // namespace orventa
