// Checks on a tool's or the library's text output that name what was looked for and show the
// text when they fail: EXPECT_TRUE(Contains(out, "...")), EXPECT_TRUE(Lacks(out, "...")),
// EXPECT_TRUE(ContainsAll(out, {"...", "..."})).
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace test_support {

inline ::testing::AssertionResult Contains(const std::string& text, const std::string& part) {
  if (text.find(part) != std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "no \"" << part << "\" in:\n" << text;
}

inline ::testing::AssertionResult ContainsAll(const std::string& text,
                                              const std::vector<std::string>& parts) {
  std::string missing;
  for (const std::string& part : parts) {
    if (text.find(part) == std::string::npos) missing += "no \"" + part + "\"\n";
  }
  if (missing.empty()) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << missing << "in:\n" << text;
}

inline ::testing::AssertionResult Lacks(const std::string& text, const std::string& part) {
  const size_t at = text.find(part);
  if (at == std::string::npos) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << "\"" << part << "\" at " << at << " in:\n" << text;
}

}  // namespace test_support
