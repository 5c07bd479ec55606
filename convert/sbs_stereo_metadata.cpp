#include "convert/sbs_stereo_metadata.h"

#include <algorithm>
#include <cstddef>

#include "common/error_text.h"
#include "media/ffmpeg.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/stereo3d.h>
}

namespace veyrin {

bool wants_st3d(SpatialMetadataKind kind) {
  return kind != SpatialMetadataKind::sei;
}

bool wants_frame_packing_sei(SpatialMetadataKind kind) {
  return kind != SpatialMetadataKind::st3d;
}

bool attach_sbs_stereo_metadata(AVCodecParameters& video, std::string_view attach_failure,
                                std::string& error) {
  av_packet_side_data_remove(video.coded_side_data, &video.nb_coded_side_data, AV_PKT_DATA_STEREO3D);
  // The record grows with FFmpeg's versions; its size comes from the library that is loaded.
  std::size_t size = 0;
  LibraryMemoryPtr<AVStereo3D> record(av_stereo3d_alloc_size(&size));
  if (!record) return fail(error, "could not allocate SBS metadata");
  record->type = AV_STEREO3D_SIDEBYSIDE;
  record->flags = 0;
  record->view = AV_STEREO3D_VIEW_PACKED;
  record->primary_eye = AV_PRIMARY_EYE_LEFT;
  if (av_packet_side_data_add(&video.coded_side_data, &video.nb_coded_side_data, AV_PKT_DATA_STEREO3D,
                              record.get(), size, 0) == nullptr) {
    return fail(error, std::string(attach_failure));
  }
  static_cast<void>(record.release());
  return true;
}

bool add_frame_packing_sei(AVCodecID codec, AVPacket& packet, std::string& error) {
  if (codec != AV_CODEC_ID_H264 || (packet.flags & AV_PKT_FLAG_KEY) == 0) return true;
  const int old_size = packet.size;
  const int result = av_grow_packet(&packet, static_cast<int>(frame_packing_sei.size()));
  if (result < 0) return fail_with_library_error(error, "could not add H.264 frame-packing SEI", result);
  std::copy_backward(packet.data, packet.data + old_size, packet.data + packet.size);
  std::copy(frame_packing_sei.begin(), frame_packing_sei.end(), packet.data);
  return true;
}

}  // namespace veyrin
