// The message of what a call throws.
#pragma once

#include <exception>
#include <string>

namespace veyrin::test {

/// The message of the standard exception that `call` throws; "nothing thrown" otherwise.
template <typename Call>
std::string thrown_message(Call&& call) {
  try {
    call();
  } catch (const std::exception& exception) {
    return exception.what();
  }
  return "nothing thrown";
}

}  // namespace veyrin::test
