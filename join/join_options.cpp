#include "join/join_options.h"

#include <array>
#include <string_view>

#include "app/options.h"
#include "common/error_text.h"
#include "common/platform/files.h"

namespace veyrin {
namespace {

[[nodiscard]] bool store_real(const std::string& text, std::string_view name, std::optional<double>& value,
                              std::string& error) {
  return parse_real_option(text, name, value.emplace(), error);
}

/// An option that takes a value.
struct ValueOption {
  std::string_view name;
  bool (*store)(const std::string& value, std::string_view name, JoinOptions& options, std::string& error);
};

constexpr std::array value_options{
    ValueOption{"--cuts",
                [](const std::string& value, std::string_view name, JoinOptions& options,
                   std::string& error) { return store_real(value, name, options.cut_minutes, error); }},
    ValueOption{"--output-fps",
                [](const std::string& value, std::string_view name, JoinOptions& options,
                   std::string& error) { return store_real(value, name, options.output_fps, error); }},
    ValueOption{
        "--start",
        [](const std::string& value, std::string_view name, JoinOptions& options, std::string& error) {
          return parse_real_option(value, name, options.range.start, error);
        }},
    ValueOption{"--duration",
                [](const std::string& value, std::string_view name, JoinOptions& options,
                   std::string& error) { return store_real(value, name, options.range.duration, error); }},
    ValueOption{"--recording",
                [](const std::string& value, std::string_view, JoinOptions& options, std::string&) {
                  options.recording = platform::path_from_utf8(value);
                  return true;
                }},
    ValueOption{"--output",
                [](const std::string& value, std::string_view, JoinOptions& options, std::string&) {
                  options.output = platform::path_from_utf8(value);
                  return true;
                }},
};

/// What must not be, and what is said of it.
struct Rule {
  bool broken;
  const char* message;
};

[[nodiscard]] bool check_rules(const JoinOptions& options, std::string& error) {
  if (options.help) return true;
  const bool cuts = options.cut_minutes.has_value();
  const std::array rules{
      Rule{cuts && *options.cut_minutes <= 0.0, "--cuts must be positive"},
      Rule{options.range.start < 0.0, "--start must be non-negative"},
      Rule{options.range.duration && *options.range.duration <= 0.0, "--duration must be positive"},
      Rule{options.output_fps && *options.output_fps <= 0.0, "--output-fps must be positive"},
      Rule{cuts && (options.recording || options.output || options.overwrite),
           "--cuts cannot be combined with --recording, --output, or --overwrite"},
      Rule{cuts && options.files.size() != 1, "--cuts requires exactly one recording"},
      Rule{!cuts && options.output_fps.has_value(), "--output-fps is valid only with --cuts"},
      Rule{!cuts && !options.recording, "--recording is required"},
      Rule{!cuts && !options.output, "--output is required"},
      Rule{!cuts && options.files.empty(), "at least one piece is required"},
  };
  for (const Rule& rule : rules) {
    if (rule.broken) return fail(error, rule.message);
  }
  return true;
}

}  // namespace

bool parse_join_arguments(int argc, const char* const* argv, JoinOptions& options, std::string& error) {
  const auto find_value_option = [](std::string_view argument) -> const ValueOption* {
    for (const ValueOption& option : value_options) {
      if (option.name == argument) return &option;
    }
    return nullptr;
  };
  for (int index = 1; index < argc; ++index) {
    const std::string_view argument = argv[index];
    if (const ValueOption* option = find_value_option(argument)) {
      std::string value;
      if (!take_option_value(index, argc, argv, option->name, value, error)) return false;
      if (!option->store(value, option->name, options, error)) return false;
    } else if (argument == "--overwrite") {
      options.overwrite = true;
    } else if (argument == "--help" || argument == "-h") {
      options.help = true;
    } else if (argument.starts_with('-')) {
      return fail(error, "unknown option: " + std::string(argument));
    } else {
      options.files.emplace_back(argument);
    }
  }
  return check_rules(options, error);
}

std::string join_usage_text() {
  return "Usage: veyrin-join --cuts MINUTES [options] RECORDING\n"
         "       veyrin-join [options] --recording RECORDING --output MOVIE PIECE...\n"
         "\n"
         "Tells how to cut a long recording, and joins the movies that veyrin-video-converter\n"
         "makes of its pieces.\n"
         "\n"
         "  --cuts MINUTES            print the pieces of about this length as one line of JSON\n"
         "  --output-fps FPS          normalized output frame rate of the pieces to be\n"
         "\n"
         "  --recording RECORDING     recording that the pieces were made of; its sound is copied\n"
         "  --output MOVIE            joined movie\n"
         "  --overwrite               replace the joined movie\n"
         "\n"
         "  --start SECONDS           trim start of the whole movie\n"
         "  --duration SECONDS        trim duration of the whole movie\n"
         "  --help, -h                show this help\n";
}

}  // namespace veyrin
