// Spatial output that runs out of memory or disk.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "spatial/spatial_metadata.h"
#include "spatial/two_view_stream.h"
#include "tests/spatial/spatial_video_writer_fixture.h"
#include "tests/support/linux/failing_allocation.h"

namespace veyrin::test {
namespace {

using test::FailingAllocation;

const std::string no_memory = ": Cannot allocate memory";

using Messages = std::set<std::string>;

/// These and what is said while the records are made.
Messages with_those_of_records(Messages messages) {
  messages.merge(Messages{
      "could not allocate FFmpeg spatial metadata",
      "could not allocate FFmpeg stereo metadata",
      "could not allocate FFmpeg 3D reference-display metadata",
      "could not attach FFmpeg 3D reference-display metadata",
      "could not allocate FFmpeg projection metadata",
      "could not attach FFmpeg projection metadata",
  });
  return messages;
}

TEST(SpatialMetadataShortage, TheRecordThatThereIsNoMemoryForIsNamed) {
  Messages messages;
  bool attached = false;
  for (std::size_t block = 0; !attached; ++block) {
    const CodecContextPtr encoder(avcodec_alloc_context3(nullptr));
    std::string error;
    const FailingAllocation refused(block);
    attached = attach_encoder_metadata(SpatialWriterConfig{}, *encoder, error);
    ASSERT_EQ(attached, error.empty()) << "block " << block;
    if (!attached) messages.insert(error);
  }
  EXPECT_EQ(messages, with_those_of_records({"could not configure FFmpeg spatial metadata" + no_memory}));
}

TEST(SpatialMetadataShortage, TheStepOfAStreamThatIsEncodedElsewhereIsNamed) {
  Messages messages;
  bool described = false;
  for (std::size_t block = 0; !described; ++block) {
    const std::vector<std::uint8_t> sets(40, 1);
    std::string error;
    const FailingAllocation refused(block);
    described = describe_two_view_stream(SpatialWriterConfig{}, sets, error) != nullptr;
    ASSERT_EQ(described, error.empty()) << "block " << block;
    if (!described) messages.insert(error);
  }
  EXPECT_EQ(messages, with_those_of_records({
                          "could not configure MV-HEVC output track",
                          "could not attach FFmpeg spatial metadata",
                          "could not extend MV-HEVC sequence-header metadata",
                      }));
}

class SpatialWriterShortage : public test::SpatialVideoWriterFixture {
 protected:
  SpatialWriterShortage() { add_sound(); }

  /// What is said when the block of this number, counted from the encoder's first option on, is refused. The
  /// library ends the program when it has no memory for the options of a new encoder, which comes before.
  std::string message_without(std::size_t block) {
    FakeEncoder own;
    std::optional<FailingAllocation> refused;
    SpatialEncoderCalls calls = own.calls();
    calls.set_option = [&](AVCodecContext* /*context*/, const char* /*option*/, const char* /*value*/) {
      if (!refused) refused.emplace(block);
      return 0;
    };
    error.clear();
    was_made_ = create_nvenc_writer(config, error, calls) != nullptr;
    return error;
  }

  /// How many blocks it takes to make a writer.
  std::size_t blocks() {
    EXPECT_EQ(message_without(SIZE_MAX), "");
    EXPECT_TRUE(was_made_);
    return FailingAllocation::allowed();
  }

  bool was_made_ = false;
};

TEST_F(SpatialWriterShortage, TheStepBeforeTheHeaderIsNamed) {
  const std::string last = "could not copy spatial audio format" + no_memory;
  Messages messages;
  for (std::size_t block = 0; messages.count(last) == 0; ++block) {
    messages.insert(message_without(block));
    ASSERT_FALSE(was_made_) << "block " << block;
  }
  EXPECT_EQ(messages, (Messages{
                          "could not start NVENC MV-HEVC; this requires Video Codec SDK 13 and compatible "
                          "NVIDIA hardware/drivers" +
                              no_memory,
                          "could not extend MV-HEVC sequence-header metadata",
                          "could not create spatial QuickTime container",
                          "could not create MV-HEVC output track",
                          "could not configure MV-HEVC output track" + no_memory,
                          "could not create spatial audio track",
                          last,
                      }));
}

// The muxer crashes when there is no memory while it writes its header: counted back from the end instead.
TEST_F(SpatialWriterShortage, TheStepBehindTheHeaderIsNamed) {
  Messages messages;
  for (std::size_t block = blocks(); messages.count("") == 0;) {
    messages.insert(message_without(--block));
    ASSERT_FALSE(was_made_) << "block " << block;
  }
  EXPECT_EQ(messages, (Messages{
                          "",  // the eye frames, which have no message of their own
                          "could not allocate MV-HEVC eye frame" + no_memory,
                          "could not attach MV-HEVC view ID",
                          "could not allocate FFmpeg 3D reference-display metadata",
                          "could not attach FFmpeg 3D reference-display metadata",
                          "could not create spatial color converters",
                      }));
}

TEST_F(SpatialWriterShortage, FullDiskIsSaidAtTheEndAtTheLatest) {
  config.output_path = "/dev/full";
  config.output_opening = platform::OutputFile::Opening::replace;
  writer = create_nvenc_writer(config, error, encoder.calls());
  bool written = writer != nullptr;
  for (int pts = 0; written && pts < 3; ++pts) written = write(pts);
  EXPECT_FALSE(written && writer->finish(error));
  const char* const reason = ": No space left on device";
  EXPECT_THAT(error, testing::AnyOf(std::string("could not write spatial QuickTime header") + reason,
                                    std::string("could not write MV-HEVC packet") + reason,
                                    std::string("could not finish spatial QuickTime output") + reason));
}

}  // namespace
}  // namespace veyrin::test
