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
// outside any group) and a "}" drops it, so the enclosing group's state is always the one below.
// Copies are counted rather than made: a run of "{" costs a counter, and a state is copied only
// when a control word changes it (Mutable). Deep nesting therefore costs neither time nor memory.
class RTFGroupStack {
 public:
  // The innermost state, or null outside any group. Valid until the stack next changes.
  const RTFGroupState* Current() const {
    return entries_.empty() ? nullptr : &entries_.back().state;
  }

  // The innermost state to be changed: a state of its own for the innermost group.
  RTFGroupState* Mutable() {
    Entry& top = entries_.back();
    if (top.copies > 1) {
      --top.copies;
      entries_.push_back(Entry{top.state, 1});
    }
    return &entries_.back().state;
  }

  // A "{": a copy of the current state, or a fresh one outside any group.
  const RTFGroupState* Push() {
    if (entries_.empty()) {
      entries_.push_back(Entry{RTFGroupState(), 1});
    } else {
      ++entries_.back().copies;
    }
    return &entries_.back().state;
  }

  // A "}": drops the current state; the enclosing one becomes current.
  const RTFGroupState* Pop() {
    if (!entries_.empty() && --entries_.back().copies == 0) entries_.pop_back();
    return Current();
  }

 private:
  struct Entry {
    RTFGroupState state;
    unsigned long long copies;  // open groups that share this state, innermost last
  };
  std::vector<Entry> entries_;
};
