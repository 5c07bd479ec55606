#include "app/entry.h"
#include "common/platform/program.h"

extern "C" {
#include <libavutil/log.h>
}

int main(int argc, char** argv) {
  // Every failure is reported once, in our own words; FFmpeg's log would repeat it on standard error.
  av_log_set_level(AV_LOG_QUIET);
  const veyrin::platform::Utf8Console console;
  return veyrin::run_converter(argc, argv);
}
