// Ends with 0 where the encoder hevc_nvenc knows the profile of two views.
#include <libavcodec/avcodec.h>
#include <libavutil/opt.h>

int main(void) {
  const AVCodec* codec = avcodec_find_encoder_by_name("hevc_nvenc");
  if (codec == NULL || codec->priv_class == NULL) return 1;
  return av_opt_find2((void*)&codec->priv_class, "mv", "profile", 0, AV_OPT_SEARCH_FAKE_OBJ, NULL) == NULL;
}
