// Compiles and links where FFmpeg has 3-D reference displays for streams and frames.
#include <libavcodec/packet.h>
#include <libavutil/frame.h>
#include <libavutil/tdrdi.h>

int main(void) {
  size_t size = 0;
  const AV3DReferenceDisplaysInfo* displays = av_tdrdi_alloc(1, &size);
  return displays == NULL || AV_PKT_DATA_3D_REFERENCE_DISPLAYS == 0 || AV_FRAME_DATA_3D_REFERENCE_DISPLAYS == 0;
}
