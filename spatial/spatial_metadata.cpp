#include "spatial/spatial_metadata.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>

#include "common/error_text.h"
#include "media/ffmpeg.h"

extern "C" {
#include <libavutil/spherical.h>
#include <libavutil/stereo3d.h>
#include <libavutil/tdrdi.h>
}

namespace veyrin {
namespace {

// The smallest step that is not zero: the muxer leaves the record out for zero, and players expect it.
constexpr AVRational no_disparity_adjustment{1, std::numeric_limits<std::int32_t>::max()};
constexpr int largest_angle_term = 1'000'000;
constexpr std::uint8_t display_width_precision = 31;

// H.265 annex G, three-dimensional reference displays information (payload type 176), in a prefix SEI unit:
// precision 31, no viewing distance, one display, left view 0, right view 1, width 0, no shift.
constexpr std::array<std::uint8_t, 13> reference_displays_sei{0x00, 0x00, 0x00, 0x01, 0x4E, 0x01, 0xB0,
                                                              0x04, 0x04, 0x0D, 0x00, 0x20, 0x80};

[[nodiscard]] bool attach_stereo(const SpatialWriterConfig& config, AVFrame& frame, std::string& error) {
  AVStereo3D* stereo = av_stereo3d_create_side_data(&frame);
  if (stereo == nullptr) return fail(error, "could not allocate FFmpeg stereo metadata");
  stereo->type = AV_STEREO3D_FRAMESEQUENCE;
  stereo->view = AV_STEREO3D_VIEW_PACKED;
  stereo->primary_eye = AV_PRIMARY_EYE_LEFT;
  stereo->baseline = baseline_micrometres(config.camera_distance_mm);
  stereo->horizontal_disparity_adjustment = no_disparity_adjustment;
  stereo->horizontal_field_of_view = av_d2q(config.horizontal_field_of_view_degrees, largest_angle_term);
  return true;
}

[[nodiscard]] bool attach_projection(AVFrame& frame, std::string& error) {
  std::size_t size = 0;
  const LibraryMemoryPtr<AVSphericalMapping> projection(av_spherical_alloc(&size));
  if (!projection) return fail(error, "could not allocate FFmpeg projection metadata");
  projection->projection = AV_SPHERICAL_RECTILINEAR;
  AVFrameSideData* record = av_frame_new_side_data(&frame, AV_FRAME_DATA_SPHERICAL, size);
  if (record == nullptr) return fail(error, "could not attach FFmpeg projection metadata");
  std::memcpy(record->data, projection.get(), size);
  return true;
}

/// All records of a stream. The library makes them for frames only.
[[nodiscard]] FramePtr make_records(const SpatialWriterConfig& config, std::string& error) {
  FramePtr frame(av_frame_alloc());
  if (!frame) {
    error = "could not allocate FFmpeg spatial metadata";
    return nullptr;
  }
  if (!attach_stereo(config, *frame, error) || !attach_reference_displays(*frame, error) ||
      !attach_projection(*frame, error)) {
    return nullptr;
  }
  return frame;
}

/// What a record of a frame is called in a stream's parameters.
AVPacketSideDataType stream_record_type(AVFrameSideDataType type) {
  switch (type) {
    case AV_FRAME_DATA_STEREO3D:
      return AV_PKT_DATA_STEREO3D;
    case AV_FRAME_DATA_SPHERICAL:
      return AV_PKT_DATA_SPHERICAL;
    default:
      return AV_PKT_DATA_3D_REFERENCE_DISPLAYS;
  }
}

/// Puts the parameter sets and then the message into a new sequence header of the library's allocator. The
/// old header, which may hold the parameter sets, is freed.
[[nodiscard]] bool replace_header(std::span<const std::uint8_t> parameter_sets, std::uint8_t*& header,
                                  int& header_size, std::string& error) {
  const std::size_t size = parameter_sets.size() + reference_displays_sei.size();
  auto* made = static_cast<std::uint8_t*>(av_mallocz(size + AV_INPUT_BUFFER_PADDING_SIZE));
  if (made == nullptr) return fail(error, "could not extend MV-HEVC sequence-header metadata");
  std::ranges::copy(reference_displays_sei, std::ranges::copy(parameter_sets, made).out);
  av_free(header);
  header = made;
  header_size = static_cast<int>(size);
  return true;
}

}  // namespace

std::uint32_t baseline_micrometres(double camera_distance_mm) {
  const double micrometres = camera_distance_mm * 1000.0;
  if (!(micrometres > 0.0)) return 0;
  constexpr auto largest = std::numeric_limits<std::uint32_t>::max();
  return static_cast<std::uint32_t>(std::llround(std::min(micrometres, static_cast<double>(largest))));
}

bool attach_encoder_metadata(const SpatialWriterConfig& config, AVCodecContext& encoder, std::string& error) {
  const FramePtr frame = make_records(config, error);
  if (!frame) return false;
  for (int index = 0; index < frame->nb_side_data; ++index) {
    const int result = av_frame_side_data_clone(&encoder.decoded_side_data, &encoder.nb_decoded_side_data,
                                                frame->side_data[index], AV_FRAME_SIDE_DATA_FLAG_REPLACE);
    if (result < 0)
      return fail_with_library_error(error, "could not configure FFmpeg spatial metadata", result);
  }
  return true;
}

bool attach_stream_metadata(const SpatialWriterConfig& config, AVCodecParameters& stream,
                            std::string& error) {
  const FramePtr frame = make_records(config, error);
  if (!frame) return false;
  for (const AVFrameSideData* record :
       std::span(frame->side_data, static_cast<std::size_t>(frame->nb_side_data))) {
    AVPacketSideData* attached = av_packet_side_data_new(&stream.coded_side_data, &stream.nb_coded_side_data,
                                                         stream_record_type(record->type), record->size, 0);
    if (attached == nullptr) return fail(error, "could not attach FFmpeg spatial metadata");
    std::memcpy(attached->data, record->data, record->size);
  }
  return true;
}

bool attach_reference_displays(AVFrame& frame, std::string& error) {
  std::size_t size = 0;
  const LibraryMemoryPtr<AV3DReferenceDisplaysInfo> displays(av_tdrdi_alloc(1, &size));
  if (!displays) return fail(error, "could not allocate FFmpeg 3D reference-display metadata");
  displays->prec_ref_display_width = display_width_precision;
  displays->ref_viewing_distance_flag = 0;
  AV3DReferenceDisplay* display = av_tdrdi_get_display(displays.get(), 0);
  *display = {};
  display->left_view_id = 0;
  display->right_view_id = 1;
  AVFrameSideData* record = av_frame_new_side_data(&frame, AV_FRAME_DATA_3D_REFERENCE_DISPLAYS, size);
  if (record == nullptr) return fail(error, "could not attach FFmpeg 3D reference-display metadata");
  std::memcpy(record->data, displays.get(), size);
  return true;
}

bool append_reference_displays_sei(AVCodecContext& encoder, std::string& error) {
  std::span<const std::uint8_t> sets;
  if (encoder.extradata != nullptr)
    sets = {encoder.extradata, static_cast<std::size_t>(encoder.extradata_size)};
  return replace_header(sets, encoder.extradata, encoder.extradata_size, error);
}

bool set_sequence_header(std::span<const std::uint8_t> parameter_sets, AVCodecParameters& stream,
                         std::string& error) {
  return replace_header(parameter_sets, stream.extradata, stream.extradata_size, error);
}

}  // namespace veyrin
