#include "decode/nvenc_probe.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "common/platform/shared_library.h"
#include "tests/decode/simulated_driver/driver_state.h"

namespace veyrin {
namespace {

using simulated_driver::state;

constexpr std::uint32_t width_max = 16;
constexpr std::uint32_t height_max = 17;
constexpr std::uint32_t ten_bit_encode = 39;
constexpr std::uint32_t mv_hevc_encode = 58;

const NvencLibraries missing_device_library{"/nonexistent/libcuda.so.1", "libnvidia-encode.so.1"};
const NvencLibraries missing_encoder_library{"libcuda.so.1", "/nonexistent/libnvidia-encode.so.1"};
// Each library exists but is the other one, so that no entry point is found.
const NvencLibraries foreign_device_library{"libnvidia-encode.so.1", "libnvidia-encode.so.1"};
const NvencLibraries foreign_encoder_library{"libcuda.so.1", "libcuda.so.1"};

/// On a machine with the simulated driver, whose GPU encodes two views up to 8192 x 4096 in 10 bits.
class NvencProbe : public testing::Test {
 protected:
  void SetUp() override {
    state() = {};
    state().capabilities = {{width_max, 8192}, {height_max, 4096}, {ten_bit_encode, 1}, {mv_hevc_encode, 1}};
  }

  /// Whatever was answered, nothing is left open.
  void TearDown() override {
    EXPECT_EQ(state().sessions_destroyed, state().sessions_opened);
    EXPECT_EQ(state().contexts_destroyed, state().contexts_created);
    EXPECT_EQ(state().libraries_unloaded, state().libraries_loaded);
    EXPECT_EQ(state().mistakes, std::vector<std::string>{});
  }
};

TEST_F(NvencProbe, FindsTheInstalledDriverAndAsksIt) {
  EXPECT_TRUE(probe_stereo_mv_hevc_support(1920, 1920, /*ten_bit=*/true));
  EXPECT_EQ(state().libraries_loaded, 2);
  EXPECT_EQ(state().contexts_created, 1);
  EXPECT_EQ(state().sessions_opened, 1);
  EXPECT_EQ(state().questions,
            (std::vector<std::uint32_t>{mv_hevc_encode, width_max, height_max, ten_bit_encode}));
}

TEST_F(NvencProbe, DoesNotAskForTenBitsWhenEightAreWanted) {
  EXPECT_TRUE(probe_stereo_mv_hevc_support(1920, 1920, /*ten_bit=*/false));
  EXPECT_EQ(state().questions, (std::vector<std::uint32_t>{mv_hevc_encode, width_max, height_max}));
}

struct CapabilityCase {
  const char* name;
  std::map<std::uint32_t, int> changes;
  std::map<std::uint32_t, int> failing;
  StereoEncodeRequest request;
  bool supported;
};

std::ostream& operator<<(std::ostream& out, const CapabilityCase& capability) {
  return out << capability.name;
}

class NvencCapability : public NvencProbe, public testing::WithParamInterface<CapabilityCase> {};

TEST_P(NvencCapability, DecidesTheAnswer) {
  for (const auto& [number, value] : GetParam().changes) state().capabilities[number] = value;
  state().failing_capabilities = GetParam().failing;
  const StereoEncodeRequest& request = GetParam().request;
  EXPECT_EQ(probe_stereo_mv_hevc_support(request.width, request.height, request.ten_bit),
            GetParam().supported);
  EXPECT_EQ(state().sessions_opened, 1);
}

constexpr StereoEncodeRequest small{1920, 1080, false};
constexpr StereoEncodeRequest small_ten_bit{1920, 1080, true};
constexpr int generic_failure = 20;
INSTANTIATE_TEST_SUITE_P(
    Answers, NvencCapability,
    testing::Values(
        CapabilityCase{"TwoViews", {}, {}, small, true},
        CapabilityCase{"TwoViewsInTenBits", {}, {}, small_ten_bit, true},
        CapabilityCase{"NoTwoViews", {{mv_hevc_encode, 0}}, {}, small, false},
        CapabilityCase{
            "AnyNonZeroIsYes", {{mv_hevc_encode, 2}, {ten_bit_encode, -1}}, {}, small_ten_bit, true},
        CapabilityCase{"ExactlyTheLargestSize", {}, {}, {8192, 4096, false}, true},
        CapabilityCase{"OnePixelTooWide", {}, {}, {8193, 4096, false}, false},
        CapabilityCase{"OnePixelTooHigh", {}, {}, {8192, 4097, false}, false},
        CapabilityCase{"WidthAndHeightAreNotMixedUp", {}, {}, {4096, 8192, false}, false},
        CapabilityCase{"NoTenBits", {{ten_bit_encode, 0}}, {}, small_ten_bit, false},
        CapabilityCase{"NoTenBitsWhenEightAreWanted", {{ten_bit_encode, 0}}, {}, small, true},
        CapabilityCase{"TwoViewsQuestionFails", {}, {{mv_hevc_encode, generic_failure}}, small, false},
        CapabilityCase{"WidthQuestionFails", {}, {{width_max, generic_failure}}, small, false},
        CapabilityCase{"HeightQuestionFails", {}, {{height_max, generic_failure}}, small, false},
        CapabilityCase{"TenBitQuestionFails", {}, {{ten_bit_encode, generic_failure}}, small_ten_bit, false}),
    [](const auto& instance) { return instance.param.name; });

struct DriverCase {
  const char* name;
  void (*spoil)();
  int contexts;
  int sessions;
};

std::ostream& operator<<(std::ostream& out, const DriverCase& driver) {
  return out << driver.name;
}

class NvencDriver : public NvencProbe, public testing::WithParamInterface<DriverCase> {};

TEST_P(NvencDriver, ThatFailsMeansNoSupport) {
  GetParam().spoil();
  EXPECT_FALSE(probe_stereo_mv_hevc_support(1920, 1080, /*ten_bit=*/false));
  EXPECT_EQ(state().contexts_created, GetParam().contexts);
  EXPECT_EQ(state().sessions_opened, GetParam().sessions);
  EXPECT_TRUE(state().questions.empty());
}

INSTANTIATE_TEST_SUITE_P(
    Failures, NvencDriver,
    testing::Values(
        DriverCase{"Init", [] { state().init_result = 100; }, 0, 0},
        DriverCase{"DeviceCount", [] { state().device_count_result = 1; }, 0, 0},
        DriverCase{"NoDevice", [] { state().device_count = 0; }, 0, 0},
        DriverCase{"Device", [] { state().get_device_result = 101; }, 0, 0},
        DriverCase{"Context", [] { state().create_context_result = 2; }, 0, 0},
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
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080, false}, missing_device_library));
  EXPECT_EQ(state().libraries_loaded, 0);
}

TEST_F(NvencProbe, AnswersNoWithoutTheEncoderLibrary) {
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080, false}, missing_encoder_library));
  EXPECT_EQ(state().contexts_created, 1);
}

TEST_F(NvencProbe, AnswersNoWhenALibraryHasNoEntryPoint) {
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080, false}, foreign_device_library));
  EXPECT_FALSE(probe_stereo_mv_hevc_support({1920, 1080, false}, foreign_encoder_library));
  EXPECT_EQ(state().sessions_opened, 0);
}

TEST_F(NvencProbe, CanBeAskedAgain) {
  for (int time = 0; time < 3; ++time) EXPECT_TRUE(probe_stereo_mv_hevc_support(1920, 1080, false));
  EXPECT_EQ(state().libraries_loaded, 6);
}

TEST(SharedLibrary, GivesNothingWhenItDoesNotExist) {
  const platform::SharedLibrary library("libno-such-library.so.1");
  EXPECT_FALSE(library.is_open());
  EXPECT_EQ(library.function<int()>("main"), nullptr);
}

TEST(SharedLibrary, IsClosedOnceWhenItWasMoved) {
  state() = {};
  {
    platform::SharedLibrary library("libcuda.so.1");
    ASSERT_TRUE(library.is_open());
    const platform::SharedLibrary moved(std::move(library));
    EXPECT_NE(moved.function<int(unsigned)>("cuInit"), nullptr);
    EXPECT_EQ(moved.function<int(unsigned)>("cuNoSuchFunction"), nullptr);
    EXPECT_EQ(state().libraries_unloaded, 0);
  }
  EXPECT_EQ(state().libraries_loaded, 1);
  EXPECT_EQ(state().libraries_unloaded, 1);
}

}  // namespace
}  // namespace veyrin
