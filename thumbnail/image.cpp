#include "thumbnail/image.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <type_traits>

#include "common/console.h"
#include "common/error_text.h"
#include "common/output_claim.h"
#include "common/platform/files.h"
#include "common/platform/output_file.h"
#include "thumbnail/png_writer.h"

namespace veyrin {
namespace {

[[nodiscard]] bool write_png(platform::OutputFile& file, const Image& image, CpuWorkerPool& pool) {
  const PacketPtr png = encoded_png(image, pool);
  if (!png) return false;
  std::error_code reason;
  const bool written = file.write(png->data, static_cast<std::size_t>(png->size), reason);
  return file.close(reason) && written;
}

bool same_pixels(const Image& a, const Image& b, CpuWorkerPool& pool) {
  if (a.size() != b.size()) return false;
  std::atomic<bool> same = true;
  static_assert(std::has_unique_object_representations_v<Rgba>);
  const std::size_t row_bytes = static_cast<std::size_t>(a.width()) * sizeof(Rgba);
  pool.run(a.height(), [&](std::int32_t y) {
    if (std::memcmp(a.row(y), b.row(y), row_bytes) != 0) same = false;
  });
  return same;
}

bool reads_back(const std::filesystem::path& file, const Image& image, CpuWorkerPool& pool) {
  const auto read = read_png(file);
  return read && same_pixels(*read, image, pool);
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
                           const std::filesystem::path& output, const Image& image, CpuWorkerPool& pool,
                           std::string& error) {
  if (!write_png(file, image, pool)) {
    return fail(error, "Could not write temporary PNG " + platform::path_to_utf8(temporary));
  }
  if (!reads_back(temporary, image, pool)) {
    return fail(error, "Generated PNG failed validation: " + platform::path_to_utf8(temporary));
  }
  std::string reason;
  if (platform::replace_file(temporary, output, reason)) return true;
  return fail(error, "Could not publish " + platform::path_to_utf8(output) + ": " + reason);
}

[[nodiscard]] bool write_claimed(OutputClaim& claim, const Image& image, CpuWorkerPool& pool,
                                 std::string& error) {
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
  if (!publish(*file, temporary, claim.file(), image, pool, error)) return false;
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

bool write_png_atomically(const std::filesystem::path& output, const Image& image, bool overwrite,
                          CpuWorkerPool& pool) {
  std::string error;
  if (!make_parent_folder(output)) {
    error = "Could not create output directory for " + platform::path_to_utf8(output);
  } else if (const auto claim = OutputClaim::create(output, overwrite, error, patience_with_others)) {
    static_cast<void>(write_claimed(*claim, image, pool, error));
  }
  if (!error.empty()) console_line("[VideoThumbnailGenerator] %s", error.c_str());
  return error.empty();
}

}  // namespace veyrin
