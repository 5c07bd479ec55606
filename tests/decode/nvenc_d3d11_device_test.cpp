// Direct3D devices on the adapters of a simulated machine.
#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "decode/nvenc_probe.h"
#include "tests/decode/nvenc_probe_fixture.h"

namespace veyrin::test {
namespace {

using simulated_driver::Adapter;
using simulated_driver::state;

constexpr std::int32_t failure = -2147467259;  // E_FAIL
constexpr std::uint32_t nvidia = 0x10de;
constexpr std::uint32_t other_vendor = 0x8086;

INSTANTIATE_TEST_SUITE_P(
    OfDirect3D, NvencDriver,
    testing::Values(DriverCase{"Factory", [] { state().factory_result = failure; }, 0, 0},
                    DriverCase{"NoAdapter", [] { state().adapters.clear(); }, 0, 0},
                    DriverCase{"OtherVendor", [] { state().adapters = {{other_vendor}}; }, 0, 0},
                    DriverCase{"SoftwareOnly",
                               [] {
                                 state().adapters = {{nvidia, true}};
                               },
                               0, 0},
                    DriverCase{"Description",
                               [] {
                                 state().adapters = {{nvidia, false, failure}};
                               },
                               0, 0},
                    DriverCase{"Device", [] { state().create_device_result = failure; }, 0, 0}),
    [](const auto& instance) { return instance.param.name; });

class NvencAdapters : public NvencProbe {};

TEST_F(NvencAdapters, AreSearchedForTheFirstRealOneOfNvidia) {
  state().adapters = {{other_vendor}, {nvidia, true}, {nvidia, false, failure}, {nvidia}, {nvidia}};
  EXPECT_TRUE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::ten));
  EXPECT_EQ(state().adapters_used, std::vector<std::size_t>{3});
}

TEST_F(NvencAdapters, AreNotTriedOneAfterAnother) {
  state().adapters = {{nvidia}, {nvidia}};
  state().create_device_result = failure;
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight));
  EXPECT_EQ(state().adapters_used, std::vector<std::size_t>{0});
}

TEST_F(NvencAdapters, AreUnknownWithoutTheirLibrary) {
  NvencLibraries libraries = installed_nvenc_libraries();
  libraries.adapters = "/nonexistent/dxgi.dll";
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight, libraries));
  libraries.adapters = libraries.encoder;
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight, libraries));
  EXPECT_EQ(state().contexts_created, 0);
}

}  // namespace
}  // namespace veyrin::test
