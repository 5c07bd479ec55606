// The names of converted movies. Pure text work; nothing here asks the file system.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "common/conversion_options.h"

namespace veyrin {

/// A file name without its last extension. A leading dot starts no extension, "." and ".." have none, and a
/// colon ends the name (what follows it names a data stream on some file systems), on every platform alike.
std::string_view file_stem(std::string_view file_name);

/// The name of the movie that `output_format` asks for. `is_hdr` matters to spatial output alone.
std::string output_file_name(std::string_view input_file_name, const ConversionOptions& options, bool is_hdr);

/// Where the conversion of `input` goes: `output` exactly as given, else the derived name below
/// `output_root`.
std::filesystem::path output_path(const std::filesystem::path& input, const ConversionOptions& options,
                                  bool is_hdr);

}  // namespace veyrin
