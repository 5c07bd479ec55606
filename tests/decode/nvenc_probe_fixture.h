// A machine with the simulated driver, for the tests of the probe and of the devices it works on.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <map>
#include <ostream>
#include <string>
#include <vector>

#include "decode/nvenc_probe.h"
#include "tests/decode/simulated_driver/driver_state.h"

namespace veyrin::test {

namespace capability {
inline constexpr std::uint32_t width_max = 16;
inline constexpr std::uint32_t height_max = 17;
inline constexpr std::uint32_t ten_bit_encode = 39;
inline constexpr std::uint32_t mv_hevc_encode = 58;
}  // namespace capability

/// Its GPU encodes two views up to 8192 x 4096 in 10 bits.
class NvencProbe : public testing::Test {
 protected:
  void SetUp() override {
    using namespace capability;
    simulated_driver::state() = {};
    simulated_driver::state().capabilities = {
        {width_max, 8192}, {height_max, 4096}, {ten_bit_encode, 1}, {mv_hevc_encode, 1}};
  }

  /// Whatever was answered, nothing is left open.
  void TearDown() override {
    const auto& state = simulated_driver::state();
    EXPECT_EQ(state.sessions_destroyed, state.sessions_opened);
    EXPECT_EQ(state.contexts_destroyed, state.contexts_created);
    EXPECT_EQ(state.objects_alive, 0);
    EXPECT_EQ(state.libraries_unloaded, state.libraries_loaded);
    EXPECT_EQ(state.mistakes, std::vector<std::string>{});
  }
};

struct DriverCase {
  const char* name;
  void (*spoil)();
  int contexts;
  int sessions;
};

inline std::ostream& operator<<(std::ostream& out, const DriverCase& driver) {
  return out << driver.name;
}

/// A driver that fails somewhere before the first question.
class NvencDriver : public NvencProbe, public testing::WithParamInterface<DriverCase> {};

}  // namespace veyrin::test
