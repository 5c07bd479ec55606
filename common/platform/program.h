// The running program: where its file is, its environment, its console, and the libraries that it looks up
// while it runs, because a machine may not have them.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace veyrin::platform {

/// The variable's value in UTF-8; nothing when it is not set.
std::optional<std::string> environment_value(const char* name);

/// True only when the variable is set to exactly "1".
inline bool environment_switch(const char* name) {
  return environment_value(name) == "1";
}

/// The file of the running program, absolute; empty when the system call fails.
std::filesystem::path module_path();

/// `name` with the suffix of executable files, if the system has one.
std::string executable_file_name(std::string_view name);

/// Makes the standard streams safe to write to, to be called before any file is opened. One that the program
/// was started without is occupied, so that no file of the program gets its number: reading gives nothing,
/// writing fails. Where the system would end the program by a signal because a write cannot be done (nobody
/// reads the pipe, a file may not grow), that write fails instead.
void secure_standard_streams();

/// Whether what the program prints goes into this regular file, links resolved: by standard output or
/// standard error. False when there is no such file or it cannot be looked at.
[[nodiscard]] bool is_printed_into(const std::filesystem::path& file);

/// Lets the console show UTF-8 while it lives, of which there may be one at a time; without effect where it
/// always does, or where there is no console.
class Utf8Console {
 public:
  Utf8Console();
  // NOLINTNEXTLINE(performance-trivially-destructible): on Windows there is something to undo.
  ~Utf8Console();
  Utf8Console(const Utf8Console&) = delete;
  Utf8Console& operator=(const Utf8Console&) = delete;
};

/// A loaded library; unloaded with the object, after which its functions must not be called.
class SharedLibrary {
 public:
  /// Loads the library of this file name (UTF-8), searched as the system searches, or of this path; null when
  /// there is none or it cannot be loaded.
  [[nodiscard]] static std::unique_ptr<SharedLibrary> load(const std::string& name);
  ~SharedLibrary();
  SharedLibrary(const SharedLibrary&) = delete;
  SharedLibrary& operator=(const SharedLibrary&) = delete;

  /// The exported function of this name; null when the library exports none. The caller vouches for the type.
  template <typename Function>
  [[nodiscard]] Function* function(const char* name) const {
    return reinterpret_cast<Function*>(address_of(name));
  }

 private:
  /// Takes the system's handle over, which is not null.
  explicit SharedLibrary(void* handle) : handle_(handle) {}
  [[nodiscard]] void* address_of(const char* name) const;

  void* handle_;
};

}  // namespace veyrin::platform
