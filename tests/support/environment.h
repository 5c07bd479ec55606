// Environment variables of the test program itself.
#pragma once

#include <string>

namespace veyrin::test {

/// Sets the variable for this process and its children; both texts are UTF-8.
void set_variable(const char* name, const std::string& value);

void remove_variable(const char* name);

/// Sets a variable for its own lifetime, then removes it.
class EnvironmentVariable {
 public:
  EnvironmentVariable(const char* name, const std::string& value) : name_(name) { set_variable(name, value); }
  ~EnvironmentVariable() { remove_variable(name_); }
  EnvironmentVariable(const EnvironmentVariable&) = delete;
  EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

 private:
  const char* name_;
};

}  // namespace veyrin::test
