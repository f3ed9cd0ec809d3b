// The getter's snapshot of a StyledText: one record per style run with its formatting, text,
// position and the alignment of the paragraph that holds its middle.
#pragma once

#include <cstdint>
#include <vector>

#include "frame/host_api.h"
#include "frame/host_services.h"

struct XojoStyleRun {
  XojoStyleRun() = default;
  // Takes one more reference on each string. Inline, as the destructor: a growing snapshot copies
  // and destroys every record it holds.
  XojoStyleRun(const XojoStyleRun& other)
      : bold(other.bold),
        underline(other.underline),
        italic(other.italic),
        textColor(other.textColor),
        size(other.size),
        alignment(other.alignment),
        start(other.start),
        length(other.length),
        middle(other.middle),
        font(other.font),
        text(other.text) {
    if (font != nullptr) REALLockString(font);
    if (text != nullptr) REALLockString(text);
  }
  // A new record for one run: takes one reference on each string, font first.
  XojoStyleRun(bool bold_, bool underline_, bool italic_, uint32_t textColor_, int64_t size_,
               int64_t start_, int64_t length_, REALstringStruct* font_, REALstringStruct* text_)
      : bold(bold_ ? 1 : 0),
        underline(underline_ ? 1 : 0),
        italic(italic_ ? 1 : 0),
        textColor(textColor_),
        size(size_),
        start(start_),
        length(length_),
        middle(start_ + length_ / 2),
        font(font_),
        text(text_) {
    if (font != nullptr) REALLockString(font);
    if (text != nullptr) REALLockString(text);
  }
  XojoStyleRun& operator=(const XojoStyleRun& other);
  ~XojoStyleRun() {  // releases text, then font
    if (text != nullptr) REALUnlockString(text);
    if (font != nullptr) REALUnlockString(font);
  }

  uint8_t bold = 0;
  uint8_t underline = 0;
  uint8_t italic = 0;
  uint32_t textColor = 0;
  int64_t size = 0;
  int64_t alignment = 0;
  int64_t start = 0;
  int64_t length = 0;
  int64_t middle = 0;
  REALstringStruct* font = nullptr;
  REALstringStruct* text = nullptr;
};

// Releases at scope end the object and the string that the watched variables hold.
class rbFreeLater {
 public:
  // Inline: the getter keeps two of these for every style run.
  rbFreeLater(REALobjectStruct** object, REALstringStruct** string)
      : object_(object), string_(string) {}
  ~rbFreeLater() {
    if (object_ != nullptr) {
      if (*object_ != nullptr) REALUnlockObject(*object_);
      *object_ = nullptr;
    }
    if (string_ != nullptr) {
      if (*string_ != nullptr) REALUnlockString(*string_);
      *string_ = nullptr;
    }
  }
  rbFreeLater(const rbFreeLater&) = delete;
  rbFreeLater& operator=(const rbFreeLater&) = delete;

 private:
  REALobjectStruct** object_;
  REALstringStruct** string_;
};

// Fills runs; false when there is no document to write (null object, no runs, no paragraphs,
// or every run missing).
bool TakeStyleRunSnapshot(REALobjectStruct* styledText, bool skipParagraphs,
                          std::vector<XojoStyleRun>& runs);
