#include "common/error_text.h"

#include <array>
#include <utility>

extern "C" {
#include <libavutil/error.h>
}

namespace veyrin {

std::string library_error_text(int code) {
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(code, text.data(), text.size());
  return text.data();
}

std::string with_library_error(std::string_view message, int code) {
  return std::string(message) + ": " + library_error_text(code);
}

bool fail(std::string& error, std::string message) {
  error = std::move(message);
  return false;
}

bool fail_with_library_error(std::string& error, std::string_view message, int code) {
  return fail(error, with_library_error(message, code));
}

}  // namespace veyrin
