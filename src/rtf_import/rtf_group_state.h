// The formatting state of one RTF group while importing, and the stack that holds the states of
// the open groups.
#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>

#include "rtf_import/rtf_tables.h"

struct RTFGroupState {
  // Raw bytes from the font table. Shared, so that a nested group copies a pointer rather than
  // the name: deep nesting under a long font name stays linear in memory.
  std::shared_ptr<const std::string> fontName;
  long long size = 0;              // points
  unsigned int encoding = 0x0500;  // host text encoding of the group's bytes (Windows-1252)
  RTFColor color{0, 0, 0};
  bool bold = false;
  bool italic = false;
  bool underline = false;
  RTFGroupState* parent = nullptr;  // the enclosing group's state, or null
};

// The open groups, innermost last. States live in a deque so that parent pointers stay valid
// while the stack grows, and so that even a million open groups are released by a loop rather
// than by recursion.
class RTFGroupStack {
 public:
  RTFGroupState* Current() { return states_.empty() ? nullptr : &states_.back(); }

  // A "{": a copy of the current state, or a fresh one outside any group.
  RTFGroupState* Push() {
    RTFGroupState* parent = Current();
    if (parent != nullptr) {
      states_.push_back(*parent);
    } else {
      states_.emplace_back();
    }
    states_.back().parent = parent;
    return &states_.back();
  }

  // A "}": drops the current state; the parent becomes current.
  RTFGroupState* Pop() {
    if (!states_.empty()) states_.pop_back();
    return Current();
  }

 private:
  std::deque<RTFGroupState> states_;
};
