#include "spatial/spatial_video_writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "tests/spatial/spatial_video_writer_fixture.h"
#include "tests/support/allocation_limit.h"

namespace veyrin::test {
namespace {

using test::AllocationLimit;
using test::no_memory;
using SpatialVideoWriterTest = test::SpatialVideoWriterFixture;

TEST_F(SpatialVideoWriterTest, EveryPairIsOneSampleWithTheLeftViewFirst) {
  create();
  write_pairs(5);
  ASSERT_TRUE(writer->finish(error)) << error;
  expect_pairs(5);
}

TEST_F(SpatialVideoWriterTest, EncoderGetsBothEyesWithTheirViewNumbers) {
  create();
  write_pairs(2);
  ASSERT_EQ(encoder.sent.size(), 4U);
  for (int sent = 0; sent < 4; ++sent) {
    const test::SentView& view = encoder.sent[static_cast<std::size_t>(sent)];
    EXPECT_EQ(view.id, sent % 2);
    EXPECT_EQ(view.pts, sent / 2);
    const auto luma = static_cast<std::uint8_t>((sent % 2 == 0 ? 20 : 120) + sent / 2);
    EXPECT_EQ(view.luma, std::vector<std::uint8_t>(luma_samples, luma));
  }
}

TEST_F(SpatialVideoWriterTest, TenBitEyesReachTheEncoderUnchanged) {
  config.depth = BitDepth::ten;
  create();
  ASSERT_TRUE(writer->write_eye_pair(*eye_of(0x40, BitDepth::ten), *eye_of(0x80, BitDepth::ten), 0, error))
      << error;
  ASSERT_EQ(encoder.sent.size(), 2U);
  EXPECT_EQ(encoder.sent[0].luma, std::vector<std::uint8_t>(2 * luma_samples, 0x40));
  EXPECT_EQ(encoder.sent[1].luma, std::vector<std::uint8_t>(2 * luma_samples, 0x80));
}

TEST_F(SpatialVideoWriterTest, ViewsMayComeInCallsOfTheirOwn) {
  for (const std::size_t delay : {1U, 2U, 3U, 7U}) {
    FakeEncoder late;
    late.delay = delay;
    error.clear();
    config.output_path = folder / ("delay " + std::to_string(delay) + ".mov");
    writer = create_nvenc_writer(config, error, late.calls());
    ASSERT_NE(writer, nullptr) << error;
    write_pairs(4);
    ASSERT_TRUE(writer->finish(error)) << delay << ": " << error;
    expect_pairs(4);
    writer.reset();
  }
}

TEST_F(SpatialVideoWriterTest, IndexStandsBeforeTheData) {
  create();
  write_pairs(3);
  ASSERT_TRUE(writer->finish(error)) << error;
  read_file();
  std::vector<std::string> order;
  for (const test::Mp4Box& box : boxes.boxes)
    if (box.type == "ftyp" || box.type == "moov" || box.type == "mdat") order.push_back(box.type);
  EXPECT_EQ(order, (std::vector<std::string>{"ftyp", "moov", "mdat"}));
}

TEST_F(SpatialVideoWriterTest, FilmLastsAsLongAsItsFrames) {
  create();
  write_pairs(5);
  ASSERT_TRUE(writer->finish(error)) << error;
  read_file();
  const test::Mp4Box& track = test::track_of_kind(boxes, "vide");
  const std::string_view media = track.only("mdia/mdhd").payload;
  const std::uint64_t scale = test::big_endian(media, 12, 4);
  EXPECT_EQ(test::big_endian(media, 16, 4), scale * 5 / 25) << "with the last frame's own duration";
  const std::string_view steps = track.only("mdia/minf/stbl/stts").payload;
  EXPECT_EQ(test::big_endian(steps, 4, 4), 1U) << "one run of equal durations";
  EXPECT_EQ(test::big_endian(steps, 8, 4), 5U);
  EXPECT_EQ(test::big_endian(steps, 12, 4), scale / 25);
}

TEST_F(SpatialVideoWriterTest, ParameterSetsOfTheTrackIncludeTheReferenceDisplays) {
  create();
  write_pairs(1);
  ASSERT_TRUE(writer->finish(error)) << error;
  read_file();
  const test::Mp4Box& entry = test::track_of_kind(boxes, "vide").only("mdia/minf/stbl/stsd/hvc1");
  using namespace std::string_literals;
  const std::string_view base = entry.only("hvcC").payload;
  EXPECT_NE(base.find("\x4E\x01\xB0\x04\x04\x0D\x00\x20\x80"s), std::string_view::npos);
  const std::string_view layered = entry.only("lhvC").payload;
  EXPECT_NE(layered.find(two_view_sets()[3]), std::string_view::npos);
  EXPECT_NE(layered.find(two_view_sets()[4]), std::string_view::npos);
}

TEST_F(SpatialVideoWriterTest, SoundIsCopiedByteForByte) {
  add_sound();
  create();
  EXPECT_TRUE(writer->has_audio());
  std::vector<std::string> expected;
  for (int number = 0; number < 9; ++number) {
    const PacketPtr packet = Sound::packet(number);
    expected.emplace_back(reinterpret_cast<const char*>(packet->data), packet->size);
    ASSERT_TRUE(writer->write_audio_packet(*packet, error)) << error;
    EXPECT_EQ(packet->pts, number * 1024) << "the caller's packet stays as it is";
    EXPECT_EQ(packet->stream_index, 5);
    EXPECT_EQ(packet->pos, 4711);
  }
  write_pairs(5);
  ASSERT_TRUE(writer->finish(error)) << error;
  expect_pairs(5);
  EXPECT_EQ(samples("soun"), expected);
  EXPECT_EQ(test::track_of_kind(boxes, "soun").all("mdia/minf/stbl/stsd/mp4a").size(), 1U);
}

TEST_F(SpatialVideoWriterTest, SoundIsRescaledFromItsOwnTimeBase) {
  add_sound({1, 1000});
  create();
  const PacketPtr packet = Sound::packet(0);
  packet->duration = 500;
  ASSERT_TRUE(writer->write_audio_packet(*packet, error)) << error;
  write_pairs(5);
  ASSERT_TRUE(writer->finish(error)) << error;
  read_file();
  const std::string_view media = test::track_of_kind(boxes, "soun").only("mdia/mdhd").payload;
  EXPECT_EQ(test::big_endian(media, 16, 4) * 2, test::big_endian(media, 12, 4)) << "half a second";
}

TEST_F(SpatialVideoWriterTest, SoundWithoutATrackIsLeftOut) {
  create();
  EXPECT_FALSE(writer->has_audio());
  EXPECT_TRUE(writer->write_audio_packet(*Sound::packet(0), error));
  write_pairs(1);
  ASSERT_TRUE(writer->finish(error)) << error;
  expect_pairs(1);
}

TEST_F(SpatialVideoWriterTest, SecondFinishDoesNothing) {
  create();
  write_pairs(2);
  ASSERT_TRUE(writer->finish(error)) << error;
  const std::string first = test::file_text(config.output_path);
  std::filesystem::remove(config.output_path);
  EXPECT_TRUE(writer->finish(error)) << error;
  EXPECT_EQ(encoder.drained, 1);
  writer.reset();
  EXPECT_FALSE(std::filesystem::exists(config.output_path));
  EXPECT_NE(first.find("moov"), std::string::npos);
}

TEST_F(SpatialVideoWriterTest, EyesOfAnotherSizeAreRefusedBeforeAnythingIsEncoded) {
  create();
  const FramePtr whole = eye_of(1);
  for (const auto& [dx, dy] : {std::pair{-1, 0}, {0, -1}, {2, 0}, {0, 2}}) {
    const FramePtr other = allocate_video_frame(AV_PIX_FMT_NV12, {width + dx, height + dy});
    for (const bool left : {true, false}) {
      EXPECT_FALSE(writer->write_eye_pair(left ? *other : *whole, left ? *whole : *other, 0, error));
      EXPECT_EQ(error, "rectified eye frame does not match the spatial writer size");
    }
  }
  EXPECT_TRUE(encoder.sent.empty());
}

TEST_F(SpatialVideoWriterTest, RefusedFrameEndsTheMovie) {
  create();
  encoder.send_result = AVERROR_EXTERNAL;
  EXPECT_FALSE(write(0));
  EXPECT_EQ(error, "could not submit MV-HEVC frame to NVENC: Generic error in an external library");
}

TEST_F(SpatialVideoWriterTest, FailingEncoderEndsTheMovie) {
  encoder.receive_error = AVERROR_EXTERNAL;
  encoder.receive_error_at = 3;
  create();
  ASSERT_TRUE(write(0)) << error;
  EXPECT_FALSE(write(1));
  EXPECT_EQ(error, "could not receive MV-HEVC packet from NVENC: Generic error in an external library");
}

TEST_F(SpatialVideoWriterTest, ViewsOfDifferentTimesEndTheMovie) {
  encoder.second_view_pts_shift = 4;
  create();
  EXPECT_FALSE(write(0));
  EXPECT_EQ(
      error,
      "NVENC produced MV-HEVC views with mismatched timestamps (first pts/dts=0/0, second pts/dts=4/0)");
}

TEST_F(SpatialVideoWriterTest, OddNumberOfViewsLeavesNoIndex) {
  encoder.lost_packet = 5;
  create();
  write_pairs(3);
  EXPECT_FALSE(writer->finish(error));
  EXPECT_EQ(error, "NVENC produced an incomplete MV-HEVC view pair");
  writer.reset();
  EXPECT_EQ(test::file_text(config.output_path).find("moov"), std::string::npos);
}

TEST_F(SpatialVideoWriterTest, UnfinishedMovieStaysWithoutItsIndex) {
  create();
  write_pairs(3);
  writer.reset();
  ASSERT_TRUE(std::filesystem::exists(config.output_path));
  EXPECT_EQ(test::file_text(config.output_path).find("moov"), std::string::npos);
}

TEST_F(SpatialVideoWriterTest, EncoderThatDoesNotOpenLeavesNoFile) {
  encoder.open_result = AVERROR(ENOSYS);
  EXPECT_EQ(create_nvenc_writer(config, error, encoder.calls()), nullptr);
  EXPECT_EQ(error,
            "could not start NVENC MV-HEVC; this requires Video Codec SDK 13 and compatible NVIDIA "
            "hardware/drivers: Function not implemented");
  EXPECT_FALSE(std::filesystem::exists(config.output_path));
}

TEST_F(SpatialVideoWriterTest, OutputThatCannotBeOpenedIsSaid) {
  config.output_path = folder / "missing" / "out.mov";
  EXPECT_EQ(create_nvenc_writer(config, error, encoder.calls()), nullptr);
  EXPECT_EQ(error, "could not open spatial output: No such file or directory");
}

TEST_F(SpatialVideoWriterTest, SoundThatTheContainerCannotHoldIsSaid) {
  CodecParametersPtr parameters(avcodec_parameters_alloc());
  ASSERT_EQ(avcodec_parameters_copy(parameters.get(), sound.parameters()), 0);
  parameters->codec_id = AV_CODEC_ID_APE;
  config.audio_parameters = parameters.get();
  config.audio_time_base = {1, 48000};
  EXPECT_EQ(create_nvenc_writer(config, error, encoder.calls()), nullptr);
  EXPECT_EQ(error, "could not write spatial QuickTime header: Invalid argument");
}

TEST_F(SpatialVideoWriterTest, PairThatTheContainerRefusesIsSaid) {
  create();
  ASSERT_TRUE(write(5)) << error;
  EXPECT_FALSE(write(3));
  EXPECT_EQ(error, "could not write MV-HEVC packet: Invalid argument");
}

TEST_F(SpatialVideoWriterTest, SoundThatTheContainerRefusesIsSaid) {
  add_sound();
  create();
  ASSERT_TRUE(writer->write_audio_packet(*Sound::packet(5), error)) << error;
  EXPECT_FALSE(writer->write_audio_packet(*Sound::packet(3), error));
  EXPECT_EQ(error, "could not write spatial audio packet: Invalid argument");
}

TEST_F(SpatialVideoWriterTest, NoMemoryForACopyOfTheSoundIsSaid) {
  add_sound();
  create();
  const PacketPtr packet = Sound::packet(0);
  const AllocationLimit shortage(no_memory);
  EXPECT_FALSE(writer->write_audio_packet(*packet, error));
  EXPECT_EQ(error, "could not copy spatial audio packet");
}

TEST_F(SpatialVideoWriterTest, NoMemoryForTheEyesIsSaid) {
  config.eye = {2048, 2048};
  // Everything but pictures is smaller.
  const AllocationLimit shortage(std::size_t{1} << 20);
  EXPECT_EQ(create_nvenc_writer(config, error, encoder.calls()), nullptr);
  EXPECT_EQ(error, "could not allocate MV-HEVC eye frame: Cannot allocate memory");
}

TEST_F(SpatialVideoWriterTest, NoMemoryForAFrameThatTheEncoderHoldsIsSaid) {
  SpatialEncoderCalls calls = encoder.calls();
  FramePtr held;
  calls.send = [&held](AVCodecContext* /*context*/, const AVFrame* frame) {
    if (!held) held.reset(av_frame_clone(frame));
    return 0;
  };
  writer = create_nvenc_writer(config, error, calls);
  ASSERT_NE(writer, nullptr) << error;
  ASSERT_TRUE(write(0)) << error;
  const FramePtr left = eye_of(1);
  const FramePtr right = eye_of(2);
  const AllocationLimit shortage(no_memory);
  EXPECT_FALSE(writer->write_eye_pair(*left, *right, 1, error));
  EXPECT_EQ(error, "could not prepare MV-HEVC eye frame: Cannot allocate memory");
}

}  // namespace
}  // namespace veyrin::test
