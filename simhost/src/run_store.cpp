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

}  // namespace

size_t RunStore::StyleHash::operator()(const Style& s) const {
  uint64_t h = static_cast<uint64_t>(s.size) * 0x9E3779B97F4A7C15ULL;
  h ^= (uint64_t{s.color} << 32 | s.font) * 0xC2B2AE3D27D4EB4FULL;
  h ^= (uint64_t{s.encoding} << 8 | s.flags) * 0x165667B19E3779F9ULL;
  // Every input bit reaches the low bits the table is indexed by.
  h ^= h >> 33;
  h *= 0xFF51AFD7ED558CCDULL;
  h ^= h >> 33;
  return static_cast<size_t>(h);
}

template <typename Equal>
uint32_t* RunStore::Slot(IndexTable& table, uint64_t hash, Equal equal) {
  const size_t mask = table.slots.size() - 1;
  for (size_t i = hash & mask;; i = (i + 1) & mask) {
    uint32_t& slot = table.slots[i];
    if (slot == kNoFont || equal(slot)) return &slot;
  }
}

template <typename HashOf>
void RunStore::GrowTable(IndexTable& table, size_t entries, HashOf hashOf) {
  if (2 * (table.used + 1) <= table.slots.size()) return;
  table.slots.assign(std::max<size_t>(16, table.slots.size() * 2), kNoFont);
  for (size_t i = 0; i < entries; ++i) {
    const uint32_t index = static_cast<uint32_t>(i);
    *Slot(table, hashOf(index), [](uint32_t) { return false; }) = index;
  }
}

uint64_t RunStore::FontHash(std::string_view bytes, Encoding encoding) {
  uint64_t h = 0xCBF29CE484222325ULL ^ encoding;  // FNV-1a
  for (char c : bytes) h = (h ^ static_cast<unsigned char>(c)) * 0x100000001B3ULL;
  return h ^ (h >> 32);
}

uint32_t RunStore::InternFont(const RunData& format) {
  if (!format.hasFont) return kNoFont;
  // Runs in a row mostly share their font.
  if (lastFont_ != kNoFont && SameFont(lastFont_, format)) return lastFont_;
  auto hashOf = [this](uint32_t i) { return FontHash(fonts_[i].bytes, fonts_[i].encoding); };
  GrowTable(fontIndex_, fonts_.size(), hashOf);
  uint32_t* slot = Slot(fontIndex_, FontHash(format.font, format.fontEncoding),
                        [&](uint32_t i) { return SameFont(i, format); });
  if (*slot == kNoFont) {
    *slot = static_cast<uint32_t>(fonts_.size());
    fonts_.push_back(Font{format.font.str(), format.fontEncoding});
    ++fontIndex_.used;
  }
  return lastFont_ = *slot;
}

uint32_t RunStore::InternStyle(const RunData& format, Encoding textEncoding, bool utf8) {
  const auto flags =
      static_cast<uint8_t>((format.bold ? kBold : 0) | (format.italic ? kItalic : 0) |
                           (format.underline ? kUnderline : 0) | (utf8 ? kUTF8 : 0));
  const Style style{format.size, format.color, InternFont(format), textEncoding, flags};
  if (lastStyle_ != kNoFont && styles_[lastStyle_] == style) return lastStyle_;
  auto hashOf = [this](uint32_t i) { return StyleHash()(styles_[i]); };
  GrowTable(styleIndex_, styles_.size(), hashOf);
  uint32_t* slot =
      Slot(styleIndex_, StyleHash()(style), [&](uint32_t i) { return styles_[i] == style; });
  if (*slot == kNoFont) {
    *slot = static_cast<uint32_t>(styles_.size());
    styles_.push_back(style);
    ++styleIndex_.used;
  }
  return lastStyle_ = *slot;
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
  styleIndex_ = IndexTable();
  FreeAll(fonts_);
  fontIndex_ = IndexTable();
  lastStyle_ = kNoFont;
  lastFont_ = kNoFont;
  cursorIndex_ = 0;
  cursorOffset_ = 0;
}

}  // namespace simhost
