// One preview, generated in this process, with all that came of it.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "tests/support/captured_output.h"
#include "thumbnail/image.h"
#include "thumbnail/thumbnail_generator.h"

extern "C" {
#include <libavutil/log.h>
}

namespace veyrin::test {

struct PreviewRun {
  bool written = false;
  std::string log;  ///< what the console got
  std::unique_ptr<Image> image;

  /// The generator's own lines, without their tag.
  [[nodiscard]] std::string own_lines() const {
    constexpr std::string_view tag = "[VideoThumbnailGenerator] ";
    std::string lines;
    for (std::size_t start = 0; start < log.size();) {
      const std::size_t end = log.find('\n', start);
      const std::string line = log.substr(start, end - start);
      if (line.starts_with(tag)) lines += line.substr(tag.size()) + "\n";
      start = end + 1;
    }
    return lines;
  }
};

inline PreviewRun run_preview(const std::filesystem::path& input, const std::filesystem::path& output,
                              int width) {
  av_log_set_level(AV_LOG_QUIET);
  PreviewRun run;
  capture_output();
  run.written = generate_thumbnail(input, output, width, /*overwrite=*/true);
  run.log = captured_output();
  run.image = read_png(output);
  return run;
}

}  // namespace veyrin::test
