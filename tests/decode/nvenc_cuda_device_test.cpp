// CUDA devices of the simulated driver.
#include <gtest/gtest.h>

#include "tests/decode/nvenc_probe_fixture.h"

namespace veyrin::test {
namespace {

using simulated_driver::state;

INSTANTIATE_TEST_SUITE_P(
    OfCuda, NvencDriver,
    testing::Values(DriverCase{"Init", [] { state().init_result = 100; }, 0, 0},
                    DriverCase{"DeviceCount", [] { state().device_count_result = 1; }, 0, 0},
                    DriverCase{"NoDevice", [] { state().device_count = 0; }, 0, 0},
                    DriverCase{"Device", [] { state().get_device_result = 101; }, 0, 0},
                    DriverCase{"Context", [] { state().create_context_result = 2; }, 0, 0}),
    [](const auto& instance) { return instance.param.name; });

}  // namespace
}  // namespace veyrin::test
