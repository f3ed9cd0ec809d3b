// The formatting state of one RTF group while importing, and the stack that holds the states of
// the open groups.
#pragma once

#include <string>
#include <vector>

#include "rtf_import/rtf_tables.h"

struct RTFGroupState {
  // Raw bytes from the font table, or null for none. The names live as long as the import
  // (RTFFontNames), so a nested group copies a pointer rather than the name.
  const std::string* fontName = nullptr;
  long long size = 0;              // points
  unsigned int encoding = 0x0500;  // host text encoding of the group's bytes (Windows-1252)
  RTFColor color{0, 0, 0};
  bool bold = false;
  bool italic = false;
  bool underline = false;
};

// The open groups, innermost last. A "{" pushes a copy of the innermost state (or a fresh one
// outside any group) and a "}" drops it, so the enclosing group's state is always the one
// below: a plain array, released in one piece however many groups are open.
class RTFGroupStack {
 public:
  RTFGroupState* Current() { return states_.empty() ? nullptr : &states_.back(); }

  // A "{": a copy of the current state, or a fresh one outside any group.
  RTFGroupState* Push() {
    if (states_.empty()) {
      states_.emplace_back();
    } else {
      states_.push_back(states_.back());
    }
    return &states_.back();
  }

  // A "}": drops the current state; the enclosing one becomes current.
  RTFGroupState* Pop() {
    if (!states_.empty()) states_.pop_back();
    return Current();
  }

 private:
  std::vector<RTFGroupState> states_;
};
