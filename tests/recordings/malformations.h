// Faults that a recording can be given on purpose.
#pragma once

#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "tests/recordings/gpmf_sample.h"
#include "tests/recordings/media_track.h"

namespace veyrin::recordings {

/// One metadata sample before its records are made.
struct SampleDraft {
  int index = 0;  ///< from 0 within its track
  std::string payload;
  GpmfShape shape;
  int cut_bytes = 0;    ///< taken off the finished sample's end
  int most_bytes = -1;  ///< of the finished sample; -1: all
};

/// A named fault; absent steps leave the recording as it is.
struct Malformation {
  std::string name;
  std::string what;
  void (*in_document)(nlohmann::json& document, int sample_index) = nullptr;
  void (*in_sample)(SampleDraft& draft) = nullptr;
  void (*in_tracks)(std::vector<MediaTrack>& tracks) = nullptr;
  bool (*in_file)(const std::filesystem::path& path) = nullptr;  ///< false when the file cannot be changed
  bool index_first = false;                                      ///< the fault needs moov before mdat
};

const std::vector<Malformation>& malformations();

/// Null when there is none of that name.
const Malformation* find_malformation(std::string_view name);

}  // namespace veyrin::recordings
