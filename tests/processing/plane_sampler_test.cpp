#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "processing/kernels.h"
#include "processing/plane_pass.h"
#include "tests/processing/make_processor.h"
#include "tests/processing/oracle.h"
#include "tests/processing/random_maps.h"
#include "tests/processing/sampling_kernels_fixture.h"
#include "tests/processing/yuv_frames.h"
#include "tests/rectification/stored_maps.h"

namespace veyrin::test {
namespace {

constexpr int source_width = 30;
constexpr int source_height = 26;
constexpr float fill = 60.0F;  // unlike any value that a tap could fall back to by mistake

class PlaneSampler : public ::testing::TestWithParam<KernelChoice> {
 public:
  PlaneSampler() : frame(make_frame(AV_PIX_FMT_NV12, source_width, source_height, 2)) {
    fill_random(*frame, 5);
    maps = random_maps({150, 24}, {source_width, source_height}, 11);
  }

  void SetUp() override {
    if (!kernel_set_runs_here(GetParam()))
      GTEST_SKIP() << "this CPU does not run " << kernel_set_name(GetParam());
  }

  [[nodiscard]] SamplingTools tools() const { return {choose_kernels(GetParam()), weights}; }
  [[nodiscard]] PlaneView luma() const {
    return {frame->data[0], frame->linesize[0], {source_width, source_height}, SampleStorage::bits_8};
  }
  [[nodiscard]] PlaneView chroma() const {
    return {frame->data[1], frame->linesize[1], {source_width / 2, source_height / 2}, SampleStorage::bits_8};
  }

  FramePtr frame;
  StoredMaps maps;
  LanczosWeights weights = make_lanczos_weights();
};

TEST_P(PlaneSampler, CountsTapsOutsideThePlaneAsFill) {
  const auto table_owner = luma_table(maps.left, {source_width, source_height});
  const PlaneRemapTable& table = *table_owner;
  int borders = 0;
  for (std::int32_t row = 0; row < table.height(); ++row) {
    for (const RemapRun& run : table.runs(row)) borders += run.neighbourhood == Neighbourhood::border ? 1 : 0;
    std::vector<float> values(static_cast<std::size_t>(table.width()));
    sample_one(tools(), table, row, 0, table.width(), luma(), fill, values.data());
    for (std::size_t column = 0; column < values.size(); ++column) {
      const std::size_t entry = static_cast<std::size_t>(row) * values.size() + column;
      const double exact =
          oracle_sample(*frame, Channel::y, maps.left.map_x[entry], maps.left.map_y[entry], 1.0, fill);
      ASSERT_NEAR(values[column], exact, 1e-3) << "row " << row << ", column " << column;
    }
  }
  EXPECT_GT(borders, 20);
}

TEST_P(PlaneSampler, SamplesBothChannelsOfAPairPlane) {
  const auto table_owner = chroma_table(maps.left, {source_width, source_height});
  const PlaneRemapTable& table = *table_owner;
  for (std::int32_t row = 0; row < table.height(); ++row) {
    std::vector<float> u(static_cast<std::size_t>(table.width()));
    std::vector<float> v(u.size());
    sample_pair(tools(), table, row, 0, table.width(), chroma(), fill, u.data(), v.data());
    for (std::size_t column = 0; column < u.size(); ++column) {
      const std::size_t entry = 2 * static_cast<std::size_t>(row) * 2 * u.size() + 2 * column;
      const float x = maps.left.map_x[entry];
      const float y = maps.left.map_y[entry];
      ASSERT_NEAR(u[column], oracle_sample(*frame, Channel::u, x, y, 0.5, fill), 1e-3)
          << row << ", " << column;
      ASSERT_NEAR(v[column], oracle_sample(*frame, Channel::v, x, y, 0.5, fill), 1e-3)
          << row << ", " << column;
    }
  }
}

TEST_P(PlaneSampler, GivesTheSameValuesForAnyStretchOfARow) {
  const auto table_owner = luma_table(maps.left, {source_width, source_height});
  const PlaneRemapTable& table = *table_owner;
  constexpr std::int32_t row = 12;
  std::vector<float> whole(static_cast<std::size_t>(table.width()));
  sample_one(tools(), table, row, 0, table.width(), luma(), fill, whole.data());
  for (std::int32_t first = 0; first < table.width(); first += 7)
    for (const std::int32_t count : {0, 1, 5, 8, 40}) {
      if (first + count > table.width()) continue;
      std::vector<float> part(static_cast<std::size_t>(count) + 1, -1.0F);
      sample_one(tools(), table, row, first, count, luma(), fill, part.data());
      EXPECT_EQ(part.back(), -1.0F);
      part.pop_back();
      EXPECT_EQ(part, std::vector<float>(whole.begin() + first, whole.begin() + first + count))
          << first << " + " << count;
    }
}

TEST_P(PlaneSampler, RepeatedBorderPositionsKeepTheirOwnValues) {
  // Runs of one position, as invalid map entries make them, between others.
  StoredMap map{{8, 1}, {0.3F, -1.5F, -1.5F, 27.7F, 27.7F, 27.7F, 1.2F, 0.3F}, {}};
  map.map_y.assign(8, 12.4F);
  map.map_y[5] = 13.0F;
  const auto table_owner = luma_table(map, {source_width, source_height});
  const PlaneRemapTable& table = *table_owner;
  ASSERT_EQ(table.runs(0).size(), 1U);
  ASSERT_EQ(table.runs(0).front().neighbourhood, Neighbourhood::border);
  float values[8] = {};
  sample_one(tools(), table, 0, 0, 8, luma(), fill, values);
  for (std::size_t i = 0; i < 8; ++i)
    EXPECT_NEAR(values[i], oracle_sample(*frame, Channel::y, map.map_x[i], map.map_y[i], 1.0, fill), 1e-3)
        << i;
}

INSTANTIATE_TEST_SUITE_P(AllKernels, PlaneSampler, ::testing::ValuesIn(all_kernel_sets),
                         [](const auto& test) { return kernel_set_name(test.param); });

}  // namespace
}  // namespace veyrin::test
