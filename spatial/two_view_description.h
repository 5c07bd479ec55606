// Whether a finished movie tells players about both of its views.
#pragma once

#include <filesystem>
#include <string>

namespace veyrin {

/// Reads the sample entry of the movie's video track: the parameter sets of both layers (hvcC and lhvC) and
/// the record that the track is for both eyes (vexu). False with one message in `error` when something is
/// missing. What is no regular file cannot be read again and passes.
[[nodiscard]] bool check_two_view_description(const std::filesystem::path& movie, std::string& error);

}  // namespace veyrin
