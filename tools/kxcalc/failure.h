// Errors of the kxcalc program: each becomes one line on stderr and a non-zero exit status.
#pragma once

#include <cstdarg>
#include <cstdio>
#include <stdexcept>
#include <string>

namespace kxtool {

// Bad input, an unreadable file or a library that cannot serve the request: exit status 1.
struct Failure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// A command line that cannot be obeyed: exit status 2, with a pointer to --help.
struct UsageError : Failure {
  using Failure::Failure;
};

[[gnu::format(printf, 1, 2)]] inline std::string format(const char* pattern, ...) {
  va_list arguments;
  va_start(arguments, pattern);
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, pattern, copy);
  va_end(copy);
  std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(text.data(), text.size() + 1, pattern, arguments);
  va_end(arguments);
  return text;
}

}  // namespace kxtool
