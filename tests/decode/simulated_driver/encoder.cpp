// An encoder library that answers capability questions. It reads the structures by the byte offsets of the
// driver's binary interface instead of the declarations under test.
#include <cstdint>
#include <cstring>

#include "tests/decode/simulated_driver/driver_state.h"
#include "tests/decode/simulated_driver/load_count.h"

using veyrin::simulated_driver::state;

namespace {

constexpr int success = 0;
constexpr int invalid_version = 15;
constexpr int invalid_parameter = 8;
int the_session = 0;

template <typename Value>
Value read_at(const void* structure, std::size_t offset) {
  Value value;
  std::memcpy(&value, static_cast<const std::uint8_t*>(structure) + offset, sizeof value);
  return value;
}

template <typename Value>
void write_at(void* structure, std::size_t offset, Value value) {
  std::memcpy(static_cast<std::uint8_t*>(structure) + offset, &value, sizeof value);
}

struct Guid {
  std::uint64_t low;
  std::uint64_t high;
};

bool is_hevc(Guid codec) {
  static const std::uint8_t bytes[16] = {0x88, 0xdc, 0x0c, 0x79, 0x22, 0x45, 0x7b, 0x4d,
                                         0x94, 0x25, 0xbd, 0xa9, 0x97, 0x5f, 0x76, 0x03};
  return std::memcmp(&codec, bytes, sizeof bytes) == 0;
}

int open_session(void* parameters, void** session) {
  if (read_at<std::uint32_t>(parameters, 0) != 0x7001000d) return invalid_version;
  if (read_at<std::uint32_t>(parameters, 24) != 0x0000000d) return invalid_version;
  if (read_at<std::uint32_t>(parameters, 4) != state().device_type)
    state().mistakes.emplace_back("device type");
  if (state().device == nullptr || read_at<const void*>(parameters, 8) != state().device)
    state().mistakes.emplace_back("session on an unknown device");
  const int result = state().open_session_result;
  if (result == success || state().session_left_behind) {
    ++state().sessions_opened;
    *session = &the_session;
  }
  return result;
}

int get_capability(void* session, Guid codec, void* question, int* answer) {
  if (session != &the_session) state().mistakes.emplace_back("question to an unknown session");
  if (read_at<std::uint32_t>(question, 0) != 0x7001000d) return invalid_version;
  if (!is_hevc(codec)) return invalid_parameter;
  const auto number = read_at<std::uint32_t>(question, 4);
  state().questions.push_back(number);
  *answer = state().capabilities[number];
  const auto failing = state().failing_capabilities.find(number);
  return failing != state().failing_capabilities.end() ? failing->second : success;
}

int destroy_session(void* session) {
  if (session != &the_session) state().mistakes.emplace_back("destroyed an unknown session");
  ++state().sessions_destroyed;
  return success;
}

template <typename Function>
void offer(void* functions, std::size_t offset, const char* name, Function* function) {
  if (state().missing_function != name) write_at(functions, offset, function);
}

}  // namespace

extern "C" int NvEncodeAPICreateInstance(void* functions) {
  if (read_at<std::uint32_t>(functions, 0) != 0x7002000d) return invalid_version;
  offer(functions, 64, "nvEncGetEncodeCaps", get_capability);
  offer(functions, 224, "nvEncDestroyEncoder", destroy_session);
  offer(functions, 240, "nvEncOpenEncodeSessionEx", open_session);
  return state().create_instance_result;
}
