#include "encoders/mf/mf_events.h"

#include <utility>

#include "encoders/mf/mf_options.h"

namespace orventa {

using Microsoft::WRL::ComPtr;

MfEvents::MfEvents(ComPtr<IMFMediaEventGenerator> transform)
    : news_(CreateEventW(nullptr, FALSE, FALSE, nullptr)), transform_(std::move(transform)) {}

ComPtr<MfEvents> MfEvents::Start(const ComPtr<IMFMediaEventGenerator>& transform, Status& status) {
  ComPtr<MfEvents> events;
  Adopt(events, new MfEvents(transform));
  status = events->news_.valid()
               ? MfStatus(transform->BeginGetEvent(events.Get(), nullptr), "BeginGetEvent")
               : Status(StatusCode::OutOfMemory, "CreateEvent failed");
  return events;
}

bool MfEvents::TakeWanted() {
  MutexLock lock(mutex_);
  if (wanted_ == 0) return false;
  --wanted_;
  return true;
}

bool MfEvents::TakePacket() {
  MutexLock lock(mutex_);
  if (packets_ == 0) return false;
  --packets_;
  return true;
}

bool MfEvents::Drained() const {
  MutexLock lock(mutex_);
  return drained_;
}

Status MfEvents::Failure() const {
  MutexLock lock(mutex_);
  return failure_;
}

bool MfEvents::Wait(uint32_t limit_ms) const {
  return WaitForSingleObject(news_.get(), limit_ms) == WAIT_OBJECT_0;
}

void MfEvents::Close() {
  ComPtr<IMFMediaEventGenerator> released;  // outside the lock
  for (;;) {
    {
      MutexLock lock(mutex_);
      closed_ = true;
      if (fetching_ == 0) {
        released.Swap(transform_);
        return;
      }
    }
    Wait(INFINITE);
  }
}

HRESULT MfEvents::Invoke(IMFAsyncResult* result) {
  IMFMediaEventGenerator* transform = nullptr;
  {
    MutexLock lock(mutex_);
    if (closed_) return S_OK;
    transform = transform_.Get();
    ++fetching_;
  }
  Fetch(*transform, result);
  {
    MutexLock lock(mutex_);
    --fetching_;
  }
  SetEvent(news_.get());
  return S_OK;
}

void MfEvents::Fetch(IMFMediaEventGenerator& transform, IMFAsyncResult* result) {
  ComPtr<IMFMediaEvent> event;
  MediaEventType type = MEUnknown;
  HRESULT told = S_OK;
  HRESULT got = transform.EndGetEvent(result, &event);
  if (SUCCEEDED(got)) got = event->GetType(&type);
  if (SUCCEEDED(got)) got = event->GetStatus(&told);
  if (SUCCEEDED(got)) {
    Note(type, told);
    got = transform.BeginGetEvent(this, nullptr);
  }
  if (FAILED(got)) Fail(MfStatus(got, "waiting for the encoder"));
}

void MfEvents::Note(MediaEventType type, HRESULT status) {
  if (type == MEError || FAILED(status)) {
    return Fail(MfStatus(FAILED(status) ? status : E_FAIL, "encoding"));
  }
  MutexLock lock(mutex_);
  switch (type) {
    case METransformNeedInput: ++wanted_; break;
    case METransformHaveOutput: ++packets_; break;
    case METransformDrainComplete: drained_ = true; break;
    default: break;  // markers and other words that nobody asked for
  }
}

void MfEvents::Fail(Status status) {
  MutexLock lock(mutex_);
  if (failure_.ok()) failure_ = std::move(status);
}

}  // namespace orventa
