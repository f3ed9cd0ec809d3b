// Lookups in the generated code-page tables.
#include "code_page_tables.h"

#include <cstring>
#include <map>
#include <memory>
#include <mutex>

namespace simhost {
namespace tables {
namespace {

// The byte's character from an upper half and a list of lower-half differences from ASCII.
char32_t ByteOf(const char32_t* upper, const char32_t* lower, size_t lowerCount,
                unsigned char byte) {
  if (byte >= 0x80) return upper[byte - 0x80];
  for (size_t i = 0; i < lowerCount; ++i) {
    if (lower[2 * i] == byte) return lower[2 * i + 1];
  }
  return byte;
}

}  // namespace

bool SingleByteTable(const char* converter, std::array<char32_t, 256>* decode) {
  for (size_t i = 0; i < kSingleByteCount; ++i) {
    const SingleByteData& d = kSingleByte[i];
    if (std::strcmp(d.converter, converter) != 0) continue;
    for (int b = 0; b < 256; ++b) {
      (*decode)[b] = ByteOf(d.upper, d.lower, d.lowerCount, static_cast<unsigned char>(b));
    }
    return true;
  }
  return false;
}

MultiByteCodec::MultiByteCodec(const MultiByteData& data) : data_(data) {
  // Each character encodes to the first byte form that decodes to it (single bytes first, then
  // pairs in byte order), unless the table lists the encoder's own choice.
  for (int b = 0; b < 256; ++b) {
    char32_t c = Single(static_cast<unsigned char>(b));
    if (c != kNoCharacter && c != kLeadByte) encode_.emplace(c, 1u << 16 | uint32_t(b));
  }
  for (uint32_t lead = 0; lead < 256; ++lead) {
    for (size_t r = data.runStart[lead]; r < data.runStart[lead + 1]; ++r) {
      uint32_t run = data.runs[r];
      uint32_t trail = run >> 24, length = (run >> 16 & 0xFF) + 1;
      char32_t first = run & 0xFFFF;
      for (uint32_t k = 0; k < length; ++k) {
        encode_.emplace(first + k, 2u << 16 | lead << 8 | (trail + k));
      }
    }
  }
  for (size_t i = 0; i < data.encodeExceptionCount; ++i) {
    encode_[data.encodeExceptions[2 * i]] = data.encodeExceptions[2 * i + 1];
  }
}

char32_t MultiByteCodec::Single(unsigned char byte) const {
  return ByteOf(data_.upper, data_.lower, data_.lowerCount, byte);
}

MultiByteCodec::Step MultiByteCodec::Decode(std::string_view bytes) const {
  auto lead = static_cast<unsigned char>(bytes[0]);
  char32_t single = Single(lead);
  if (single == kNoCharacter) return {Step::kIllegal, 0, 1};
  if (single != kLeadByte) return {Step::kCharacter, single, 1};
  if (bytes.size() < 2) return {Step::kIncomplete, 0, 1};
  auto trail = static_cast<unsigned char>(bytes[1]);
  // The lead byte's runs are sorted by trail byte: find the last one starting at or before it.
  size_t lo = data_.runStart[lead], hi = data_.runStart[lead + 1];
  while (lo < hi) {
    size_t mid = lo + (hi - lo) / 2;
    if ((data_.runs[mid] >> 24) <= trail) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  if (lo > data_.runStart[lead]) {
    uint32_t run = data_.runs[lo - 1];
    uint32_t first = run >> 24, length = (run >> 16 & 0xFF) + 1;
    if (trail < first + length) return {Step::kCharacter, (run & 0xFFFF) + (trail - first), 2};
  }
  uint16_t pair = static_cast<uint16_t>(lead << 8 | trail);
  for (size_t i = 0; i < data_.steppedOverCount; ++i) {
    if (data_.steppedOver[i] == pair) return {Step::kIllegal, 0, 2};
  }
  return {Step::kIllegal, 0, 1};
}

bool MultiByteCodec::Encode(char32_t c, std::string* out) const {
  auto it = encode_.find(c);
  if (it == encode_.end() || it->second == kNoCharacter) return false;
  uint32_t length = it->second >> 16;
  for (uint32_t k = length; k > 0; --k)
    out->push_back(static_cast<char>(it->second >> 8 * (k - 1)));
  return true;
}

const MultiByteCodec* FindMultiByte(const char* converter) {
  static std::mutex mutex;
  static std::map<std::string, std::unique_ptr<MultiByteCodec>> codecs;
  std::lock_guard<std::mutex> lock(mutex);
  auto it = codecs.find(converter);
  if (it != codecs.end()) return it->second.get();
  for (size_t i = 0; i < kMultiByteCount; ++i) {
    if (std::strcmp(kMultiByte[i].converter, converter) == 0) {
      auto codec = std::make_unique<MultiByteCodec>(kMultiByte[i]);
      return codecs.emplace(converter, std::move(codec)).first->second.get();
    }
  }
  return nullptr;
}

char32_t LowerCase(char32_t c) {
  // The ranges are sorted and do not overlap: find the last one starting at or before c.
  size_t lo = 0, hi = kLowerCaseCount;
  while (lo < hi) {
    size_t mid = lo + (hi - lo) / 2;
    if (kLowerCase[mid].first <= c) {
      lo = mid + 1;
    } else {
      hi = mid;
    }
  }
  if (lo == 0) return c;
  const LowerCaseRange& r = kLowerCase[lo - 1];
  if (c > r.last || (c - r.first) % r.step != 0) return c;
  return static_cast<char32_t>(static_cast<int32_t>(c) + r.delta);
}

}  // namespace tables
}  // namespace simhost
