// How a StyledText keeps its style runs.
//
// A run appended to a StyledText is no host object any more: its text bytes lie in a few large
// buffers shared by all runs, its font name is kept once per StyledText, and its formatting
// (text encoding, font, size, colour, bold, italic, underline) is an index into the StyledText's
// table of distinct formattings. A run costs 8 bytes besides its text, so a document of millions
// of one-character runs stays small. "StyleRun(Index)" rebuilds a full, detached run from this.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host_bytes.h"
#include "simhost/host.h"

namespace simhost {

// A style run as a StyleRun object holds it: text and font keep their bytes and encoding.
struct RunData {
  HostBytes text;
  HostBytes font;
  int64_t size = 0;
  Encoding textEncoding = kREALTextEncodingUTF8;
  Encoding fontEncoding = kREALTextEncodingUTF8;
  uint32_t color = 0;
  bool hasFont = false;
  bool bold = false, italic = false, underline = false;
};

class RunStore {
 public:
  RunStore() = default;
  RunStore(const RunStore&) = delete;
  RunStore& operator=(const RunStore&) = delete;

  size_t size() const { return count_; }
  uint64_t textBytes() const { return bytes_; }

  // Appends a run of `text` (bytes in `textEncoding`) with the font and formatting of `format`
  // (its own text is not looked at). `utf8` tells that the bytes are pure ASCII or well-formed
  // UTF-8 and read the same in UTF-8.
  void Append(std::string_view text, Encoding textEncoding, bool utf8, const RunData& format);
  // Run `index` (0 <= index < size()) as a StyleRun holds it.
  RunData Get(size_t index) const;
  // The text bytes of run `index` (valid until the store changes) and their encoding.
  std::string_view TextOf(size_t index, Encoding* encoding) const;
  void RemoveLast();
  // Removes run `index`; the runs after it move up.
  void RemoveAt(size_t index);
  // Empties the store and gives its memory back.
  void Clear();

  // Calls f(std::string_view text, Encoding encoding, bool utf8) for every run in order.
  template <typename F>
  void ForEachText(F f) const {
    uint64_t offset = 0;
    size_t chunk = 0;
    for (size_t i = 0; i < count_; ++i) {
      const Record& r = At(i);
      uint64_t n = LengthOf(i, r);
      const Style& style = styles_[r.style];
      if (n == 0) {
        f(std::string_view(), style.encoding, true);
        continue;
      }
      while (offset >= chunks_[chunk].start + chunks_[chunk].used) ++chunk;
      const Chunk& c = chunks_[chunk];
      f(std::string_view(c.data.get() + (offset - c.start), static_cast<size_t>(n)), style.encoding,
        (style.flags & kUTF8) != 0);
      offset += n;
    }
  }

 private:
  struct Record {
    uint32_t style;   // index into styles_
    uint32_t length;  // text bytes; kLongRun: see longRuns_
  };
  struct Style {
    int64_t size;
    uint32_t color;
    uint32_t font;  // index into fonts_, or kNoFont
    Encoding encoding;
    uint8_t flags;  // kBold, kItalic, kUnderline, kUTF8
    bool operator==(const Style& o) const {
      return size == o.size && color == o.color && font == o.font && encoding == o.encoding &&
             flags == o.flags;
    }
  };
  struct StyleHash {
    size_t operator()(const Style& s) const;
  };
  struct Font {
    std::string bytes;
    Encoding encoding;
  };
  struct Chunk {
    std::unique_ptr<char[]> data;
    size_t capacity;
    size_t used;
    uint64_t start;  // offset of its first byte in the text of all runs
  };

  static constexpr uint8_t kBold = 1, kItalic = 2, kUnderline = 4, kUTF8 = 8;
  static constexpr uint32_t kNoFont = 0xFFFFFFFF;
  static constexpr uint32_t kLongRun = 0xFFFFFFFF;
  static constexpr size_t kBlockShift = 10;  // records per block: 1024
  static constexpr size_t kMarkShift = 6;    // a text offset kept for every 64th run

  const Record& At(size_t index) const {
    return blocks_[index >> kBlockShift][index & ((size_t{1} << kBlockShift) - 1)];
  }
  uint64_t LengthOf(size_t index, const Record& r) const {
    return r.length != kLongRun ? r.length : longRuns_.at(index);
  }
  uint64_t OffsetOf(size_t index) const;
  const char* BytesAt(uint64_t offset) const;
  uint32_t InternStyle(const RunData& format, Encoding textEncoding, bool utf8);
  uint32_t InternFont(const RunData& format);
  void Push(std::string_view text, uint32_t style);
  bool SameFont(uint32_t index, const RunData& format) const {
    const Font& f = fonts_[index];
    return f.encoding == format.fontEncoding && f.bytes.size() == format.font.size() &&
           std::memcmp(f.bytes.data(), format.font.data(), f.bytes.size()) == 0;
  }

  // Blocks of 1024 records; the first grows to that size, so a short text stays small.
  std::vector<std::vector<Record>> blocks_;
  std::vector<uint64_t> marks_;  // text offset of runs 0, 64, 128, ...
  std::unordered_map<size_t, uint64_t> longRuns_;
  std::vector<Chunk> chunks_;
  size_t count_ = 0;
  uint64_t bytes_ = 0;

  std::vector<Style> styles_;
  // Which formatting or font has which index: slots holding indexes (kNoFont when free),
  // found by hash with linear probing, never more than half full.
  struct IndexTable {
    std::vector<uint32_t> slots;
    size_t used = 0;
  };
  template <typename Equal>
  static uint32_t* Slot(IndexTable& table, uint64_t hash, Equal equal);
  template <typename HashOf>
  static void GrowTable(IndexTable& table, size_t entries, HashOf hashOf);
  static uint64_t FontHash(std::string_view bytes, Encoding encoding);
  IndexTable styleIndex_;
  std::vector<Font> fonts_;
  IndexTable fontIndex_;
  uint32_t lastStyle_ = kNoFont;
  uint32_t lastFont_ = kNoFont;

  // The latest offset looked up, so that reading the runs in order costs O(1) each.
  mutable size_t cursorIndex_ = 0;
  mutable uint64_t cursorOffset_ = 0;
};

}  // namespace simhost
