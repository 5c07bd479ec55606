#include "decode/nvenc_probe.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/platform/program.h"
#include "tests/decode/nvenc_probe_fixture.h"

namespace veyrin::test {
namespace {

using namespace capability;
using simulated_driver::state;

NvencLibraries missing_device_library() {
  NvencLibraries libraries = installed_nvenc_libraries();
  libraries.device = "/nonexistent/" + libraries.device;
  return libraries;
}

NvencLibraries missing_encoder_library() {
  NvencLibraries libraries = installed_nvenc_libraries();
  libraries.encoder = "/nonexistent/" + libraries.encoder;
  return libraries;
}

// Each library exists but is the other one, so that no entry point is found.
NvencLibraries foreign_device_library() {
  NvencLibraries libraries = installed_nvenc_libraries();
  libraries.device = libraries.encoder;
  return libraries;
}

NvencLibraries foreign_encoder_library() {
  NvencLibraries libraries = installed_nvenc_libraries();
  libraries.encoder = libraries.device;
  return libraries;
}

int library_count() {
  return installed_nvenc_libraries().adapters.empty() ? 2 : 3;
}

TEST_F(NvencProbe, FindsTheInstalledDriverAndAsksIt) {
  EXPECT_TRUE(probe_stereo_mv_hevc_support({1920, 1920}, BitDepth::ten));
  EXPECT_EQ(state().libraries_loaded, library_count());
  EXPECT_EQ(state().contexts_created, 1);
  EXPECT_EQ(state().sessions_opened, 1);
  EXPECT_EQ(state().questions,
            (std::vector<std::uint32_t>{mv_hevc_encode, width_max, height_max, ten_bit_encode}));
}

TEST_F(NvencProbe, DoesNotAskForTenBitsWhenEightAreWanted) {
  EXPECT_TRUE(probe_stereo_mv_hevc_support({1920, 1920}, BitDepth::eight));
  EXPECT_EQ(state().questions, (std::vector<std::uint32_t>{mv_hevc_encode, width_max, height_max}));
}

/// What is to be encoded of one view.
struct Picture {
  Size size;
  BitDepth depth;
};

struct CapabilityCase {
  const char* name;
  std::map<std::uint32_t, int> changes;
  std::map<std::uint32_t, int> failing;
  Picture picture;
  bool supported;
};

std::ostream& operator<<(std::ostream& out, const CapabilityCase& capability) {
  return out << capability.name;
}

class NvencCapability : public NvencProbe, public testing::WithParamInterface<CapabilityCase> {};

TEST_P(NvencCapability, DecidesTheAnswer) {
  for (const auto& [number, value] : GetParam().changes) state().capabilities[number] = value;
  state().failing_capabilities = GetParam().failing;
  EXPECT_EQ(probe_stereo_mv_hevc_support(GetParam().picture.size, GetParam().picture.depth),
            GetParam().supported);
  EXPECT_EQ(state().sessions_opened, 1);
}

constexpr Picture small{{1920, 1080}, BitDepth::eight};
constexpr Picture small_ten_bit{{1920, 1080}, BitDepth::ten};
constexpr int generic_failure = 20;
INSTANTIATE_TEST_SUITE_P(
    Answers, NvencCapability,
    testing::Values(
        CapabilityCase{"TwoViews", {}, {}, small, true},
        CapabilityCase{"TwoViewsInTenBits", {}, {}, small_ten_bit, true},
        CapabilityCase{"NoTwoViews", {{mv_hevc_encode, 0}}, {}, small, false},
        CapabilityCase{
            "AnyNonZeroIsYes", {{mv_hevc_encode, 2}, {ten_bit_encode, -1}}, {}, small_ten_bit, true},
        CapabilityCase{"ExactlyTheLargestSize", {}, {}, {{8192, 4096}, BitDepth::eight}, true},
        CapabilityCase{"OnePixelTooWide", {}, {}, {{8193, 4096}, BitDepth::eight}, false},
        CapabilityCase{"OnePixelTooHigh", {}, {}, {{8192, 4097}, BitDepth::eight}, false},
        CapabilityCase{"WidthAndHeightAreNotMixedUp", {}, {}, {{4096, 8192}, BitDepth::eight}, false},
        CapabilityCase{"NoTenBits", {{ten_bit_encode, 0}}, {}, small_ten_bit, false},
        CapabilityCase{"NoTenBitsWhenEightAreWanted", {{ten_bit_encode, 0}}, {}, small, true},
        CapabilityCase{"TwoViewsQuestionFails", {}, {{mv_hevc_encode, generic_failure}}, small, false},
        CapabilityCase{"WidthQuestionFails", {}, {{width_max, generic_failure}}, small, false},
        CapabilityCase{"HeightQuestionFails", {}, {{height_max, generic_failure}}, small, false},
        CapabilityCase{"TenBitQuestionFails", {}, {{ten_bit_encode, generic_failure}}, small_ten_bit, false}),
    [](const auto& instance) { return instance.param.name; });

TEST_P(NvencDriver, ThatFailsMeansNoSupport) {
  GetParam().spoil();
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight));
  EXPECT_EQ(state().contexts_created, GetParam().contexts);
  EXPECT_EQ(state().sessions_opened, GetParam().sessions);
  EXPECT_TRUE(state().questions.empty());
}

INSTANTIATE_TEST_SUITE_P(
    OfTheEncoder, NvencDriver,
    testing::Values(
        // What a driver answers that is older than the interface version asked for.
        DriverCase{"OldVersion", [] { state().create_instance_result = 15; }, 1, 0},
        DriverCase{"OpenSession", [] { state().open_session_result = 10; }, 1, 0},
        DriverCase{"OpenSessionHalfway",
                   [] {
                     state().open_session_result = 10;
                     state().session_left_behind = true;
                   },
                   1, 1},
        DriverCase{"NoOpenFunction", [] { state().missing_function = "nvEncOpenEncodeSessionEx"; }, 1, 0},
        DriverCase{"NoCapabilityFunction", [] { state().missing_function = "nvEncGetEncodeCaps"; }, 1, 0},
        DriverCase{"NoDestroyFunction", [] { state().missing_function = "nvEncDestroyEncoder"; }, 1, 0}),
    [](const auto& instance) { return instance.param.name; });

TEST_F(NvencProbe, AnswersNoWithoutTheDeviceLibrary) {
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight, missing_device_library()));
  EXPECT_EQ(state().contexts_created, 0);
}

TEST_F(NvencProbe, AnswersNoWithoutTheEncoderLibrary) {
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight, missing_encoder_library()));
  EXPECT_EQ(state().contexts_created, 1);
}

TEST_F(NvencProbe, AnswersNoWhenALibraryHasNoEntryPoint) {
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight, foreign_device_library()));
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight, foreign_encoder_library()));
  EXPECT_EQ(state().sessions_opened, 0);
}

TEST_F(NvencProbe, CanBeAskedAgain) {
  for (int time = 0; time < 3; ++time)
    EXPECT_TRUE(probe_stereo_mv_hevc_support({1920, 1080}, BitDepth::eight));
  EXPECT_EQ(state().libraries_loaded, 3 * library_count());
}

TEST(SharedLibrary, IsNullWhenItDoesNotExist) {
  EXPECT_EQ(platform::SharedLibrary::load("no-such-library"), nullptr);
}

TEST(SharedLibrary, IsUnloadedWithItsOwner) {
  state() = {};
  {
    auto library = platform::SharedLibrary::load(installed_nvenc_libraries().encoder);
    ASSERT_NE(library, nullptr);
    const auto owner = std::move(library);
    EXPECT_NE(owner->function<nvenc::CreateInstance>(nvenc::create_instance_name), nullptr);
    EXPECT_EQ(owner->function<int(unsigned)>("NvEncodeNoSuchFunction"), nullptr);
    EXPECT_EQ(state().libraries_unloaded, 0);
  }
  EXPECT_EQ(state().libraries_loaded, 1);
  EXPECT_EQ(state().libraries_unloaded, 1);
}

}  // namespace
}  // namespace veyrin::test
