#include "convert/sbs_stereo_metadata.h"

#include <gtest/gtest.h>

#include <cstddef>

#include "media/ffmpeg.h"
#include "tests/support/allocation_limit.h"

extern "C" {
#include <libavutil/stereo3d.h>
}

namespace veyrin::test {
namespace {

using test::AllocationLimit;

const AVPacketSideData* stereo_record(const AVCodecParameters& video) {
  return av_packet_side_data_get(video.coded_side_data, video.nb_coded_side_data, AV_PKT_DATA_STEREO3D);
}

TEST(SbsStereoMetadata, EachChoiceAsksForItsOwnMarks) {
  EXPECT_TRUE(wants_st3d(SpatialMetadataKind::st3d));
  EXPECT_FALSE(wants_frame_packing_sei(SpatialMetadataKind::st3d));
  EXPECT_FALSE(wants_st3d(SpatialMetadataKind::sei));
  EXPECT_TRUE(wants_frame_packing_sei(SpatialMetadataKind::sei));
  EXPECT_TRUE(wants_st3d(SpatialMetadataKind::both));
  EXPECT_TRUE(wants_frame_packing_sei(SpatialMetadataKind::both));
}

TEST(SbsStereoMetadata, DescribesBothEyesSideBySideWithTheLeftOneFirst) {
  const CodecParametersPtr video(avcodec_parameters_alloc());
  std::string error;
  ASSERT_TRUE(attach_sbs_stereo_metadata(*video, "not used", error)) << error;
  const AVPacketSideData* data = stereo_record(*video);
  ASSERT_NE(data, nullptr);
  std::size_t library_size = 0;
  const LibraryMemoryPtr<AVStereo3D> unset(av_stereo3d_alloc_size(&library_size));
  ASSERT_EQ(data->size, library_size);
  const auto* record = reinterpret_cast<const AVStereo3D*>(data->data);
  EXPECT_EQ(record->type, 1);
  EXPECT_EQ(record->flags, 0);
  EXPECT_EQ(record->view, 0);
  EXPECT_EQ(record->primary_eye, 1);
  EXPECT_EQ(record->baseline, 0U);
  EXPECT_EQ(record->horizontal_disparity_adjustment.num, 0);
  EXPECT_EQ(record->horizontal_field_of_view.num, 0);
}

TEST(SbsStereoMetadata, ReplacesAnotherStereoRecordAndKeepsOtherSideData) {
  const CodecParametersPtr video(avcodec_parameters_alloc());
  std::size_t size = 0;
  LibraryMemoryPtr<AVStereo3D> other(av_stereo3d_alloc_size(&size));
  other->type = AV_STEREO3D_TOPBOTTOM;
  other->flags = AV_STEREO3D_FLAG_INVERT;
  ASSERT_NE(av_packet_side_data_add(&video->coded_side_data, &video->nb_coded_side_data, AV_PKT_DATA_STEREO3D,
                                    other.release(), size, 0),
            nullptr);
  ASSERT_NE(av_packet_side_data_new(&video->coded_side_data, &video->nb_coded_side_data,
                                    AV_PKT_DATA_DISPLAYMATRIX, 36, 0),
            nullptr);
  std::string error;
  ASSERT_TRUE(attach_sbs_stereo_metadata(*video, "not used", error)) << error;
  EXPECT_EQ(video->nb_coded_side_data, 2);
  const auto* record = reinterpret_cast<const AVStereo3D*>(stereo_record(*video)->data);
  EXPECT_EQ(record->type, AV_STEREO3D_SIDEBYSIDE);
  EXPECT_EQ(record->flags, 0);
}

TEST(SbsStereoMetadata, WithoutMemoryForTheRecordSaysSo) {
  const CodecParametersPtr video(avcodec_parameters_alloc());
  std::string error;
  const AllocationLimit limit(8);
  EXPECT_FALSE(attach_sbs_stereo_metadata(*video, "not used", error));
  EXPECT_EQ(error, "could not allocate SBS metadata");
  EXPECT_EQ(stereo_record(*video), nullptr);
}

TEST(SbsStereoMetadata, WithoutRoomInTheTrackFailsInTheWordsOfItsCaller) {
  const CodecParametersPtr video(avcodec_parameters_alloc());
  // The list of side data outgrows the limit, the record itself does not.
  for (const AVPacketSideDataType type : {AV_PKT_DATA_DISPLAYMATRIX, AV_PKT_DATA_SPHERICAL,
                                          AV_PKT_DATA_ICC_PROFILE, AV_PKT_DATA_CPB_PROPERTIES}) {
    ASSERT_NE(av_packet_side_data_new(&video->coded_side_data, &video->nb_coded_side_data, type, 4, 0),
              nullptr);
  }
  std::string error;
  const AllocationLimit limit(sizeof(AVPacketSideData) * 5 - 1);
  static_assert(sizeof(AVStereo3D) < sizeof(AVPacketSideData) * 5 - 1);
  EXPECT_FALSE(attach_sbs_stereo_metadata(*video, "could not attach SBS metadata", error));
  EXPECT_EQ(error, "could not attach SBS metadata");
  EXPECT_EQ(video->nb_coded_side_data, 4);
}

}  // namespace
}  // namespace veyrin::test
