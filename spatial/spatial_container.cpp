#include "spatial/spatial_container.h"

#include "common/error_text.h"
#include "media/ffmpeg.h"

namespace veyrin {

std::unique_ptr<SpatialContainer> SpatialContainer::create(const SpatialWriterConfig& config,
                                                           const AVCodecContext& encoder,
                                                           std::string& error) {
  std::unique_ptr<SpatialContainer> container(new SpatialContainer);
  const std::string url = media_url(config.output_path);
  AVFormatContext* muxer = nullptr;
  const int result = avformat_alloc_output_context2(&muxer, nullptr, "mov", url.c_str());
  container->muxer_.reset(muxer);
  if (result < 0 || muxer == nullptr) {
    error = "could not create spatial QuickTime container";
    return nullptr;
  }
  if (!container->create_video_track(config, encoder, error) ||
      !container->create_audio_track(config, error) || !container->open_file(url, error) ||
      !container->write_header(error)) {
    return nullptr;
  }
  return container;
}

bool SpatialContainer::create_video_track(const SpatialWriterConfig& config, const AVCodecContext& encoder,
                                          std::string& error) {
  video_ = avformat_new_stream(muxer_.get(), nullptr);
  if (video_ == nullptr) return fail(error, "could not create MV-HEVC output track");
  encoder_time_base_ = encoder.time_base;
  video_->time_base = encoder.time_base;
  video_->avg_frame_rate = config.frame_rate;
  // The muxer describes the second view only in tracks that are said to have one.
  video_->disposition = AV_DISPOSITION_DEFAULT | AV_DISPOSITION_MULTILAYER;
  const int result = avcodec_parameters_from_context(video_->codecpar, &encoder);
  if (result < 0) return fail_with_library_error(error, "could not configure MV-HEVC output track", result);
  video_->codecpar->codec_tag = MKTAG('h', 'v', 'c', '1');
  return true;
}

bool SpatialContainer::create_audio_track(const SpatialWriterConfig& config, std::string& error) {
  if (config.audio_parameters == nullptr) return true;
  audio_ = avformat_new_stream(muxer_.get(), nullptr);
  if (audio_ == nullptr) return fail(error, "could not create spatial audio track");
  const int result = avcodec_parameters_copy(audio_->codecpar, config.audio_parameters);
  if (result < 0) return fail_with_library_error(error, "could not copy spatial audio format", result);
  // The muxer picks the tag of its own container.
  audio_->codecpar->codec_tag = 0;
  audio_->time_base = source_time_base_ = config.audio_time_base;
  return true;
}

bool SpatialContainer::open_file(const std::string& url, std::string& error) {
  if ((muxer_->oformat->flags & AVFMT_NOFILE) != 0) return true;
  const int result = avio_open(&muxer_->pb, url.c_str(), AVIO_FLAG_WRITE);
  if (result < 0) return fail_with_library_error(error, "could not open spatial output", result);
  return true;
}

bool SpatialContainer::write_header(std::string& error) {
  Dictionary options;
  options.set("movflags", "+faststart");
  const int result = avformat_write_header(muxer_.get(), options.address());
  if (result < 0) return fail_with_library_error(error, "could not write spatial QuickTime header", result);
  return true;
}

bool SpatialContainer::write_video(AVPacket& sample, std::string& error) {
  // Without a duration the last sample's is unknown, and the muxer's edit list would end before it.
  if (sample.duration == 0) sample.duration = 1;
  av_packet_rescale_ts(&sample, encoder_time_base_, video_->time_base);
  sample.stream_index = video_->index;
  const int result = av_interleaved_write_frame(muxer_.get(), &sample);
  if (result < 0) return fail_with_library_error(error, "could not write MV-HEVC packet", result);
  return true;
}

bool SpatialContainer::write_audio(const AVPacket& packet, std::string& error) {
  const PacketPtr copy(av_packet_clone(&packet));
  if (!copy) return fail(error, "could not copy spatial audio packet");
  av_packet_rescale_ts(copy.get(), source_time_base_, audio_->time_base);
  copy->stream_index = audio_->index;
  copy->pos = -1;
  const int result = av_interleaved_write_frame(muxer_.get(), copy.get());
  if (result < 0) return fail_with_library_error(error, "could not write spatial audio packet", result);
  return true;
}

bool SpatialContainer::finish(std::string& error) {
  int result = av_write_trailer(muxer_.get());
  // Closing writes what is still buffered, and that can fail too.
  const int closed = avio_closep(&muxer_->pb);
  if (result >= 0) result = closed;
  if (result < 0) return fail_with_library_error(error, "could not finish spatial QuickTime output", result);
  return true;
}

}  // namespace veyrin
