// What the simulated NVIDIA driver answers and what was asked of it, shared by its libraries and the tests.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace veyrin::simulated_driver {

struct Adapter {
  std::uint32_t vendor = 0x10de;
  bool software = false;
  std::int32_t description_result = 0;
};

struct State {
  // Answers of the CUDA library; results are CUDA's, 0 is success.
  int init_result = 0;
  int device_count = 1;
  int device_count_result = 0;
  int get_device_result = 0;
  int create_context_result = 0;

  // Answers of the libraries of Windows; results are those of COM, negative is a failure.
  std::vector<Adapter> adapters{Adapter{}};
  std::int32_t factory_result = 0;
  std::int32_t create_device_result = 0;

  // Answers of the encoder library; results are NVENC's, 0 is success.
  int create_instance_result = 0;
  int open_session_result = 0;
  bool session_left_behind = false;  ///< a failed open gives a session all the same
  std::string missing_function;      ///< this member of the function list stays null
  std::map<std::uint32_t, int> capabilities;
  std::map<std::uint32_t, int>
      failing_capabilities;  ///< number to status; the answer is written nevertheless

  // What happened, counted since the last reset.
  int libraries_loaded = 0, libraries_unloaded = 0;
  int contexts_created = 0, contexts_destroyed = 0;  ///< on Windows devices
  const void* device = nullptr;                      ///< what sessions are to be opened on
  std::uint32_t device_type = 0;                     ///< its NVENC number
  std::map<std::size_t, const void*> adapter_handles;
  std::vector<std::size_t> adapters_used;  ///< that a device was wanted on
  int objects_alive = 0;                   ///< of the libraries of Windows
  int sessions_opened = 0, sessions_destroyed = 0;
  std::vector<std::uint32_t> questions;
  std::vector<std::string> mistakes;  ///< calls that a real driver would refuse
};

/// The one state of the process.
State& state();

}  // namespace veyrin::simulated_driver
