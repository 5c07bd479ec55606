#include <gtest/gtest.h>

#include <fstream>

#include "common/platform/program.h"
#include "convert/packaged_software_encoder.h"
#include "tests/convert/fake_packaged_encoder.h"

namespace veyrin::test {
namespace {

using namespace std::chrono_literals;
using test::file_text;

class PackagedEncoderProbe : public testing::Test {
 protected:
  std::string refusal(BitDepth depth) {
    std::string error;
    return PackagedSoftwareEncoder::check_availability(depth, error) ? "" : error;
  }

  test::FakePackagedEncoder fake_;
};

std::filesystem::path beside_this_program() {
  return platform::module_path().parent_path() / "ffmpeg-gpl";
}

TEST_F(PackagedEncoderProbe, TheEnvironmentNamesTheProgram) {
  EXPECT_EQ(PackagedSoftwareEncoder::locate(), fake_.path());
  setenv("VEYRIN_FFMPEG_GPL", "relative/name", 1);
  EXPECT_EQ(PackagedSoftwareEncoder::locate(), "relative/name");
}

TEST_F(PackagedEncoderProbe, AnEmptyOrAbsentNameMeansBesideTheConverter) {
  setenv("VEYRIN_FFMPEG_GPL", "", 1);
  EXPECT_EQ(PackagedSoftwareEncoder::locate(), beside_this_program());
  unsetenv("VEYRIN_FFMPEG_GPL");
  EXPECT_EQ(PackagedSoftwareEncoder::locate(), beside_this_program());
}

TEST_F(PackagedEncoderProbe, AMissingProgramIsNamedWithItsSwitch) {
  setenv("VEYRIN_FFMPEG_GPL", "/nowhere/my ffmpeg", 1);
  EXPECT_EQ(
      refusal(BitDepth::eight),
      "packaged GPL FFmpeg executable not found (expected /nowhere/my ffmpeg; VEYRIN_FFMPEG_GPL may override "
      "the location)");
}

TEST_F(PackagedEncoderProbe, AFolderIsNoProgram) {
  const std::string folder = fake_.path().parent_path();
  setenv("VEYRIN_FFMPEG_GPL", folder.c_str(), 1);
  EXPECT_EQ(refusal(BitDepth::ten), "packaged GPL FFmpeg executable not found (expected " + folder +
                                        "; VEYRIN_FFMPEG_GPL may override the location)");
}

TEST_F(PackagedEncoderProbe, ExitCodeZeroPasses) {
  fake_.write("exit 0", "exit 1");
  EXPECT_EQ(refusal(BitDepth::eight), "");
  EXPECT_EQ(refusal(BitDepth::ten), "");
}

TEST_F(PackagedEncoderProbe, AnyOtherEndFails) {
  for (const char* end : {"exit 1", "exit 255", "kill -9 $$", "exec /nowhere/at/all"}) {
    fake_.write(end, "exit 0");
    EXPECT_EQ(refusal(BitDepth::eight), "packaged GPL FFmpeg does not provide a working libx265 encoder")
        << end;
    EXPECT_EQ(refusal(BitDepth::ten), "packaged GPL FFmpeg does not provide a working 10-bit libx265 encoder")
        << end;
  }
}

TEST_F(PackagedEncoderProbe, AFileThatCannotRunFails) {
  std::ofstream(fake_.path()) << "no program";
  EXPECT_EQ(refusal(BitDepth::eight), "packaged GPL FFmpeg does not provide a working libx265 encoder");
}

TEST_F(PackagedEncoderProbe, RunsInTheProgramsFolderWithItsArgumentsAndNullStreams) {
  fake_.write(
      "streams=$(readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2)\n"
      "echo \"$streams\" > streams; echo \"$*\" > arguments; pwd > folder",
      "");
  EXPECT_TRUE(probe_packaged_encoder(fake_.path(), BitDepth::ten));
  EXPECT_EQ(file_text(fake_.file("streams")), "/dev/null\n/dev/null\n/dev/null\n");
  EXPECT_EQ(
      file_text(fake_.file("arguments")),
      "-hide_banner -loglevel error -f lavfi -i color=size=64x64:rate=1 -frames:v 1 -c:v libx265 -pix_fmt "
      "yuv420p10le -f null -\n");
  EXPECT_EQ(file_text(fake_.file("folder")), fake_.path().parent_path().string() + "\n");
}

TEST_F(PackagedEncoderProbe, ARelativeNameIsFoundFromTheConvertersFolder) {
  fake_.write("exit 0", "");
  const auto relative = std::filesystem::relative(fake_.path());
  setenv("VEYRIN_FFMPEG_GPL", relative.c_str(), 1);
  EXPECT_EQ(refusal(BitDepth::eight), "");
}

TEST_F(PackagedEncoderProbe, AProgramThatHangsIsKilledAtTheLimit) {
  fake_.write(std::string(test::leave_pid) + "exec sleep 100", "");
  EXPECT_FALSE(probe_packaged_encoder(fake_.path(), BitDepth::eight, 300ms));
  EXPECT_FALSE(test::process_exists(std::stoi(file_text(fake_.file("pid")))));
}

TEST_F(PackagedEncoderProbe, TheLimitIsHalfAMinute) {
  EXPECT_EQ(packaged_probe_limit, 30000ms);
}

}  // namespace
}  // namespace veyrin::test
