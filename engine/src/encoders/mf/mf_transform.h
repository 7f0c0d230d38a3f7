// One hardware transform of Media Foundation: found on the adapter, set up, given
// pictures and asked for packets, and ended. What it wants and has stands in its
// events. Used by one thread at a time.
#pragma once

#include <vector>

#include "base/base_win/media_foundation.h"
#include "encoders/encoder.h"
#include "encoders/mf/mf_events.h"
#include "encoders/mf/mf_names.h"
#include "media/media_win/adapter_facts.h"

namespace orventa {

class MfTransform {
 public:
  // `mf` must outlive it, and so must `settings`, which are as PlainCardSettings gives
  // them. A session is open for as long as it lives.
  MfTransform(const MediaFoundation& mf, const AdapterFacts& adapter,
              const EncoderSettings& settings);
  ~MfTransform();
  MfTransform(const MfTransform&) = delete;
  MfTransform& operator=(const MfTransform&) = delete;

  // Once: an encoder with the settings that does not run yet.
  Status Open();
  // Between Open and Begin: the largest picture of a few usual sizes; zeros when it
  // takes none of them.
  void ReadLimits(uint32_t& width, uint32_t& height);
  // It runs from here on.
  Status Begin();

  // From Begin on.
  MfEvents& events() { return *events_.Get(); }
  // The sequence header as it tells it itself; empty while it does not.
  std::vector<uint8_t> Header() const;
  // One picture, when it wants one. The texture stays its maker's: not to be changed
  // until the packet is there.
  Status Put(ID3D11Texture2D& texture, uint32_t sub_resource, uint64_t pts, bool keyframe);
  // What it told that it has; no sample when that is a new type of packets.
  Status Take(Microsoft::WRL::ComPtr<IMFSample>& sample);
  // No more pictures come.
  Status Drain();

 private:
  Status MakeManager();
  Status Find(MfActivations& found) const;
  bool IsOfAdapter(IMFActivate& activation) const;
  Status Use(IMFActivate& activation);
  Status Unlock();
  Status SetProperties();
  Status SetTypes();
  Status TakeNewType();
  Status Tell(MFT_MESSAGE_TYPE message, const char* call, ULONG_PTR parameter = 0);
  void End();

  const MediaFoundation& mf_;
  const AdapterFacts adapter_;
  const EncoderSettings& settings_;
  Microsoft::WRL::ComPtr<IMFDXGIDeviceManager> manager_;
  Microsoft::WRL::ComPtr<IMFActivate> activation_;
  Microsoft::WRL::ComPtr<IMFTransform> transform_;
  Microsoft::WRL::ComPtr<ICodecAPI> codec_;
  Microsoft::WRL::ComPtr<MfEvents> events_;
  Microsoft::WRL::ComPtr<IMFMediaType> packet_type_;
  DWORD input_ = 0;  // numbers of its only streams
  DWORD output_ = 0;
  MfOutput packets_;
};

}  // namespace orventa
