#include "thumbnail/image.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <system_error>

#include "common/console.h"
#include "common/error_text.h"
#include "common/output_claim.h"
#include "common/platform/files.h"
#include "common/platform/output_file.h"
#include "media/ffmpeg.h"

namespace veyrin {
namespace {

/// The image as a frame for the encoder; null when memory is short.
FramePtr frame_of(const Image& image) {
  FramePtr frame = allocate_video_frame(AV_PIX_FMT_RGBA, image.size());
  if (!frame) return nullptr;
  // These make the encoder mark the file as sRGB.
  frame->color_primaries = AVCOL_PRI_BT709;
  frame->color_trc = AVCOL_TRC_IEC61966_2_1;
  frame->color_range = AVCOL_RANGE_JPEG;
  const std::size_t row_bytes = static_cast<std::size_t>(image.width()) * sizeof(Rgba);
  for (int y = 0; y < image.height(); ++y) {
    std::memcpy(frame->data[0] + static_cast<std::ptrdiff_t>(frame->linesize[0]) * y, image.row(y),
                row_bytes);
  }
  return frame;
}

CodecContextPtr open_encoder(const Image& image) {
  const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_PNG);
  CodecContextPtr context(encoder != nullptr ? avcodec_alloc_context3(encoder) : nullptr);
  if (!context) return nullptr;
  context->width = image.width();
  context->height = image.height();
  context->pix_fmt = AV_PIX_FMT_RGBA;
  context->color_range = AVCOL_RANGE_JPEG;
  context->sample_aspect_ratio = {1, 1};  // the file says that its pixels are square
  context->time_base = {1, 1};
  Dictionary options;
  // Predicted rows of a photograph take about half the space of plain ones.
  if (options.set("pred", "paeth") < 0) return nullptr;
  return avcodec_open2(context.get(), encoder, options.address()) >= 0 ? std::move(context) : nullptr;
}

/// A complete PNG file in memory; null when it cannot be made.
PacketPtr encoded_png(const Image& image) {
  const CodecContextPtr encoder = open_encoder(image);
  const FramePtr frame = frame_of(image);
  PacketPtr packet(av_packet_alloc());
  if (!encoder || !frame || !packet) return nullptr;
  if (avcodec_send_frame(encoder.get(), frame.get()) < 0) return nullptr;
  return avcodec_receive_packet(encoder.get(), packet.get()) >= 0 ? std::move(packet) : nullptr;
}

[[nodiscard]] bool write_png(platform::OutputFile& file, const Image& image) {
  const PacketPtr png = encoded_png(image);
  if (!png) return false;
  std::error_code reason;
  const bool written = file.write(png->data, static_cast<std::size_t>(png->size), reason);
  return file.close(reason) && written;
}

bool same_pixels(const Image& a, const Image& b) {
  if (a.size() != b.size()) return false;
  for (int y = 0; y < a.height(); ++y) {
    if (!std::equal(a.row(y), a.row(y) + a.width(), b.row(y))) return false;
  }
  return true;
}

bool reads_back(const std::filesystem::path& file, const Image& image) {
  const auto read = read_png(file);
  return read && same_pixels(*read, image);
}

[[nodiscard]] bool make_parent_folder(const std::filesystem::path& output) {
  if (!output.has_parent_path()) return true;
  std::error_code reason;
  std::filesystem::create_directories(output.parent_path(), reason);
  return !reason;
}

// What a preview takes at most, even on a busy machine with a slow disk.
constexpr std::chrono::seconds patience_with_others{30};

/// Writes an open temporary file and puts it in the output's place.
[[nodiscard]] bool publish(platform::OutputFile& file, const std::filesystem::path& temporary,
                           const std::filesystem::path& output, const Image& image, std::string& error) {
  if (!write_png(file, image)) {
    return fail(error, "Could not write temporary PNG " + platform::path_to_utf8(temporary));
  }
  if (!reads_back(temporary, image)) {
    return fail(error, "Generated PNG failed validation: " + platform::path_to_utf8(temporary));
  }
  std::string reason;
  if (platform::replace_file(temporary, output, reason)) return true;
  return fail(error, "Could not publish " + platform::path_to_utf8(output) + ": " + reason);
}

[[nodiscard]] bool write_claimed(OutputClaim& claim, const Image& image, std::string& error) {
  const std::filesystem::path temporary = temporary_png_path(claim.file());
  const std::string failure = "Could not write temporary PNG " + platform::path_to_utf8(temporary);
  std::string taken;
  if (!claim.plan_temporary(/*input=*/{}, BatchFiles(), temporary, taken)) return fail(error, failure);
  // Removed after the file is closed.
  std::optional<TemporaryFile> owner;
  std::error_code reason;
  const auto file = platform::OutputFile::open(temporary, platform::OutputFile::Opening::create, reason);
  if (!file) return fail(error, failure);
  owner.emplace(temporary);
  if (!publish(*file, temporary, claim.file(), image, error)) return false;
  owner->release();
  return true;
}

}  // namespace

ImagePtr SinglePlaneImage::create(Size size, Rgba fill) {
  constexpr std::int64_t most_pixels = std::int64_t{1} << 28;
  if (size.width < 1 || size.height < 1 || std::int64_t{size.width} * size.height > most_pixels)
    return nullptr;
  const auto count = static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
  std::unique_ptr<Rgba[]> pixels(new (std::nothrow) Rgba[count]);
  if (!pixels) return nullptr;
  std::fill_n(pixels.get(), count, fill);
  return ImagePtr(new SinglePlaneImage(size, std::move(pixels)));
}

std::filesystem::path temporary_png_path(const std::filesystem::path& output) {
  std::filesystem::path temporary = output;
  temporary += ".tmp";
  return temporary;
}

bool write_png_atomically(const std::filesystem::path& output, const Image& image, bool overwrite) {
  std::string error;
  if (!make_parent_folder(output)) {
    error = "Could not create output directory for " + platform::path_to_utf8(output);
  } else if (const auto claim = OutputClaim::create(output, overwrite, error, patience_with_others)) {
    static_cast<void>(write_claimed(*claim, image, error));
  }
  if (!error.empty()) console_line("[VideoThumbnailGenerator] %s", error.c_str());
  return error.empty();
}

}  // namespace veyrin
