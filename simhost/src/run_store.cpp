#include "run_store.h"

#include <algorithm>
#include <cstring>

namespace simhost {
namespace {

// Text buffers grow with the text (so a small StyledText stays small) up to this size; a run
// longer than that gets a buffer of its own size.
constexpr size_t kMinChunk = 256;
constexpr size_t kMaxChunk = size_t{1} << 20;

// Empties a container and gives its memory back.
template <typename C>
void FreeAll(C& c) {
  C().swap(c);
}

std::string FontKey(std::string_view bytes, Encoding encoding) {
  std::string key(bytes);
  key.append(reinterpret_cast<const char*>(&encoding), sizeof encoding);
  return key;
}

}  // namespace

size_t RunStore::StyleHash::operator()(const Style& s) const {
  uint64_t h = static_cast<uint64_t>(s.size) * 0x9E3779B97F4A7C15ULL;
  h ^= (uint64_t{s.color} << 32 | s.font) * 0xC2B2AE3D27D4EB4FULL;
  h ^= (uint64_t{s.encoding} << 8 | s.flags) * 0x165667B19E3779F9ULL;
  return static_cast<size_t>(h ^ (h >> 29));
}

uint32_t RunStore::InternFont(const RunData& format) {
  if (!format.hasFont) return kNoFont;
  // Runs in a row mostly share their font: compare with the last one before hashing.
  if (lastFont_ != kNoFont) {
    const Font& last = fonts_[lastFont_];
    if (last.encoding == format.fontEncoding && last.bytes.size() == format.font.size() &&
        std::memcmp(last.bytes.data(), format.font.data(), last.bytes.size()) == 0) {
      return lastFont_;
    }
  }
  if (fonts_.size() <= kFewEntries) {
    for (size_t i = 0; i < fonts_.size(); ++i) {
      if (fonts_[i].encoding == format.fontEncoding && format.font == fonts_[i].bytes) {
        lastFont_ = static_cast<uint32_t>(i);
        return lastFont_;
      }
    }
    fonts_.push_back(Font{format.font.str(), format.fontEncoding});
    lastFont_ = static_cast<uint32_t>(fonts_.size() - 1);
    if (fonts_.size() > kFewEntries) {
      for (size_t i = 0; i < fonts_.size(); ++i) {
        fontIndex_.emplace(FontKey(fonts_[i].bytes, fonts_[i].encoding), static_cast<uint32_t>(i));
      }
    }
    return lastFont_;
  }
  auto [it, added] = fontIndex_.try_emplace(FontKey(format.font, format.fontEncoding),
                                            static_cast<uint32_t>(fonts_.size()));
  if (added) fonts_.push_back(Font{format.font.str(), format.fontEncoding});
  lastFont_ = it->second;
  return lastFont_;
}

uint32_t RunStore::InternStyle(const RunData& format, Encoding textEncoding, bool utf8) {
  const auto flags =
      static_cast<uint8_t>((format.bold ? kBold : 0) | (format.italic ? kItalic : 0) |
                           (format.underline ? kUnderline : 0) | (utf8 ? kUTF8 : 0));
  Style style{format.size, format.color, InternFont(format), textEncoding, flags};
  if (lastStyle_ != kNoFont && styles_[lastStyle_] == style) return lastStyle_;
  if (styles_.size() <= kFewEntries) {
    for (size_t i = 0; i < styles_.size(); ++i) {
      if (styles_[i] == style) {
        lastStyle_ = static_cast<uint32_t>(i);
        return lastStyle_;
      }
    }
    styles_.push_back(style);
    lastStyle_ = static_cast<uint32_t>(styles_.size() - 1);
    if (styles_.size() > kFewEntries) {
      for (size_t i = 0; i < styles_.size(); ++i) {
        styleIndex_.emplace(styles_[i], static_cast<uint32_t>(i));
      }
    }
    return lastStyle_;
  }
  auto [it, added] = styleIndex_.try_emplace(style, static_cast<uint32_t>(styles_.size()));
  if (added) styles_.push_back(style);
  lastStyle_ = it->second;
  return lastStyle_;
}

void RunStore::Push(std::string_view text, uint32_t style) {
  const uint64_t n = text.size();
  if (n > 0) {
    if (chunks_.empty() || chunks_.back().capacity - chunks_.back().used < n) {
      size_t capacity =
          std::max<size_t>(static_cast<size_t>(n),
                           std::clamp<size_t>(static_cast<size_t>(bytes_), kMinChunk, kMaxChunk));
      // Not zeroed: only the bytes written become resident.
      chunks_.push_back(Chunk{std::unique_ptr<char[]>(new char[capacity]), capacity, 0, bytes_});
    }
    Chunk& c = chunks_.back();
    std::memcpy(c.data.get() + c.used, text.data(), static_cast<size_t>(n));
    c.used += static_cast<size_t>(n);
  }
  if ((count_ & ((size_t{1} << kBlockShift) - 1)) == 0) {
    blocks_.emplace_back();
    if (blocks_.size() > 1) blocks_.back().reserve(size_t{1} << kBlockShift);
  }
  if ((count_ & ((size_t{1} << kMarkShift) - 1)) == 0) marks_.push_back(bytes_);
  const uint32_t length = n < kLongRun ? static_cast<uint32_t>(n) : kLongRun;
  blocks_.back().push_back(Record{style, length});
  if (length == kLongRun) longRuns_[count_] = n;
  ++count_;
  bytes_ += n;
}

void RunStore::Append(std::string_view text, Encoding textEncoding, bool utf8,
                      const RunData& format) {
  Push(text, InternStyle(format, textEncoding, utf8));
}

uint64_t RunStore::OffsetOf(size_t index) const {
  size_t from;
  uint64_t offset;
  if (index >= cursorIndex_ && index - cursorIndex_ < (size_t{1} << kMarkShift)) {
    from = cursorIndex_;
    offset = cursorOffset_;
  } else {
    from = index >> kMarkShift << kMarkShift;
    offset = marks_[index >> kMarkShift];
  }
  for (size_t i = from; i < index; ++i) offset += LengthOf(i, At(i));
  cursorIndex_ = index;
  cursorOffset_ = offset;
  return offset;
}

const char* RunStore::BytesAt(uint64_t offset) const {
  // The last buffer that starts at or before the offset.
  auto it = std::upper_bound(chunks_.begin(), chunks_.end(), offset,
                             [](uint64_t o, const Chunk& c) { return o < c.start; });
  const Chunk& c = *(it - 1);
  return c.data.get() + (offset - c.start);
}

std::string_view RunStore::TextOf(size_t index, Encoding* encoding) const {
  const Record& r = At(index);
  *encoding = styles_[r.style].encoding;
  const uint64_t n = LengthOf(index, r);
  if (n == 0) return std::string_view();
  const uint64_t offset = OffsetOf(index);
  // The next run in order is found from here without a walk.
  cursorIndex_ = index + 1;
  cursorOffset_ = offset + n;
  return std::string_view(BytesAt(offset), static_cast<size_t>(n));
}

RunData RunStore::Get(size_t index) const {
  RunData run;
  std::string_view text = TextOf(index, &run.textEncoding);
  run.text.Assign(text);
  const Style& style = styles_[At(index).style];
  run.hasFont = style.font != kNoFont;
  if (run.hasFont) {
    run.font.Assign(fonts_[style.font].bytes);
    run.fontEncoding = fonts_[style.font].encoding;
  }
  run.size = style.size;
  run.color = style.color;
  run.bold = (style.flags & kBold) != 0;
  run.italic = (style.flags & kItalic) != 0;
  run.underline = (style.flags & kUnderline) != 0;
  return run;
}

void RunStore::RemoveLast() {
  if (count_ == 0) return;
  const size_t index = count_ - 1;
  const uint64_t n = LengthOf(index, At(index));
  if (At(index).length == kLongRun) longRuns_.erase(index);
  if (n > 0) {
    // The run's bytes end the last buffer: runs never straddle two of them.
    Chunk& c = chunks_.back();
    c.used -= static_cast<size_t>(n);
    if (c.used == 0) chunks_.pop_back();
  }
  if ((index & ((size_t{1} << kMarkShift) - 1)) == 0) marks_.pop_back();
  blocks_.back().pop_back();
  if (blocks_.back().empty()) blocks_.pop_back();
  count_ = index;
  bytes_ -= n;
  if (cursorIndex_ > count_) {
    cursorIndex_ = 0;
    cursorOffset_ = 0;
  }
}

void RunStore::RemoveAt(size_t index) {
  if (index >= count_) return;
  // The runs behind it are taken off and put back with their formatting.
  std::vector<std::pair<std::string, uint32_t>> after;
  after.reserve(count_ - index - 1);
  for (size_t i = index + 1; i < count_; ++i) {
    Encoding encoding;
    std::string_view text = TextOf(i, &encoding);
    after.emplace_back(std::string(text), At(i).style);
  }
  while (count_ > index) RemoveLast();
  for (const auto& [text, style] : after) Push(text, style);
}

void RunStore::Clear() {
  FreeAll(blocks_);
  FreeAll(marks_);
  FreeAll(longRuns_);
  FreeAll(chunks_);
  count_ = 0;
  bytes_ = 0;
  FreeAll(styles_);
  FreeAll(styleIndex_);
  FreeAll(fonts_);
  FreeAll(fontIndex_);
  lastStyle_ = kNoFont;
  lastFont_ = kNoFont;
  cursorIndex_ = 0;
  cursorOffset_ = 0;
}

}  // namespace simhost
