// What the helper program of the child-process tests asks of the operating system.
#pragma once

#include <string>

namespace veyrin::test {

/// Takes the bytes of standard input and gives those of standard output as they are.
void make_streams_binary();

/// One call that writes no bytes to standard output.
void write_nothing();

/// A line for each standard stream, "null" when it is the null device and "other" otherwise, then "empty" or
/// "not empty" for the input.
std::string streams_text();

/// The number that other processes know this one by.
std::string process_number();

/// Whether this process holds the descriptor or handle of a file under that number.
bool holds_file(const std::string& number);

}  // namespace veyrin::test
