// The export and import tables of a Windows DLL file (PE32 or PE32+), read from the file's
// bytes: what the Windows loader finds in it.
#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace pefile {

struct Tables {
  std::string error;                 // empty when the file was read
  uint16_t machine = 0;              // 0x8664 x86-64, 0x14C x86
  std::vector<std::string> exports;  // exported names
  std::vector<std::string> imports;  // names of the DLLs imported from
};

class Reader {
 public:
  explicit Reader(std::string bytes) : bytes_(std::move(bytes)) {}
  bool ok = true;
  uint32_t U16(size_t at) { return Get(at, 2); }
  uint32_t U32(size_t at) { return Get(at, 4); }
  std::string Text(size_t at) {
    std::string s;
    while (at < bytes_.size() && bytes_[at] != '\0') s.push_back(bytes_[at++]);
    if (at >= bytes_.size()) ok = false;
    return s;
  }
  size_t size() const { return bytes_.size(); }

 private:
  uint32_t Get(size_t at, size_t n) {
    if (at > bytes_.size() || n > bytes_.size() - at) {
      ok = false;
      return 0;
    }
    uint32_t v = 0;
    for (size_t k = n; k > 0; --k) v = v << 8 | static_cast<unsigned char>(bytes_[at + k - 1]);
    return v;
  }
  std::string bytes_;
};

inline Tables Read(const std::string& path) {
  Tables t;
  std::ifstream in(path, std::ios::binary);
  Reader r{std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>())};
  if (r.size() < 64 || r.U16(0) != 0x5A4D) {
    t.error = "not an MZ file";
    return t;
  }
  const size_t pe = r.U32(0x3C);
  if (r.U32(pe) != 0x4550) {
    t.error = "no PE signature";
    return t;
  }
  t.machine = static_cast<uint16_t>(r.U16(pe + 4));
  const uint32_t sections = r.U16(pe + 6);
  const uint32_t optionalSize = r.U16(pe + 20);
  const size_t optional = pe + 24;
  const bool plus = r.U16(optional) == 0x20B;  // PE32+
  const size_t directories = optional + (plus ? 112 : 96);
  const size_t sectionTable = optional + optionalSize;
  // File offset of a relative virtual address, through the section table.
  auto offset = [&](uint32_t rva) -> size_t {
    for (uint32_t i = 0; i < sections; ++i) {
      size_t s = sectionTable + 40 * i;
      uint32_t virtualSize = r.U32(s + 8), address = r.U32(s + 12), raw = r.U32(s + 20);
      if (rva >= address && rva < address + virtualSize) return raw + (rva - address);
    }
    return r.size();  // outside the file: every read from there fails
  };
  if (uint32_t exportRva = r.U32(directories)) {
    size_t dir = offset(exportRva);
    uint32_t names = r.U32(dir + 24);
    size_t nameTable = offset(r.U32(dir + 32));
    for (uint32_t i = 0; i < names && r.ok; ++i)
      t.exports.push_back(r.Text(offset(r.U32(nameTable + 4 * i))));
  }
  if (uint32_t importRva = r.U32(directories + 8)) {
    for (size_t d = offset(importRva); r.ok; d += 20) {
      uint32_t name = r.U32(d + 12);
      if (name == 0) break;
      t.imports.push_back(r.Text(offset(name)));
    }
  }
  if (!r.ok) t.error = "a table points outside the file";
  return t;
}

}  // namespace pefile
