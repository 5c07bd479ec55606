#include "spatial/spatial_metadata.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <set>
#include <string>
#include <vector>

#include "tests/support/allocation_limit.h"

extern "C" {
#include <libavutil/spherical.h>
#include <libavutil/stereo3d.h>
#include <libavutil/tdrdi.h>
}

namespace veyrin::test {
namespace {

TEST(BaselineMicrometres, RoundsAndStaysWithin32Bits) {
  struct BaselineCase {
    double millimetres;
    std::uint32_t micrometres;
  };
  for (const BaselineCase& c : {
           BaselineCase{63.9996, 64000},
           BaselineCase{64.0004, 64000},
           BaselineCase{64.0006, 64001},
           BaselineCase{0.0005, 1},
           BaselineCase{0.0004, 0},
           BaselineCase{0.0, 0},
           BaselineCase{-64.0, 0},
           BaselineCase{4294967.295, 4294967295},
           BaselineCase{4294967.296, 4294967295},
           BaselineCase{1e300, 4294967295},
           BaselineCase{std::numeric_limits<double>::infinity(), 4294967295},
           BaselineCase{std::numeric_limits<double>::quiet_NaN(), 0},
       }) {
    EXPECT_EQ(baseline_micrometres(c.millimetres), c.micrometres) << c.millimetres;
  }
}

CodecContextPtr encoder_with_metadata(double field_of_view = 90.0) {
  SpatialWriterConfig config;
  config.camera_distance_mm = 63.9996;
  config.horizontal_field_of_view_degrees = field_of_view;
  CodecContextPtr encoder(avcodec_alloc_context3(nullptr));
  std::string error;
  EXPECT_TRUE(attach_encoder_metadata(config, *encoder, error)) << error;
  return encoder;
}

template <typename Record>
const Record& record_of(const AVCodecContext& encoder, AVFrameSideDataType type) {
  const AVFrameSideData* entry =
      av_frame_side_data_get(encoder.decoded_side_data, encoder.nb_decoded_side_data, type);
  EXPECT_NE(entry, nullptr);
  return *reinterpret_cast<const Record*>(entry->data);
}

void expect_reference_displays(const AV3DReferenceDisplaysInfo& info) {
  EXPECT_EQ(info.prec_ref_display_width, 31);
  EXPECT_EQ(info.ref_viewing_distance_flag, 0);
  ASSERT_EQ(info.num_ref_displays, 1);
  const AV3DReferenceDisplay& display =
      *av_tdrdi_get_display(const_cast<AV3DReferenceDisplaysInfo*>(&info), 0);
  EXPECT_EQ(display.left_view_id, 0);
  EXPECT_EQ(display.right_view_id, 1);
  EXPECT_EQ(display.exponent_ref_display_width, 0);
  EXPECT_EQ(display.mantissa_ref_display_width, 0);
  EXPECT_EQ(display.exponent_ref_viewing_distance, 0);
  EXPECT_EQ(display.mantissa_ref_viewing_distance, 0);
  EXPECT_EQ(display.additional_shift_present_flag, 0);
  EXPECT_EQ(display.num_sample_shift, 0);
}

TEST(EncoderMetadata, HoldsStereoReferenceDisplaysAndProjectionInThisOrder) {
  const CodecContextPtr encoder = encoder_with_metadata();
  std::vector<AVFrameSideDataType> types;
  for (int index = 0; index < encoder->nb_decoded_side_data; ++index)
    types.push_back(encoder->decoded_side_data[index]->type);
  EXPECT_EQ(types, (std::vector{AV_FRAME_DATA_STEREO3D, AV_FRAME_DATA_3D_REFERENCE_DISPLAYS,
                                AV_FRAME_DATA_SPHERICAL}));

  const auto& stereo = record_of<AVStereo3D>(*encoder, AV_FRAME_DATA_STEREO3D);
  EXPECT_EQ(stereo.type, AV_STEREO3D_FRAMESEQUENCE);
  EXPECT_EQ(stereo.flags, 0);
  EXPECT_EQ(stereo.view, AV_STEREO3D_VIEW_PACKED);
  EXPECT_EQ(stereo.primary_eye, AV_PRIMARY_EYE_LEFT);
  EXPECT_EQ(stereo.baseline, 64000U);
  EXPECT_EQ(stereo.horizontal_disparity_adjustment.num, 1);
  EXPECT_EQ(stereo.horizontal_disparity_adjustment.den, 2147483647);
  EXPECT_EQ(stereo.horizontal_field_of_view.num, 90);
  EXPECT_EQ(stereo.horizontal_field_of_view.den, 1);
  expect_reference_displays(
      record_of<AV3DReferenceDisplaysInfo>(*encoder, AV_FRAME_DATA_3D_REFERENCE_DISPLAYS));
  const auto& projection = record_of<AVSphericalMapping>(*encoder, AV_FRAME_DATA_SPHERICAL);
  EXPECT_EQ(projection.projection, AV_SPHERICAL_RECTILINEAR);
  EXPECT_EQ(projection.yaw, 0);
  EXPECT_EQ(projection.pitch, 0);
  EXPECT_EQ(projection.roll, 0);
  EXPECT_EQ(projection.bound_left | projection.bound_top | projection.bound_right | projection.bound_bottom,
            0U);
  EXPECT_EQ(projection.padding, 0U);
}

TEST(EncoderMetadata, FieldOfViewIsTheNearestFractionOfSmallTerms) {
  for (const double degrees : {63.5, 71.123456789, 109.99999, 33.333333333333333, 180.0}) {
    const CodecContextPtr encoder = encoder_with_metadata(degrees);
    const AVRational view = record_of<AVStereo3D>(*encoder, AV_FRAME_DATA_STEREO3D).horizontal_field_of_view;
    EXPECT_LE(view.num, 1'000'000);
    EXPECT_LE(view.den, 1'000'000);
    const double error = std::abs(av_q2d(view) - degrees);
    EXPECT_LT(error, 1e-4) << degrees;
    // No fraction with such terms lies nearer.
    for (int denominator = 1; denominator * degrees <= 1'000'000; ++denominator) {
      const double other = std::round(degrees * denominator) / denominator;
      ASSERT_GE(std::abs(other - degrees) + 1e-12, error) << degrees << " by " << denominator;
    }
  }
}

TEST(EncoderMetadata, ReplacesRecordsOfTheSameKind) {
  const CodecContextPtr encoder = encoder_with_metadata();
  SpatialWriterConfig config;
  config.camera_distance_mm = 12.0;
  std::string error;
  ASSERT_TRUE(attach_encoder_metadata(config, *encoder, error)) << error;
  EXPECT_EQ(encoder->nb_decoded_side_data, 3);
  EXPECT_EQ(record_of<AVStereo3D>(*encoder, AV_FRAME_DATA_STEREO3D).baseline, 12000U);
}

TEST(ReferenceDisplays, AreAttachedWhole) {
  const FramePtr frame(av_frame_alloc());
  std::string error;
  ASSERT_TRUE(attach_reference_displays(*frame, error)) << error;
  const AVFrameSideData* entry = av_frame_get_side_data(frame.get(), AV_FRAME_DATA_3D_REFERENCE_DISPLAYS);
  ASSERT_NE(entry, nullptr);
  std::size_t size = 0;
  const LibraryMemoryPtr<AV3DReferenceDisplaysInfo> sample(av_tdrdi_alloc(1, &size));
  EXPECT_EQ(entry->size, size);
  expect_reference_displays(*reinterpret_cast<const AV3DReferenceDisplaysInfo*>(entry->data));
}

TEST(EncoderMetadata, SaysThatThereIsNoMemoryForIt) {
  const CodecContextPtr encoder(avcodec_alloc_context3(nullptr));
  std::string error;
  const test::AllocationLimit shortage(test::no_memory);
  EXPECT_FALSE(attach_encoder_metadata(SpatialWriterConfig{}, *encoder, error));
  EXPECT_EQ(error, "could not allocate FFmpeg spatial metadata");
}

TEST(ReferenceDisplays, SayThatThereIsNoMemoryForThem) {
  std::set<std::string> messages;
  for (std::size_t limit = test::no_memory; limit < 1024; ++limit) {
    const FramePtr frame(av_frame_alloc());
    const test::AllocationLimit shortage(limit);
    std::string error;
    const bool attached = attach_reference_displays(*frame, error);
    EXPECT_EQ(attached, error.empty());
    messages.insert(error);
  }
  EXPECT_EQ(messages, (std::set<std::string>{"", "could not allocate FFmpeg 3D reference-display metadata",
                                             "could not attach FFmpeg 3D reference-display metadata"}));
}

/// Reads the fields of a NAL unit's payload, bit by bit.
class BitReader {
 public:
  explicit BitReader(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
  unsigned bits(int count) {
    unsigned value = 0;
    for (int bit = 0; bit < count; ++bit, ++position_)
      value = value << 1 | (bytes_.at(position_ / 8) >> (7 - position_ % 8) & 1U);
    return value;
  }
  unsigned exp_golomb() {
    int zeros = 0;
    while (bits(1) == 0) ++zeros;
    return (1U << zeros) - 1 + bits(zeros);
  }
  [[nodiscard]] std::size_t position() const { return position_; }

 private:
  std::vector<std::uint8_t> bytes_;
  std::size_t position_ = 0;
};

std::vector<std::uint8_t> header_of(const AVCodecContext& encoder) {
  return {encoder.extradata, encoder.extradata + encoder.extradata_size};
}

TEST(ReferenceDisplaysSei, FollowsTheSequenceHeader) {
  const std::vector<std::uint8_t> sei{0, 0, 0, 1, 0x4E, 1, 0xB0, 4, 4, 0x0D, 0, 0x20, 0x80};
  for (const std::vector<std::uint8_t>& old : {std::vector<std::uint8_t>{}, {0, 0, 0, 1, 0x40, 1, 0x0C}}) {
    const CodecContextPtr encoder(avcodec_alloc_context3(avcodec_find_encoder_by_name("png")));
    if (!old.empty()) {
      encoder->extradata = static_cast<std::uint8_t*>(av_mallocz(old.size() + AV_INPUT_BUFFER_PADDING_SIZE));
      std::memcpy(encoder->extradata, old.data(), old.size());
      encoder->extradata_size = static_cast<int>(old.size());
    }
    std::string error;
    ASSERT_TRUE(append_reference_displays_sei(*encoder, error)) << error;
    std::vector<std::uint8_t> expected = old;
    expected.insert(expected.end(), sei.begin(), sei.end());
    EXPECT_EQ(header_of(*encoder), expected);
    for (int index = 0; index < AV_INPUT_BUFFER_PADDING_SIZE; ++index)
      EXPECT_EQ(encoder->extradata[encoder->extradata_size + index], 0);
  }
}

// Against the syntax tables of H.265: NAL unit header, SEI message, annex G's payload, trailing bits.
TEST(ReferenceDisplaysSei, SaysWhatTheRecordSays) {
  const CodecContextPtr encoder(avcodec_alloc_context3(avcodec_find_encoder_by_name("png")));
  std::string error;
  ASSERT_TRUE(append_reference_displays_sei(*encoder, error)) << error;
  BitReader reader(header_of(*encoder));
  EXPECT_EQ(reader.bits(32), 1U) << "start code";
  EXPECT_EQ(reader.bits(1), 0U) << "forbidden zero bit";
  EXPECT_EQ(reader.bits(6), 39U) << "prefix SEI";
  EXPECT_EQ(reader.bits(6), 0U) << "layer";
  EXPECT_EQ(reader.bits(3), 1U) << "temporal ID plus one";
  EXPECT_EQ(reader.bits(8), 176U) << "payload type";
  EXPECT_EQ(reader.bits(8), 4U) << "payload size";
  const std::size_t payload = reader.position();
  EXPECT_EQ(reader.exp_golomb(), 31U) << "precision of the display width";
  EXPECT_EQ(reader.bits(1), 0U) << "no viewing distance";
  EXPECT_EQ(reader.exp_golomb(), 0U) << "number of displays minus one";
  EXPECT_EQ(reader.exp_golomb(), 0U) << "left view";
  EXPECT_EQ(reader.exp_golomb(), 1U) << "right view";
  EXPECT_EQ(reader.bits(6), 0U) << "exponent of the display width";
  EXPECT_EQ(reader.bits(1), 0U) << "mantissa, which has precision - 30 bits at exponent 0";
  EXPECT_EQ(reader.bits(1), 0U) << "no additional shift";
  EXPECT_EQ(reader.bits(1), 0U) << "no extension";
  EXPECT_EQ(reader.bits(1), 1U) << "alignment: a one, then zeros";
  while (reader.position() < payload + 32) EXPECT_EQ(reader.bits(1), 0U);
  EXPECT_EQ(reader.bits(8), 0x80U) << "trailing bits";
}

}  // namespace
}  // namespace veyrin::test
