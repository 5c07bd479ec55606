// Previews of rendered recordings with known points.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <optional>
#include <string>

#include "tests/recordings/scene.h"
#include "tests/support/temporary_folder.h"
#include "tests/thumbnail/preview_run.h"
#include "tests/thumbnail/test_recording.h"

namespace veyrin::test {
namespace {

using recordings::ImagePoint;
using recordings::Placement;
using recordings::Rig;
using recordings::Target;
using recordings::Vector3;

constexpr Rgba backdrop{16, 18, 21};

Vector3 normalised(Vector3 v) {
  return (1.0 / recordings::length(v)) * v;
}

Vector3 cross(Vector3 a, Vector3 b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

/// Where a preview's square shows a direction, computed from the rig in double precision.
class PreviewGeometry {
 public:
  PreviewGeometry(const Rig& rig, int half) : rig_(rig), half_(half) {
    baseline_ = rig.right_in_left().position;
    x_axis_ = normalised(baseline_);
    y_axis_ = normalised({-x_axis_.y, x_axis_.x, 0.0});
    z_axis_ = cross(x_axis_, y_axis_);
  }

  /// Place in the eye's square of a point in the left camera's frame.
  [[nodiscard]] ImagePoint place(Vector3 in_left, bool left) const {
    const Vector3 p = left ? in_left : in_left - baseline_;
    const double depth = dot(z_axis_, p);
    const double fx = 0.5 * (rig_.left.fx + rig_.right.fx), fy = 0.5 * (rig_.left.fy + rig_.right.fy);
    const double cx = 0.5 * (rig_.left.cx + rig_.right.cx), cy = 0.5 * (rig_.left.cy + rig_.right.cy);
    const double scale = static_cast<double>(half_) / rig_.left.width;
    return {(fx * dot(x_axis_, p) / depth + cx + 0.5) * scale - 0.5,
            (fy * dot(y_axis_, p) / depth + cy + 0.5) * scale - 0.5};
  }

 private:
  Rig rig_;
  int half_;
  Vector3 baseline_, x_axis_, y_axis_, z_axis_;
};

/// Mean place of the rim of a target's white core: perspective draws a cone's ellipse off its axis.
ImagePoint core_centre(const PreviewGeometry& geometry, const Rig& rig, const Target& target, bool left) {
  const Placement& eye_in_stage = left ? rig.left_in_stage : rig.right_in_stage;
  const Placement left_from_stage = rig.left_in_stage.inverse();
  const Vector3 ray = target.position(0.0) - eye_in_stage.position;
  const double distance = recordings::length(ray);
  const Vector3 axis = normalised(ray);
  const Vector3 side = normalised(cross(axis, {0.0, 1.0, 0.0})), up = cross(side, axis);
  const double radius = 0.95 * target.core_radius;
  ImagePoint sum;
  constexpr int steps = 64;
  for (int step = 0; step < steps; ++step) {
    const double angle = 2.0 * std::numbers::pi * step / steps;
    const Vector3 rim = eye_in_stage.position + distance * axis + radius * std::cos(angle) * side +
                        radius * std::sin(angle) * up;
    const ImagePoint at = geometry.place(left_from_stage * rim, left);
    sum.x += at.x / steps;
    sum.y += at.y / steps;
  }
  return sum;
}

/// Centroid of what is bright around a place; nothing too near the square's border.
std::optional<ImagePoint> bright_centre(const Image& image, int x_offset, int side, ImagePoint near,
                                        int radius) {
  const int x0 = static_cast<int>(std::lround(near.x)), y0 = static_cast<int>(std::lround(near.y));
  if (x0 < radius || y0 < radius || x0 + radius >= side || y0 + radius >= side) return std::nullopt;
  double weight = 0.0, x_sum = 0.0, y_sum = 0.0;
  for (int y = y0 - radius; y <= y0 + radius; ++y) {
    for (int x = x0 - radius; x <= x0 + radius; ++x) {
      if (std::hypot(x - near.x, y - near.y) > radius) continue;
      const double bright = std::max(0.0, image.row(y)[x_offset + x].green - 60.0);
      weight += bright;
      x_sum += bright * x;
      y_sum += bright * y;
    }
  }
  return ImagePoint{x_sum / weight, y_sum / weight};
}

TEST(DualPreview, ShowsEveryPointWhereTheMovieWillAndInTheSameRows) {
  const TemporaryFolder folder;
  const recordings::RecordingPlan plan = frame_plan(640);
  const PreviewRun run = run_preview(record(plan, folder / "clip.mp4"), folder / "preview.png", 960);
  ASSERT_TRUE(run.written) << run.log;
  ASSERT_EQ(run.image->width(), 960);
  ASSERT_EQ(run.image->height(), 480);

  const Rig rig = recordings::make_rig(plan.width, plan.height, plan.rig);
  const PreviewGeometry geometry(rig, 480);
  int seen = 0;
  for (const Target& target : recordings::targets()) {
    SCOPED_TRACE(target.name);
    const ImagePoint left = core_centre(geometry, rig, target, true);
    const ImagePoint right = core_centre(geometry, rig, target, false);
    const auto left_found = bright_centre(*run.image, 0, 480, left, 10);
    const auto right_found = bright_centre(*run.image, 480, 480, right, 10);
    if (!left_found || !right_found) continue;
    ++seen;
    EXPECT_NEAR(left_found->x, left.x, 0.25);
    EXPECT_NEAR(left_found->y, left.y, 0.25);
    EXPECT_NEAR(right_found->x, right.x, 0.25);
    EXPECT_NEAR(right_found->y, right.y, 0.25);
    EXPECT_NEAR(left_found->y, right_found->y, 0.15);
  }
  EXPECT_GE(seen, 6);
}

TEST(DualPreview, HasTheSizeThatTheWidthAsksFor) {
  const TemporaryFolder folder;
  const auto input = record(frame_plan(160), folder / "clip.mp4");
  for (const auto& [width, height] : {std::pair{1, 1}, {2, 1}, {3, 1}, {641, 320}, {960, 480}, {1280, 640}}) {
    const PreviewRun run = run_preview(input, folder / "preview.png", width);
    ASSERT_TRUE(run.written) << run.log;
    EXPECT_EQ(run.image->width(), width);
    EXPECT_EQ(run.image->height(), height);
  }
}

TEST(DualPreview, KeepsTheFillColourInTheLastColumnOfAnOddWidth) {
  const TemporaryFolder folder;
  const auto input = record(frame_plan(160), folder / "clip.mp4");
  const PreviewRun run = run_preview(input, folder / "preview.png", 641);
  ASSERT_TRUE(run.written) << run.log;
  for (int y = 0; y < 320; ++y) {
    EXPECT_EQ(run.image->row(y)[640], backdrop);
    EXPECT_NE(run.image->row(y)[639], backdrop);
  }
}

TEST(DualPreview, OfOnePixelHasTheLeftEyesMeanLight) {
  const TemporaryFolder folder;
  const auto input = record(frame_plan(160), folder / "clip.mp4");
  const PreviewRun large = run_preview(input, folder / "large.png", 320);
  const PreviewRun small = run_preview(input, folder / "small.png", 1);
  ASSERT_TRUE(large.written && small.written);
  double green = 0.0;
  for (int y = 0; y < 160; ++y) {
    for (int x = 0; x < 160; ++x)
      green += std::pow(large.image->row(y)[x].green / 255.0, 2.2) / (160.0 * 160.0);
  }
  EXPECT_NEAR(small.image->row(0)[0].green, 255.0 * std::pow(green, 1.0 / 2.2), 2.0);
}

TEST(DualPreview, ShowsTheFillColourWhereAnEyeSawNothing) {
  // Cameras that squint far outwards: a side of each rectified square lies beyond their pictures.
  const TemporaryFolder folder;
  recordings::RecordingPlan plan = frame_plan(160);
  plan.rig.twist = 40.0;
  const PreviewRun run = run_preview(record(plan, folder / "clip.mp4"), folder / "preview.png", 320);
  ASSERT_TRUE(run.written) << run.log;
  int filled = 0;
  for (int y = 0; y < 160; ++y) {
    for (int x = 0; x < 320; ++x) filled += run.image->row(y)[x] == backdrop ? 1 : 0;
  }
  EXPECT_GT(filled, 100);
  EXPECT_LT(filled, 160 * 160);
}

double mean_difference(const Image& a, const Image& b) {
  double sum = 0.0;
  for (int y = 0; y < a.height(); ++y) {
    for (int x = 0; x < a.width(); ++x) {
      const Rgba p = a.row(y)[x], q = b.row(y)[x];
      sum += std::abs(p.red - q.red) + std::abs(p.green - q.green) + std::abs(p.blue - q.blue);
    }
  }
  return sum / (3.0 * a.width() * a.height());
}

TEST(DualPreview, PutsTheLeftEyeLeftWhateverTheOrderOfCamerasAndTracks) {
  const TemporaryFolder folder;
  recordings::RecordingPlan plan = frame_plan(320);
  const PreviewRun plain = run_preview(record(plan, folder / "plain.mp4"), folder / "plain.png", 640);
  plan.swap_cameras = true;
  const PreviewRun cameras = run_preview(record(plan, folder / "cameras.mp4"), folder / "cameras.png", 640);
  plan.swap_cameras = false;
  plan.swap_tracks = true;
  const PreviewRun tracks = run_preview(record(plan, folder / "tracks.mp4"), folder / "tracks.png", 640);
  ASSERT_TRUE(plain.written && cameras.written && tracks.written);
  // Swapped cameras are rectified by the same geometry up to the rounding of their poses.
  EXPECT_LT(mean_difference(*plain.image, *cameras.image), 0.5);
  EXPECT_LT(mean_difference(*plain.image, *tracks.image), 0.01);
}

TEST(DualPreview, OfARecordingInProgressIgnoresItsEditLists) {
  const TemporaryFolder folder;
  recordings::RecordingPlan plan = frame_plan(160);
  plan.start_offset = 0.5;
  const auto input = record(plan, folder / "recording.mp4");
  std::filesystem::rename(input, folder / "recording.mp4.partial");
  const PreviewRun run = run_preview(folder / "recording.mp4.partial", folder / "preview.png", 320);
  EXPECT_TRUE(run.written) << run.log;
}

TEST(DualPreview, OfBadlyInterleavedTracksIsTheSame) {
  const TemporaryFolder folder;
  recordings::RecordingPlan plan = frame_plan(160);
  plan.seconds = 0.5;
  const PreviewRun good = run_preview(record(plan, folder / "good.mp4"), folder / "good.png", 320);
  plan.bad_interleaving = true;
  const PreviewRun bad = run_preview(record(plan, folder / "bad.mp4"), folder / "bad.png", 320);
  ASSERT_TRUE(good.written && bad.written);
  EXPECT_EQ(mean_difference(*good.image, *bad.image), 0.0);
}

/// Mean of (largest - smallest) / largest of a pixel's codes.
double mean_saturation(const Image& image) {
  double sum = 0.0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) {
      const Rgba p = image.row(y)[x];
      const int largest = std::max({p.red, p.green, p.blue}), smallest = std::min({p.red, p.green, p.blue});
      sum += largest > 0 ? static_cast<double>(largest - smallest) / largest : 0.0;
    }
  }
  return sum / (image.width() * image.height());
}

double mean_green(const Image& image) {
  double sum = 0.0;
  for (int y = 0; y < image.height(); ++y) {
    for (int x = 0; x < image.width(); ++x) sum += image.row(y)[x].green;
  }
  return sum / (image.width() * image.height());
}

TEST(DualPreview, OfAnHlgRecordingLooksLikeItsStandardRangeTwin) {
  const TemporaryFolder folder;
  recordings::RecordingPlan plan = frame_plan(320);
  const PreviewRun standard = run_preview(record(plan, folder / "sdr.mp4"), folder / "sdr.png", 640);
  plan.codec = recordings::VideoCodec::hevc10;
  const PreviewRun hlg = run_preview(record(plan, folder / "hlg.mp4"), folder / "hlg.png", 640);
  ASSERT_TRUE(standard.written && hlg.written) << standard.log << hlg.log;
  EXPECT_NE(hlg.log.find("transfer=HLG"), std::string::npos);
  const double difference = mean_difference(*standard.image, *hlg.image);
  const double saturation = mean_saturation(*hlg.image) / mean_saturation(*standard.image);
  std::printf("mean difference %.2f codes, saturation %.2f, brightness %.1f against %.1f\n", difference,
              saturation, mean_green(*hlg.image), mean_green(*standard.image));
  EXPECT_LT(difference, 8.0);
  EXPECT_GT(saturation, 0.8);
  EXPECT_LT(saturation, 1.2);
  EXPECT_NEAR(mean_green(*hlg.image), mean_green(*standard.image), 8.0);
}

}  // namespace
}  // namespace veyrin::test
