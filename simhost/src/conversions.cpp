// The host's conversions between encodings, with what it remembers of the encodings in use.
#include "encodings.h"
#include "host_state.h"
#include "text_scan.h"

namespace simhost {

uint8_t Host::State::LearnFacts(Encoding e) {
  uint8_t flags = (IsKnownEncoding(e) ? kKnown : 0) | (IsAsciiCompatible(e) ? kAsciiCompatible : 0);
  facts_[nextFact_] = {e, static_cast<uint8_t>(flags | 4)};
  nextFact_ = (nextFact_ + 1) % facts_.size();
  return flags;
}

const char32_t* Host::State::ByteTable(Encoding e) {
  auto it = byteTables.find(e);
  if (it != byteTables.end()) return it->second ? it->second->data() : nullptr;
  std::unique_ptr<std::array<char32_t, 256>> table;
  if (e != kREALTextEncodingUTF8 && IsKnownEncoding(e)) {
    table = std::make_unique<std::array<char32_t, 256>>();
    std::string all;
    std::u32string one, whole;
    for (int b = 0; b < 256; ++b) {
      all.push_back(static_cast<char>(b));
      one.clear();
      if (!DecodeText(all.substr(b, 1), e, &one) || one.size() != 1) table.reset();
      if (!table) break;
      (*table)[static_cast<size_t>(b)] = one[0];
    }
    // Byte by byte only if no pair or quadruple of any double- or multi-byte code page (nor
    // UTF-8) reads differently together.
    static const char* const kProbes[] = {"\xC3\xA9", "\x81\x40", "\xA1\x40",        "\xA1\xA1",
                                          "\x8E\xA1", "\x84\x41", "\x81\x30\x81\x30"};
    if (table && DecodeText(all, e, &whole) && whole.size() == 256) {
      for (const char* probe : kProbes) {
        one.clear();
        std::string_view p(probe);
        if (!DecodeText(p, e, &one) || one.size() != p.size()) table.reset();
        for (size_t k = 0; table && k < p.size(); ++k) {
          if (one[k] != (*table)[static_cast<unsigned char>(p[k])]) table.reset();
        }
        if (!table) break;
      }
      for (size_t b = 0; table && b < 256; ++b) {
        if (whole[b] != (*table)[b]) table.reset();
      }
    } else {
      table.reset();
    }
  }
  const char32_t* result = table ? table->data() : nullptr;
  byteTables.emplace(e, std::move(table));
  return result;
}

bool Host::State::Convert(std::string_view bytes, Encoding from, Encoding to, std::string* out) {
  // The plug-in's usual request first: UTF-16 or UTF-32 to UTF-8.
  if (to == kREALTextEncodingUTF8 && UnicodeToUTF8(bytes, from, out)) return true;
  out->clear();
  if (!Known(from) || !Known(to)) return false;
  if (from == to || (AsciiCompatible(from) && AsciiCompatible(to) && IsAscii(bytes))) {
    out->assign(bytes.data(), bytes.size());
    return true;
  }
  if (to == kREALTextEncodingUTF8) {
    if (const char32_t* table = ByteTable(from)) {
      ByteTableToUTF8(bytes, table, out, nullptr);
      return true;
    }
  }
  codePoints.clear();
  const bool known = DecodeText(bytes, from, &codePoints) && EncodeText(codePoints, to, out);
  TrimScratch(false);  // *out may be the scratch string
  return known;
}

}  // namespace simhost
