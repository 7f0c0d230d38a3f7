// What the import headers lack of Media Foundation's encoders: names of attributes, and
// the way to ask for an encoder's properties.
#pragma once

// First: the other headers of the system lean on it.
#include <windows.h>

#include <mfapi.h>
#include <strmif.h>

// After those, which bring what it leans on.
#include <codecapi.h>

__CRT_UUID_DECL(ICodecAPI, 0x901DB4C7, 0x31CE, 0x41A2, 0x85, 0xDC, 0x8F, 0xA0, 0xBF, 0x41, 0xB8,
                0xDA)

namespace orventa::mf {

// Of a search for transforms: the LUID of their adapter.
inline constexpr GUID kAdapterLuid = {
    0x1D39518C, 0xE220, 0x4DA8, {0xA0, 0x7F, 0xBA, 0x17, 0x25, 0x52, 0xD6, 0xB1}};
// Of a transform that was found: "VEN_" and the PCI number of its card's maker.
inline constexpr GUID kHardwareVendor = {
    0x3AECB0CC, 0x035B, 0x4BCC, {0x81, 0x85, 0x2B, 0x8D, 0x55, 0x1E, 0xF3, 0xAF}};

// Of a type of pictures, in nits; the last in 1/10000 nit.
inline constexpr GUID kMaxContentLight = {
    0x50253128, 0xC110, 0x4DE4, {0x98, 0xAE, 0x46, 0xA3, 0x24, 0xFA, 0xE6, 0xDA}};
inline constexpr GUID kMaxAverageLight = {
    0x58D4BF57, 0x6F52, 0x4733, {0xA1, 0x95, 0xA9, 0xE2, 0x9E, 0xCF, 0x9E, 0x27}};
inline constexpr GUID kMaxMasteringLuminance = {
    0xD6C6B997, 0x272F, 0x4CA1, {0x8D, 0x00, 0x80, 0x42, 0x11, 0x1A, 0x0F, 0xF6}};
inline constexpr GUID kMinMasteringLuminance = {
    0x839A4460, 0x4E7E, 0x4B4F, {0xAE, 0x79, 0xCC, 0x08, 0x90, 0x5C, 0x7B, 0x27}};

// Profiles of AV1.
inline constexpr UINT32 kAv1Main8 = 1;
inline constexpr UINT32 kAv1Main10 = 2;

}  // namespace orventa::mf
