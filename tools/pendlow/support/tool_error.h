// Exit statuses of the tool and the one exception type that carries a message to the user.
#pragma once

#include <stdexcept>
#include <string>

namespace pendlow {

constexpr int kExitOk = 0;
constexpr int kExitDifferences = 1;  // roundtrip found differences
constexpr int kExitUsage = 2;        // bad command line, unreadable input or unwritable output
constexpr int kExitLibrary = 3;      // the library did not load or does not offer the member

// Thrown anywhere below main(); main prints "pendlow: <message>" and exits with `status`.
class ToolError : public std::runtime_error {
 public:
  ToolError(int status, const std::string& message)
      : std::runtime_error(message), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

}  // namespace pendlow
