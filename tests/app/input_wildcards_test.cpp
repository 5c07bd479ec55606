#include "app/input_wildcards.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/app/parsed_arguments.h"

namespace veyrin::test {
namespace {

using Words = std::vector<std::string>;

/// Stands for two files where there is a star.
Words two_files(const std::string& name) {
  if (name.find('*') == std::string::npos) return {name};
  return {"one of " + name, "two of " + name};
}

Words expanded(const Words& arguments) {
  std::vector<const char*> texts;
  for (const std::string& argument : arguments) texts.push_back(argument.c_str());
  return expand_input_wildcards(static_cast<int>(texts.size()), texts.data(), two_files);
}

struct ExpansionCase {
  Words arguments;
  Words expanded;
};

TEST(InputWildcards, ReplacesInputsAlone) {
  const ExpansionCase cases[] = {
      {{}, {}},
      {{"*"}, {"*"}},
      {{"p", "*"}, {"p", "one of *", "two of *"}},
      {{"p", "a", "*", "b"}, {"p", "a", "one of *", "two of *", "b"}},
      {{"p", "--output", "*", "*"}, {"p", "--output", "*", "one of *", "two of *"}},
      {{"p", "--output-format", "*"}, {"p", "--output-format", "*"}},
      {{"p", "--software", "*"}, {"p", "--software", "one of *", "two of *"}},
      {{"p", "--output", "--software", "*"}, {"p", "--output", "--software", "one of *", "two of *"}},
      {{"p", "--bogus*", "-*"}, {"p", "--bogus*", "-*"}},
      {{"p", "check-support", "*"}, {"p", "check-support", "one of *", "two of *"}},
      {{"p", "", "*"}, {"p", "", "one of *", "two of *"}},
      {{"p", "*", "--start"}, {"p", "one of *", "two of *", "--start"}},
  };
  for (const ExpansionCase& entry : cases) {
    EXPECT_EQ(expanded(entry.arguments), entry.expanded) << joined(entry.arguments);
  }
}

}  // namespace
}  // namespace veyrin::test
