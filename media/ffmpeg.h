// FFmpeg as this program uses it: owners of its objects, its error texts, names of files and frame buffers.
// A raw FFmpeg pointer anywhere else is borrowed for the call.
#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>

#include "media/video_types.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/buffer.h>
#include <libavutil/dict.h>
#include <libavutil/frame.h>
#include <libavutil/mem.h>
#include <libswscale/swscale.h>
}

namespace veyrin {

struct FFmpegDeleter {
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVBufferRef* buffer) const { av_buffer_unref(&buffer); }
  void operator()(SwsContext* scaler) const { sws_freeContext(scaler); }
  void operator()(AVCodecParameters* parameters) const { avcodec_parameters_free(&parameters); }
};

using FramePtr = std::unique_ptr<AVFrame, FFmpegDeleter>;
using PacketPtr = std::unique_ptr<AVPacket, FFmpegDeleter>;
using CodecContextPtr = std::unique_ptr<AVCodecContext, FFmpegDeleter>;
using BufferRefPtr = std::unique_ptr<AVBufferRef, FFmpegDeleter>;
using ScalerPtr = std::unique_ptr<SwsContext, FFmpegDeleter>;
using CodecParametersPtr = std::unique_ptr<AVCodecParameters, FFmpegDeleter>;

struct LibraryMemoryDeleter {
  void operator()(void* memory) const { av_free(memory); }
};

/// Owns a plain record from FFmpeg's allocator, such as side data that no stream has taken yet.
template <typename Record>
using LibraryMemoryPtr = std::unique_ptr<Record, LibraryMemoryDeleter>;

struct InputContextDeleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
};

/// Owns an opened demuxer, its I/O included.
using InputContextPtr = std::unique_ptr<AVFormatContext, InputContextDeleter>;

struct OutputContextDeleter {
  void operator()(AVFormatContext* context) const { avformat_free_context(context); }
};

/// Owns a muxer, but not the file that it writes to.
using OutputContextPtr = std::unique_ptr<AVFormatContext, OutputContextDeleter>;

/// Owns an option dictionary; `address()` is what FFmpeg's functions take and may replace.
class Dictionary {
 public:
  Dictionary() = default;
  ~Dictionary() { av_dict_free(&entries_); }
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;
  AVDictionary** address() { return &entries_; }
  [[nodiscard]] const AVDictionary* get() const { return entries_; }
  /// Sets one entry; a negative result is FFmpeg's error code.
  int set(const char* key, const char* value) { return av_dict_set(&entries_, key, value, 0); }

 private:
  AVDictionary* entries_ = nullptr;
};

/// FFmpeg's description of an error code, at most 63 characters.
std::string library_error_text(int code);

/// `message` + ": " + FFmpeg's description of `code`.
std::string with_library_error(std::string_view message, int code);

/// As `fail`, with FFmpeg's description of `code` after the message.
[[nodiscard]] bool fail_with_library_error(std::string& error, std::string_view message, int code);

/// The URL of a file for FFmpeg's open calls. A plain path would be taken for a protocol when a colon follows
/// its first word ("a:b.mp4").
std::string media_url(const std::filesystem::path& path);

/// Whether rows begin at multiples of 32 bytes, for the kernels, or directly behind each other, so that a
/// plane is one piece of memory.
enum class RowLayout { aligned, gapless };

/// Gives an empty frame buffers of the given format and size; a negative result is FFmpeg's error code.
[[nodiscard]] int allocate_frame_buffers(AVFrame& frame, AVPixelFormat format, Size size,
                                         RowLayout rows = RowLayout::aligned);

/// A new frame with such buffers; null when memory is short or the size is out of range.
[[nodiscard]] FramePtr allocate_video_frame(AVPixelFormat format, Size size,
                                            RowLayout rows = RowLayout::aligned);

}  // namespace veyrin
