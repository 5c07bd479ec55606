// A spatial movie ends with a message when the driver's stream would not show both views.
#include <gtest/gtest.h>

#include "tests/spatial/spatial_video_writer_fixture.h"

namespace veyrin::test {
namespace {

using NvencStreamFaults = SpatialVideoWriterFixture;

TEST_F(NvencStreamFaults, SamplesThatNoDecoderTakesEndTheMovie) {
  struct SampleCase {
    void (*spoil)(FakeEncoder&);
    const char* error;
  };
  for (const SampleCase& c : {
           SampleCase{[](FakeEncoder& e) {
                        e.code = [](int view, std::int64_t pts) { return coded_view(1 - view, pts); };
                      },
                      "NVENC produced an MV-HEVC access unit with the right view before the left one"},
           SampleCase{
               [](FakeEncoder& e) { e.code = [](int, std::int64_t pts) { return coded_view(0, pts); }; },
               "NVENC produced an MV-HEVC access unit without the right view"},
           SampleCase{
               [](FakeEncoder& e) { e.code = [](int, std::int64_t pts) { return coded_view(1, pts); }; },
               "NVENC produced an MV-HEVC access unit without the left view"},
           SampleCase{[](FakeEncoder& e) { e.is_key = [](int, std::int64_t) { return false; }; },
                      "NVENC did not begin with an MV-HEVC key frame"},
       }) {
    FakeEncoder spoilt;
    c.spoil(spoilt);
    error.clear();
    writer = create_nvenc_writer(config, error, spoilt.calls());
    ASSERT_NE(writer, nullptr) << error;
    EXPECT_FALSE(write(0));
    EXPECT_EQ(error, c.error);
    writer.reset();
  }
}

TEST_F(NvencStreamFaults, EncoderWithoutTheRightViewsSetsLeavesNoFile) {
  encoder.headers = stream_of({two_view_sets()[0], two_view_sets()[1], two_view_sets()[2]});
  EXPECT_EQ(create_nvenc_writer(config, error, encoder.calls()), nullptr);
  EXPECT_FALSE(std::filesystem::exists(config.output_path));
}

TEST_F(NvencStreamFaults, MovieWithoutTheRecordOfTheEyesIsNotFinished) {
  SpatialEncoderCalls calls = encoder.calls();
  calls.open = [&](AVCodecContext* context) {
    av_frame_side_data_free(&context->decoded_side_data, &context->nb_decoded_side_data);
    return encoder.calls().open(context);
  };
  writer = create_nvenc_writer(config, error, calls);
  ASSERT_NE(writer, nullptr) << error;
  write_pairs(2);
  EXPECT_FALSE(writer->finish(error));
  EXPECT_EQ(error, "the finished spatial movie lacks the record of the eyes (vexu)");
}

}  // namespace
}  // namespace veyrin::test
