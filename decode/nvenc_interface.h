// The few declarations of NVIDIA's encoder interface, version 13.0, that a capability question needs. The
// layouts are those of the driver's binary interface on 64-bit systems.
#pragma once

#include <cstddef>
#include <cstdint>

namespace veyrin::nvenc {

/// A driver's answer; 0 is success.
using Status = std::int32_t;
inline constexpr Status success = 0;

inline constexpr std::uint32_t api_version = 13;  // major in the low byte, minor in the high one

constexpr std::uint32_t structure_version(std::uint32_t number) {
  return api_version | (number << 16) | (7U << 28);
}

enum class DeviceType : std::uint32_t { directx = 0, cuda = 1 };

enum class Capability : std::uint32_t {
  width_max = 16,
  height_max = 17,
  support_10bit_encode = 39,
  support_mvhevc_encode = 58,
};

struct Guid {
  std::uint32_t data1;
  std::uint16_t data2;
  std::uint16_t data3;
  std::uint8_t data4[8];
  bool operator==(const Guid&) const = default;
};

inline constexpr Guid hevc_codec{
    0x790cdc88, 0x4522, 0x4d7b, {0x94, 0x25, 0xbd, 0xa9, 0x97, 0x5f, 0x76, 0x03}};

struct CapabilityQuestion {
  std::uint32_t version = structure_version(1);
  Capability capability = Capability::width_max;
  std::uint32_t reserved[62] = {};
};
static_assert(sizeof(CapabilityQuestion) == 256);
static_assert(offsetof(CapabilityQuestion, capability) == 4);

struct SessionParameters {
  std::uint32_t version = structure_version(1);
  DeviceType device_type = DeviceType::cuda;
  void* device = nullptr;
  void* reserved = nullptr;
  std::uint32_t requested_api_version = api_version;
  std::uint32_t reserved1[253] = {};
  void* reserved2[64] = {};
};
static_assert(sizeof(SessionParameters) == 1552);
static_assert(offsetof(SessionParameters, device) == 8);
static_assert(offsetof(SessionParameters, requested_api_version) == 24);

using UnusedFunction = void (*)();

/// Filled by the driver; null members are functions that it does not have.
struct FunctionList {
  std::uint32_t version = structure_version(2);
  std::uint32_t reserved = 0;
  UnusedFunction unused_before_capabilities[7] = {};
  Status (*get_capability)(void* session, Guid codec, CapabilityQuestion* question, int* answer) = nullptr;
  UnusedFunction unused_before_destroy[19] = {};
  Status (*destroy_session)(void* session) = nullptr;
  UnusedFunction unused_before_open[1] = {};
  Status (*open_session)(SessionParameters* parameters, void** session) = nullptr;
  UnusedFunction unused_behind_open[288] = {};
};
static_assert(sizeof(FunctionList) == 2552);
static_assert(offsetof(FunctionList, get_capability) == 64);
static_assert(offsetof(FunctionList, destroy_session) == 224);
static_assert(offsetof(FunctionList, open_session) == 240);

/// The type of the driver library's entry point, `create_instance_name`.
using CreateInstance = Status(FunctionList* functions);
inline constexpr const char* create_instance_name = "NvEncodeAPICreateInstance";

}  // namespace veyrin::nvenc
