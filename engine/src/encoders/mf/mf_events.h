// What an asynchronous transform tells of itself: that it wants a picture, that it has a
// packet, that it has given all. It tells on a thread of Media Foundation's; the
// encoder's own thread asks.
#pragma once

#include "base/base_win/com_object.h"
#include "base/base_win/media_foundation.h"
#include "base/base_win/win32.h"
#include "base/mutex.h"

namespace orventa {

class MfEvents final : public ComObject<IMFAsyncCallback> {
 public:
  // `status` of the first request.
  static Microsoft::WRL::ComPtr<MfEvents> Start(
      const Microsoft::WRL::ComPtr<IMFMediaEventGenerator>& transform, Status& status);

  // One picture that it wants, or one packet that it has, counted off. False: none.
  bool TakeWanted();
  bool TakePacket();
  bool Drained() const;
  // Once it told of an error there is nothing more.
  Status Failure() const;
  // Until something more is told. False: nothing was for that long.
  bool Wait(uint32_t limit_ms) const;
  // Nothing is told from here on, and the transform is let go of.
  void Close();

  HRESULT STDMETHODCALLTYPE GetParameters(DWORD*, DWORD*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Invoke(IMFAsyncResult* result) override;

 private:
  explicit MfEvents(Microsoft::WRL::ComPtr<IMFMediaEventGenerator> transform);
  // Takes what was told and asks for more.
  void Fetch(IMFMediaEventGenerator& transform, IMFAsyncResult* result);
  void Note(MediaEventType type, HRESULT status);
  void Fail(Status status);

  const WinHandle news_;
  mutable Mutex mutex_;
  Microsoft::WRL::ComPtr<IMFMediaEventGenerator> transform_ ORVENTA_GUARDED_BY(mutex_);
  bool closed_ ORVENTA_GUARDED_BY(mutex_) = false;
  uint32_t fetching_ ORVENTA_GUARDED_BY(mutex_) = 0;  // threads, which use the transform
  uint32_t wanted_ ORVENTA_GUARDED_BY(mutex_) = 0;
  uint32_t packets_ ORVENTA_GUARDED_BY(mutex_) = 0;
  bool drained_ ORVENTA_GUARDED_BY(mutex_) = false;
  Status failure_ ORVENTA_GUARDED_BY(mutex_);
};

}  // namespace orventa
