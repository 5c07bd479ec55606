// SPDX-License-Identifier: GPL-2.0-or-later (see LICENSE in this folder)
// Encodes two-view HEVC for the converter, which starts this program and talks to it through its standard
// streams (spatial/two_view_protocol.h).
#include <x265.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <string>
#include <string_view>

#include "spatial/two_view_protocol.h"
#include "two_view_encoder/probe.h"
#include "two_view_encoder/session.h"

namespace veyrin::two_view {
namespace {

constexpr const char* usage =
    "veyrin-two-view-encoder encodes pairs of raw pictures as two-view HEVC with x265.\n"
    "It is started by veyrin-video-converter; without options it reads a request and pictures\n"
    "from standard input and writes records to standard output.\n"
    "\n"
    "  --help     show this text\n"
    "  --version  show the versions of program, x265 and protocol\n"
    "  --probe    encode a few tiny pairs in 8 and in 10 bits; exit status 0 when both work\n"
    "\n"
    "Free software under the GNU General Public License, version 2 or later.\n";

void show_version() {
  std::printf("veyrin-two-view-encoder %s (x265 %s, protocol %u)\n", VEYRIN_VERSION, x265_version_str,
              protocol_version);
}

[[nodiscard]] int show_probe() {
  int status = EXIT_SUCCESS;
  for (const std::uint32_t bit_depth : {8U, 10U}) {
    std::string error;
    const bool works = probe(bit_depth, error);
    if (!works) status = EXIT_FAILURE;
    std::printf("%u bits: %s\n", bit_depth, works ? "both views" : error.c_str());
  }
  std::fflush(stdout);
  // Without clean-up: after a failure x265's threads may still run.
  if (status != EXIT_SUCCESS) std::_Exit(status);
  return status;
}

int run(std::span<char* const> arguments) {
  if (arguments.empty()) return serve();
  const std::string_view option = arguments.front();
  if (arguments.size() == 1 && option == "--help")
    return std::fputs(usage, stdout) < 0 ? EXIT_FAILURE : EXIT_SUCCESS;
  if (arguments.size() == 1 && option == "--version") return show_version(), EXIT_SUCCESS;
  if (arguments.size() == 1 && option == "--probe") return show_probe();
  std::fputs("unknown arguments: only --help, --version or --probe may be given\n", stderr);
  constexpr int wrong_usage = 2;
  return wrong_usage;
}

}  // namespace
}  // namespace veyrin::two_view

int main(int argument_count, char** arguments) {
  const std::span all(arguments, static_cast<std::size_t>(argument_count));
  return veyrin::two_view::run(all.subspan(all.empty() ? 0 : 1));
}
