// Host text encodings. Unicode forms are converted here directly; single-byte encodings use a
// 256-entry table (built once from glibc's iconv, or embedded where glibc has no converter);
// multi-byte encodings (the CJK code pages) stream through iconv. Without iconv (Windows) the
// code pages come from tables generated out of glibc's iconv (code_page_tables.h), which give
// the same answers. See README.md for the list of approximations.
#include "encodings.h"

#if SIMHOST_HAVE_ICONV
#include <errno.h>
#include <iconv.h>
#include <unistd.h>
#endif

#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "host_state.h"
#include "code_page_tables.h"
#include "unicode_units.h"

namespace simhost {
namespace {

constexpr char32_t kReplacement = kReplacementCharacter;
constexpr char32_t kInvalid = 0xFFFFFFFF;  // table entry: byte not defined

enum class Form { kUTF8, kUTF16, kUTF32, kSingleByte, kMultiByte };

// One byte whose meaning differs from the converter the codec is built on.
struct Patch {
  uint8_t byte;
  char32_t character;
  bool encodable;  // false: decode only (the character has a better byte elsewhere)
};

// Mac OS X's Mac Roman differs from glibc's MACINTOSH in two places.
constexpr Patch kMacRomanPatches[] = {{0xC6, 0x2206, true}, {0xF0, 0xF8FF, true}};
// Mac Turkish is Mac Roman with the Turkish letters in place of the fraction slash, the euro
// sign, the guillemets and the fi/fl ligatures; 0xF5 is undefined (Apple maps it to U+F8A0).
constexpr Patch kMacTurkishPatches[] = {
    {0xC6, 0x2206, true}, {0xF0, 0xF8FF, true}, {0xDA, 0x011E, true},
    {0xDB, 0x011F, true}, {0xDC, 0x0130, true}, {0xDD, 0x0131, true},
    {0xDE, 0x015E, true}, {0xDF, 0x015F, true}, {0xF5, 0xF8A0, true}};
// Current Mac Cyrillic has the euro sign where glibc keeps the currency sign.
constexpr Patch kMacCyrillicPatches[] = {{0xFF, 0x20AC, true}};
// Mac Japanese is Shift-JIS (CP932 here) plus a few single bytes that CP932 leaves undefined.
constexpr Patch kMacJapanesePatches[] = {{0x80, 0x005C, false},
                                         {0xA0, 0x00A0, true},
                                         {0xFD, 0x00A9, true},
                                         {0xFE, 0x2122, true},
                                         {0xFF, 0x2026, true}};
// glibc reads Johab's 0x5C as the won sign; Windows (code page 1361) keeps ASCII as ASCII.
constexpr Patch kJohabPatches[] = {{0x5C, 0x005C, true}};

// "Unknown" bytes are read as Windows-1252; its five undefined bytes become the C1 controls
// of the same value, so every byte reads as one character.
constexpr Patch kUnknownPatches[] = {{0x81, 0x0081, true},
                                     {0x8D, 0x008D, true},
                                     {0x8F, 0x008F, true},
                                     {0x90, 0x0090, true},
                                     {0x9D, 0x009D, true}};

// Upper halves (0x80-0xFF) of the Mac encodings glibc lacks, after Apple's mapping tables.
constexpr char32_t kMacGreekUpper[128] = {
    0x00C4, 0x00B9, 0x00B2, 0x00C9, 0x00B3, 0x00D6, 0x00DC, 0x0385, 0x00E0, 0x00E2, 0x00E4, 0x0384,
    0x00A8, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00A3, 0x2122, 0x00EE, 0x00EF, 0x2022, 0x00BD,
    0x2030, 0x00F4, 0x00F6, 0x00A6, 0x20AC, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x0393, 0x0394, 0x0398,
    0x039B, 0x039E, 0x03A0, 0x00DF, 0x00AE, 0x00A9, 0x03A3, 0x03AA, 0x00A7, 0x2260, 0x00B0, 0x00B7,
    0x0391, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x0392, 0x0395, 0x0396, 0x0397, 0x0399, 0x039A, 0x039C,
    0x03A6, 0x03AB, 0x03A8, 0x03A9, 0x03AC, 0x039D, 0x00AC, 0x039F, 0x03A1, 0x2248, 0x03A4, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x03A5, 0x03A7, 0x0386, 0x0388, 0x0153, 0x2013, 0x2015, 0x201C, 0x201D,
    0x2018, 0x2019, 0x00F7, 0x0389, 0x038A, 0x038C, 0x038E, 0x03AD, 0x03AE, 0x03AF, 0x03CC, 0x038F,
    0x03CD, 0x03B1, 0x03B2, 0x03C8, 0x03B4, 0x03B5, 0x03C6, 0x03B3, 0x03B7, 0x03B9, 0x03BE, 0x03BA,
    0x03BB, 0x03BC, 0x03BD, 0x03BF, 0x03C0, 0x03CE, 0x03C1, 0x03C3, 0x03C4, 0x03B8, 0x03C9, 0x03C2,
    0x03C7, 0x03C5, 0x03B6, 0x03CA, 0x03CB, 0x0390, 0x03B0, 0x00AD};
// Mac Arabic repeats some ASCII punctuation in its upper half (as right-to-left forms); those
// bytes decode to the ASCII characters, which encode back to the ASCII bytes.
constexpr char32_t kMacArabicUpper[128] = {
    0x00C4, 0x00A0, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x06BA,
    0x00AB, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x2026, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00BB, 0x00F4, 0x00F6, 0x00F7, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x0020, 0x0021, 0x0022, 0x0023,
    0x0024, 0x066A, 0x0026, 0x0027, 0x0028, 0x0029, 0x002A, 0x002B, 0x060C, 0x002D, 0x002E, 0x002F,
    0x0660, 0x0661, 0x0662, 0x0663, 0x0664, 0x0665, 0x0666, 0x0667, 0x0668, 0x0669, 0x003A, 0x061B,
    0x003C, 0x003D, 0x003E, 0x061F, 0x274A, 0x0621, 0x0622, 0x0623, 0x0624, 0x0625, 0x0626, 0x0627,
    0x0628, 0x0629, 0x062A, 0x062B, 0x062C, 0x062D, 0x062E, 0x062F, 0x0630, 0x0631, 0x0632, 0x0633,
    0x0634, 0x0635, 0x0636, 0x0637, 0x0638, 0x0639, 0x063A, 0x005B, 0x005C, 0x005D, 0x005E, 0x005F,
    0x0640, 0x0641, 0x0642, 0x0643, 0x0644, 0x0645, 0x0646, 0x0647, 0x0648, 0x0649, 0x064A, 0x064B,
    0x064C, 0x064D, 0x064E, 0x064F, 0x0650, 0x0651, 0x0652, 0x067E, 0x0679, 0x0686, 0x06D5, 0x06A4,
    0x06AF, 0x0688, 0x0691, 0x007B, 0x007C, 0x007D, 0x0698, 0x06D2};

struct Codec {
  Form form = Form::kSingleByte;
  bool bigEndian = false;           // Unicode forms
  const char* iconvName = nullptr;  // converter the codec is built on; null: ASCII base
  const char32_t* upper = nullptr;  // embedded upper half (single-byte, no converter)
  const Patch* patches = nullptr;
  size_t patchCount = 0;
  bool wonSignToBackslash = false;  // Johab: U+20A9 from the converter means byte 0x5C
};

template <size_t N>
Codec SingleByte(const char* name, const Patch (&patches)[N]) {
  return Codec{Form::kSingleByte, false, name, nullptr, patches, N};
}
Codec SingleByte(const char* name) {
  return Codec{Form::kSingleByte, false, name};
}
Codec Table(const char32_t* upper) {
  return Codec{Form::kSingleByte, false, nullptr, upper};
}
template <size_t N>
Codec MultiByte(const char* name, const Patch (&patches)[N]) {
  return Codec{Form::kMultiByte, false, name, nullptr, patches, N};
}
Codec MultiByte(const char* name) {
  return Codec{Form::kMultiByte, false, name};
}

constexpr bool kNativeBigEndian = __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__;

// The Windows code page behind the SDK's 0xFFFF0000 | cp numbering, as a host encoding.
uint32_t FromCodePage(uint32_t cp) {
  static const std::map<uint32_t, uint32_t> kCodePages = {
      {437, 0x0400},   {737, 0x0405},       {775, 0x0406},       {850, 0x0410},
      {851, 0x0411},   {852, 0x0412},       {855, 0x0413},       {857, 0x0414},
      {860, 0x0415},   {861, 0x0416},       {862, 0x0417},       {863, 0x0418},
      {864, 0x0419},   {865, 0x041A},       {866, 0x041B},       {869, 0x041C},
      {874, 0x041D},   {932, 0x0420},       {936, 0x0421},       {949, 0x0422},
      {950, 0x0423},   {1200, 0x14000100},  {1201, 0x10000100},  {1250, 0x0501},
      {1251, 0x0502},  {1252, 0x0500},      {1253, 0x0503},      {1254, 0x0504},
      {1255, 0x0505},  {1256, 0x0506},      {1257, 0x0507},      {1258, 0x0508},
      {1361, 0x0510},  {10000, 0x0000},     {10001, 0x0001},     {10004, 0x0004},
      {10005, 0x0005}, {10006, 0x0006},     {10007, 0x0007},     {10029, 0x001D},
      {10081, 0x0023}, {12000, 0x1C000100}, {12001, 0x18000100}, {20127, 0x0600},
      {28591, 0x0201}, {65001, 0x08000100}};
  auto it = kCodePages.find(cp);
  return it == kCodePages.end() ? 0xFFFFFFFF : it->second;
}

const Codec* FindCodec(uint32_t encoding) {
  static const std::unordered_map<uint32_t, Codec> kCodecs = {
      {0x08000100, Codec{Form::kUTF8}},
      {0x00000100, Codec{Form::kUTF16, kNativeBigEndian}},
      {0x10000100, Codec{Form::kUTF16, true}},
      {0x14000100, Codec{Form::kUTF16, false}},
      {0x0C000100, Codec{Form::kUTF32, kNativeBigEndian}},
      {0x18000100, Codec{Form::kUTF32, true}},
      {0x1C000100, Codec{Form::kUTF32, false}},
      // Mac scripts.
      {0x0000, SingleByte("MACINTOSH", kMacRomanPatches)},
      {0x0001, MultiByte("CP932", kMacJapanesePatches)},
      {0x0002, MultiByte("CP950")},  // Mac Traditional Chinese, approximated by Big5
      {0x0003, MultiByte("CP949")},  // Mac Korean, approximated by Windows Korean
      {0x0004, Table(kMacArabicUpper)},
      {0x0005, SingleByte("CP1255")},  // Mac Hebrew, approximated by Windows Hebrew
      {0x0006, Table(kMacGreekUpper)},
      {0x0007, SingleByte("MAC-CYRILLIC", kMacCyrillicPatches)},
      {0x0019, MultiByte("CP936")},  // Mac Simplified Chinese, approximated by GBK
      {0x001D, SingleByte("MAC-CENTRALEUROPE")},
      {0x0023, SingleByte("MACINTOSH", kMacTurkishPatches)},
      {0x0025, SingleByte("MAC-IS")},
      // ISO 8859.
      {0x0201, SingleByte("ISO-8859-1")},
      {0x0202, SingleByte("ISO-8859-2")},
      {0x0203, SingleByte("ISO-8859-3")},
      {0x0204, SingleByte("ISO-8859-4")},
      {0x0205, SingleByte("ISO-8859-5")},
      {0x0206, SingleByte("ISO-8859-6")},
      {0x0207, SingleByte("ISO-8859-7")},
      {0x0208, SingleByte("ISO-8859-8")},
      {0x0209, SingleByte("ISO-8859-9")},
      {0x020A, SingleByte("ISO-8859-10")},
      {0x020B, SingleByte("ISO-8859-11")},
      {0x020D, SingleByte("ISO-8859-13")},
      {0x020E, SingleByte("ISO-8859-14")},
      {0x020F, SingleByte("ISO-8859-15")},
      {0x0210, SingleByte("ISO-8859-16")},
      // DOS code pages.
      {0x0400, SingleByte("CP437")},
      {0x0405, SingleByte("CP737")},
      {0x0406, SingleByte("CP775")},
      {0x0410, SingleByte("CP850")},
      {0x0411, SingleByte("CP851")},
      {0x0412, SingleByte("CP852")},
      {0x0413, SingleByte("CP855")},
      {0x0414, SingleByte("CP857")},
      {0x0415, SingleByte("CP860")},
      {0x0416, SingleByte("CP861")},
      {0x0417, SingleByte("CP862")},
      {0x0418, SingleByte("CP863")},
      {0x0419, SingleByte("CP864")},
      {0x041A, SingleByte("CP865")},
      {0x041B, SingleByte("CP866")},
      {0x041C, SingleByte("CP869")},
      {0x041D, SingleByte("CP874")},
      {0x0420, MultiByte("CP932")},
      {0x0421, MultiByte("CP936")},
      {0x0422, MultiByte("CP949")},
      {0x0423, MultiByte("CP950")},
      // Windows code pages.
      {0x0500, SingleByte("CP1252")},
      {0x0501, SingleByte("CP1250")},
      {0x0502, SingleByte("CP1251")},
      {0x0503, SingleByte("CP1253")},
      {0x0504, SingleByte("CP1254")},
      {0x0505, SingleByte("CP1255")},
      {0x0506, SingleByte("CP1256")},
      {0x0507, SingleByte("CP1257")},
      {0x0508, SingleByte("CP1258")},
      {0x0510, Codec{Form::kMultiByte, false, "JOHAB", nullptr, kJohabPatches, 1, true}},
      // Others.
      {0x0600, Table(nullptr)},  // ASCII: bytes 0x80 and above are undefined
      {0x0632, MultiByte("GB18030")},
      {0x0920, MultiByte("EUC-JP")},
      {0x0930, MultiByte("EUC-CN")},
      {0x0940, MultiByte("EUC-KR")},
      {0x0A01, MultiByte("SHIFT_JIS")},
      {0x0A02, SingleByte("KOI8-R")},
      {0x0A03, MultiByte("BIG5")},
      {0xFFFF, SingleByte("CP1252", kUnknownPatches)},
  };
  if ((encoding & 0xFFFF0000u) == 0xFFFF0000u && encoding != 0xFFFFFFFFu) {
    encoding = FromCodePage(encoding & 0xFFFF);
  }
  auto it = kCodecs.find(encoding);
  return it == kCodecs.end() ? nullptr : &it->second;
}

const Patch* FindPatchByte(const Codec& codec, uint8_t byte) {
  for (size_t i = 0; i < codec.patchCount; ++i) {
    if (codec.patches[i].byte == byte) return &codec.patches[i];
  }
  return nullptr;
}

const Patch* FindPatchCharacter(const Codec& codec, char32_t c) {
  for (size_t i = 0; i < codec.patchCount; ++i) {
    if (codec.patches[i].encodable && codec.patches[i].character == c) return &codec.patches[i];
  }
  return nullptr;
}

void WonSignToBackslash(const Codec& codec, size_t start, std::u32string* out) {
  if (codec.wonSignToBackslash) {
    for (size_t i = start; i < out->size(); ++i) {
      if ((*out)[i] == 0x20A9) (*out)[i] = '\\';
    }
  }
}

// Guards the iconv converters and the byte-table cache.
std::mutex gIconvMutex;

// --- iconv plumbing -------------------------------------------------------------------------
#if SIMHOST_HAVE_ICONV

// Every encoding in the table has a converter in a complete C library. Without one (the
// target's gconv modules missing or not found, as under an emulator without the target's C
// library) the host could only give empty or wrong text, so it stops and says why, on the real
// standard error as standard error may be redirected into the log capture.
[[noreturn]] void NoConverter(const char* to, const char* from) {
  const std::string line = std::string("simhost: no converter from ") + from + " to " + to +
                           " (iconv_open: " + std::strerror(errno) +
                           "): the C library's text converters (gconv modules) for this "
                           "architecture are missing or not found (GCONV_PATH)\n";
  const Host::State* s = CurrentState();
  (void)!write(s != nullptr && s->savedStderr >= 0 ? s->savedStderr : 2, line.data(), line.size());
  std::abort();
}

// Cached converters, one per (to, from) pair, reset before each use. Guarded by gIconvMutex.
iconv_t Converter(const char* to, const char* from) {
  // Closes the converters at exit, so that leak checkers find nothing left open.
  struct Cache : std::map<std::pair<std::string, std::string>, iconv_t> {
    ~Cache() {
      for (auto& entry : *this) {
        if (entry.second != reinterpret_cast<iconv_t>(-1)) iconv_close(entry.second);
      }
    }
  };
  static Cache cache;
  auto key = std::make_pair(std::string(to), std::string(from));
  auto it = cache.find(key);
  if (it == cache.end()) {
    iconv_t cd = iconv_open(to, from);
    if (cd == reinterpret_cast<iconv_t>(-1)) NoConverter(to, from);
    it = cache.emplace(key, cd).first;
  }
  iconv_t cd = it->second;
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  return cd;
}

void AppendUTF32LE(const char* p, size_t n, std::u32string* out) {
  for (size_t i = 0; i + 4 <= n; i += 4) {
    auto b = reinterpret_cast<const unsigned char*>(p + i);
    out->push_back(char32_t(b[0]) | char32_t(b[1]) << 8 | char32_t(b[2]) << 16 |
                   char32_t(b[3]) << 24);
  }
}

// glibc's UHC converter (CP949) rejects the pair A2 E8 only after stepping over it, so its error
// points at the byte after the pair (or at the end of the input): the pair is what is bad.
// (A2 E8 cannot end any other unit there: E8 is a lead byte, so it is the pair's trail.)
bool SteppedOverPair(const Codec& codec, const char* begin, const char* at) {
  return at - begin >= 2 && std::string_view(codec.iconvName) == "CP949" && at[-2] == '\xA2' &&
         at[-1] == '\xE8';
}

// Multi-byte decoding through iconv. An undecodable byte becomes U+FFFD (or its patch) and the
// scan resumes at the next byte; a sequence cut off at the end becomes one U+FFFD.
bool DecodeMultiByteIconv(const Codec& codec, std::string_view bytes, std::u32string* out) {
  std::lock_guard<std::mutex> lock(gIconvMutex);
  iconv_t cd = Converter("UTF-32LE", codec.iconvName);
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  char* in = const_cast<char*>(bytes.data());
  size_t inLeft = bytes.size();
  size_t start = out->size();
  const char* steppedOver = nullptr;  // where the last stepped-over pair was reported
  char buffer[4096];
  while (true) {
    char* o = buffer;
    size_t oLeft = sizeof buffer;
    size_t r = iconv(cd, inLeft > 0 ? &in : nullptr, &inLeft, &o, &oLeft);
    int error = errno;
    AppendUTF32LE(buffer, sizeof buffer - oLeft, out);
    if (r != static_cast<size_t>(-1)) {
      if (inLeft == 0) break;
      continue;
    }
    if (error == E2BIG) continue;
    if (error == EILSEQ && in != steppedOver && SteppedOverPair(codec, bytes.data(), in)) {
      out->push_back(kReplacement);
      steppedOver = in;
      iconv(cd, nullptr, nullptr, nullptr, nullptr);
      if (inLeft == 0) break;
      continue;
    }
    if (error == EILSEQ && inLeft > 0) {
      const Patch* patch = FindPatchByte(codec, static_cast<uint8_t>(*in));
      out->push_back(patch != nullptr ? patch->character : kReplacement);
      ++in;
      --inLeft;
      iconv(cd, nullptr, nullptr, nullptr, nullptr);
      if (inLeft == 0) break;
      continue;
    }
    // EINVAL: an incomplete sequence at the end (or an error reported past the last byte).
    out->push_back(kReplacement);
    break;
  }
  WonSignToBackslash(codec, start, out);
  return true;
}

// Multi-byte encoding through iconv; characters without a byte form become "?".
bool EncodeMultiByteIconv(const Codec& codec, std::u32string_view text, std::string* out) {
  std::lock_guard<std::mutex> lock(gIconvMutex);
  iconv_t cd = Converter(codec.iconvName, "UTF-32LE");
  if (cd == reinterpret_cast<iconv_t>(-1)) return false;
  std::string units;
  units.reserve(text.size() * 4);
  auto flushUnits = [&] {
    char* in = units.data();
    size_t inLeft = units.size();
    char buffer[4096];
    while (inLeft > 0) {
      char* o = buffer;
      size_t oLeft = sizeof buffer;
      size_t r = iconv(cd, &in, &inLeft, &o, &oLeft);
      int error = errno;
      out->append(buffer, sizeof buffer - oLeft);
      if (r != static_cast<size_t>(-1) || error == E2BIG) continue;
      // EILSEQ (no byte form) or EINVAL (cannot happen with whole units): skip the character.
      out->push_back('?');
      size_t skip = inLeft < 4 ? inLeft : 4;
      in += skip;
      inLeft -= skip;
    }
    // Flush any pending shift state.
    char* o = buffer;
    size_t oLeft = sizeof buffer;
    iconv(cd, nullptr, nullptr, &o, &oLeft);
    out->append(buffer, sizeof buffer - oLeft);
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
    units.clear();
  };
  for (char32_t c : text) {
    if (const Patch* patch = FindPatchCharacter(codec, c)) {
      flushUnits();
      out->push_back(static_cast<char>(patch->byte));
      continue;
    }
    for (int shift = 0; shift < 32; shift += 8) units.push_back(static_cast<char>(c >> shift));
  }
  flushUnits();
  return true;
}

// One byte through iconv, flushed so that converters that hold back a base letter (waiting for
// a combining mark) give it out. kInvalid when the byte does not decode to one character.
char32_t DecodeOneByte(iconv_t cd, uint8_t byte) {
  char input = static_cast<char>(byte);
  char* in = &input;
  size_t inLeft = 1;
  char buffer[32];
  char* o = buffer;
  size_t oLeft = sizeof buffer;
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  if (iconv(cd, &in, &inLeft, &o, &oLeft) == static_cast<size_t>(-1)) return kInvalid;
  if (iconv(cd, nullptr, nullptr, &o, &oLeft) == static_cast<size_t>(-1)) return kInvalid;
  std::u32string cps;
  AppendUTF32LE(buffer, sizeof buffer - oLeft, &cps);
  return cps.size() == 1 ? cps[0] : kInvalid;
}

#endif  // SIMHOST_HAVE_ICONV

// --- generated tables -----------------------------------------------------------------------

// Multi-byte decoding through the tables, with the same outcome as through iconv.
bool DecodeMultiByteTables(const Codec& codec, std::string_view bytes, std::u32string* out) {
  const tables::MultiByteCodec* table = tables::FindMultiByte(codec.iconvName);
  if (table == nullptr) return false;
  size_t start = out->size();
  for (size_t i = 0; i < bytes.size();) {
    tables::MultiByteCodec::Step step = table->Decode(bytes.substr(i));
    if (step.kind == tables::MultiByteCodec::Step::kCharacter) {
      out->push_back(step.character);
    } else if (step.kind == tables::MultiByteCodec::Step::kIncomplete) {
      out->push_back(kReplacement);
      break;
    } else if (step.length == 2) {
      out->push_back(kReplacement);  // a pair iconv steps over
    } else {
      const Patch* patch = FindPatchByte(codec, static_cast<uint8_t>(bytes[i]));
      out->push_back(patch != nullptr ? patch->character : kReplacement);
    }
    i += step.length;
  }
  WonSignToBackslash(codec, start, out);
  return true;
}

bool EncodeMultiByteTables(const Codec& codec, std::u32string_view text, std::string* out) {
  const tables::MultiByteCodec* table = tables::FindMultiByte(codec.iconvName);
  if (table == nullptr) return false;
  for (char32_t c : text) {
    if (const Patch* patch = FindPatchCharacter(codec, c)) {
      out->push_back(static_cast<char>(patch->byte));
    } else if (!table->Encode(c, out)) {
      out->push_back('?');
    }
  }
  return true;
}

// --- the converters in use ------------------------------------------------------------------

bool DecodeMultiByte(const Codec& codec, Converters converters, std::string_view bytes,
                     std::u32string* out) {
#if SIMHOST_HAVE_ICONV
  if (converters == Converters::kIconv) return DecodeMultiByteIconv(codec, bytes, out);
#endif
  return converters == Converters::kTables && DecodeMultiByteTables(codec, bytes, out);
}

bool EncodeMultiByte(const Codec& codec, Converters converters, std::u32string_view text,
                     std::string* out) {
#if SIMHOST_HAVE_ICONV
  if (converters == Converters::kIconv) return EncodeMultiByteIconv(codec, text, out);
#endif
  return converters == Converters::kTables && EncodeMultiByteTables(codec, text, out);
}

bool HasMultiByte(const Codec& codec, Converters converters) {
#if SIMHOST_HAVE_ICONV
  if (converters == Converters::kIconv) {
    std::lock_guard<std::mutex> lock(gIconvMutex);
    return Converter("UTF-32LE", codec.iconvName) != reinterpret_cast<iconv_t>(-1);
  }
#endif
  return converters == Converters::kTables && tables::FindMultiByte(codec.iconvName) != nullptr;
}

// What each byte of a single-byte code page decodes to on its own; false when the converters
// do not have the code page. Called under gIconvMutex.
bool DecodeEachByte(const Codec& codec, Converters converters, std::array<char32_t, 256>* decode) {
#if SIMHOST_HAVE_ICONV
  if (converters == Converters::kIconv) {
    iconv_t cd = Converter("UTF-32LE", codec.iconvName);
    if (cd == reinterpret_cast<iconv_t>(-1)) return false;
    for (int b = 0; b < 256; ++b) (*decode)[b] = DecodeOneByte(cd, static_cast<uint8_t>(b));
    return true;
  }
#endif
  return converters == Converters::kTables && tables::SingleByteTable(codec.iconvName, decode);
}

// --- single-byte tables ---------------------------------------------------------------------

struct ByteTable {
  std::array<char32_t, 256> decode;
  std::unordered_map<char32_t, uint8_t> encode;
  bool asciiIdentity = true;
};

const ByteTable* TableFor(const Codec& codec, Converters converters) {
  // Tables live for the whole process; each thread remembers the last one it used.
  thread_local const Codec* lastCodec = nullptr;
  thread_local Converters lastConverters = kPlatformConverters;
  thread_local const ByteTable* lastTable = nullptr;
  if (lastCodec == &codec && lastConverters == converters) return lastTable;
  static std::map<std::pair<const Codec*, Converters>, std::unique_ptr<ByteTable>> tables;
  std::lock_guard<std::mutex> lock(gIconvMutex);
  auto it = tables.find({&codec, converters});
  if (it != tables.end()) {
    lastCodec = &codec;
    lastConverters = converters;
    lastTable = it->second.get();
    return lastTable;
  }
  auto table = std::make_unique<ByteTable>();
  if (codec.iconvName != nullptr) {
    if (!DecodeEachByte(codec, converters, &table->decode)) return nullptr;
  } else {
    for (int b = 0; b < 256; ++b) {
      table->decode[b] = b < 0x80 ? char32_t(b) : codec.upper ? codec.upper[b - 0x80] : kInvalid;
    }
  }
  for (size_t i = 0; i < codec.patchCount; ++i) {
    table->decode[codec.patches[i].byte] = codec.patches[i].character;
  }
  for (int b = 0; b < 256; ++b) {
    if (b < 0x80 && table->decode[b] != char32_t(b)) table->asciiIdentity = false;
    if (table->decode[b] != kInvalid) table->encode.emplace(table->decode[b], uint8_t(b));
  }
  lastCodec = &codec;
  lastConverters = converters;
  lastTable =
      tables.emplace(std::make_pair(&codec, converters), std::move(table)).first->second.get();
  return lastTable;
}

// --- Unicode forms --------------------------------------------------------------------------

// Calls f for each code point of UTF-8 bytes; ill-formed input gives U+FFFD per maximal
// ill-formed subsequence.
template <typename F>
void ForEachUTF8(std::string_view bytes, F f) {
  auto s = reinterpret_cast<const unsigned char*>(bytes.data());
  size_t n = bytes.size(), i = 0;
  while (i < n) {
    unsigned char b = s[i];
    if (b < 0x80) {
      f(char32_t(b));
      ++i;
      continue;
    }
    int need;
    unsigned char lo = 0x80, hi = 0xBF;
    char32_t cp;
    if (b >= 0xC2 && b <= 0xDF) {
      need = 1, cp = b & 0x1F;
    } else if (b >= 0xE0 && b <= 0xEF) {
      need = 2, cp = b & 0x0F;
      if (b == 0xE0) lo = 0xA0;
      if (b == 0xED) hi = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
      need = 3, cp = b & 0x07;
      if (b == 0xF0) lo = 0x90;
      if (b == 0xF4) hi = 0x8F;
    } else {
      f(kReplacement);
      ++i;
      continue;
    }
    size_t j = i + 1;
    bool ok = true;
    for (int k = 0; k < need; ++k, ++j) {
      if (j >= n || s[j] < (k == 0 ? lo : 0x80) || s[j] > (k == 0 ? hi : 0xBF)) {
        ok = false;
        break;
      }
      cp = cp << 6 | (s[j] & 0x3F);
    }
    f(ok ? cp : kReplacement);
    i = j;
  }
}

void AppendUnit(uint32_t value, int bytes, bool bigEndian, std::string* out) {
  for (int k = 0; k < bytes; ++k) {
    int shift = bigEndian ? 8 * (bytes - 1 - k) : 8 * k;
    out->push_back(static_cast<char>(value >> shift));
  }
}

}  // namespace

void AppendUTF8(char32_t c, std::string* out) {
  if (c < 0x80) {
    out->push_back(static_cast<char>(c));
  } else if (c < 0x800) {
    out->push_back(static_cast<char>(0xC0 | c >> 6));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else if (c < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | c >> 12));
    out->push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | c >> 18));
    out->push_back(static_cast<char>(0x80 | (c >> 12 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c >> 6 & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (c & 0x3F)));
  }
}

bool IsKnownEncoding(uint32_t encoding) {
  return IsKnownEncodingWith(kPlatformConverters, encoding);
}

bool IsKnownEncodingWith(Converters converters, uint32_t encoding) {
  const Codec* codec = FindCodec(encoding);
  if (codec == nullptr) return false;
  if (codec->form == Form::kSingleByte) return TableFor(*codec, converters) != nullptr;
  if (codec->form == Form::kMultiByte) return HasMultiByte(*codec, converters);
  return true;
}

bool IsAsciiCompatible(uint32_t encoding) {
  const Codec* codec = FindCodec(encoding);
  if (codec == nullptr) return false;
  if (codec->form == Form::kUTF8) return true;
  if (codec->form != Form::kSingleByte) return false;
  const ByteTable* table = TableFor(*codec, kPlatformConverters);
  return table != nullptr && table->asciiIdentity;
}

bool DecodeText(std::string_view bytes, uint32_t encoding, std::u32string* out) {
  return DecodeTextWith(kPlatformConverters, bytes, encoding, out);
}

bool DecodeTextWith(Converters converters, std::string_view bytes, uint32_t encoding,
                    std::u32string* out) {
  const Codec* codec = FindCodec(encoding);
  if (codec == nullptr) return false;
  auto push = [out](char32_t c) { out->push_back(c); };
  switch (codec->form) {
    case Form::kUTF8:
      out->reserve(out->size() + bytes.size());
      ForEachUTF8(bytes, push);
      return true;
    case Form::kUTF16:
      ForEachUTF16(bytes, codec->bigEndian, push);
      return true;
    case Form::kUTF32:
      ForEachUTF32(bytes, codec->bigEndian, push);
      return true;
    case Form::kSingleByte: {
      const ByteTable* table = TableFor(*codec, converters);
      if (table == nullptr) return false;
      out->reserve(out->size() + bytes.size());
      for (unsigned char b : bytes) {
        char32_t c = table->decode[b];
        out->push_back(c == kInvalid ? kReplacement : c);
      }
      return true;
    }
    case Form::kMultiByte:
      return DecodeMultiByte(*codec, converters, bytes, out);
  }
  return false;
}

bool EncodeText(std::u32string_view text, uint32_t encoding, std::string* out) {
  return EncodeTextWith(kPlatformConverters, text, encoding, out);
}

bool EncodeTextWith(Converters converters, std::u32string_view text, uint32_t encoding,
                    std::string* out) {
  const Codec* codec = FindCodec(encoding);
  if (codec == nullptr) return false;
  switch (codec->form) {
    case Form::kUTF8:
      out->reserve(out->size() + text.size());
      for (char32_t c : text) AppendUTF8(c, out);
      return true;
    case Form::kUTF16:
      for (char32_t c : text) {
        if (c >= 0x10000) {
          AppendUnit(0xD800 + ((c - 0x10000) >> 10), 2, codec->bigEndian, out);
          AppendUnit(0xDC00 + ((c - 0x10000) & 0x3FF), 2, codec->bigEndian, out);
        } else {
          AppendUnit(c, 2, codec->bigEndian, out);
        }
      }
      return true;
    case Form::kUTF32:
      for (char32_t c : text) AppendUnit(c, 4, codec->bigEndian, out);
      return true;
    case Form::kSingleByte: {
      const ByteTable* table = TableFor(*codec, converters);
      if (table == nullptr) return false;
      out->reserve(out->size() + text.size());
      for (char32_t c : text) {
        if (c < 0x80 && table->asciiIdentity) {
          out->push_back(static_cast<char>(c));
          continue;
        }
        auto it = table->encode.find(c);
        out->push_back(it == table->encode.end() ? '?' : static_cast<char>(it->second));
      }
      return true;
    }
    case Form::kMultiByte:
      return EncodeMultiByte(*codec, converters, text, out);
  }
  return false;
}

int64_t CountCharacters(std::string_view bytes, uint32_t encoding) {
  const Codec* codec = FindCodec(encoding);
  if (codec == nullptr) return -1;
  int64_t count = 0;
  auto tally = [&count](char32_t) { ++count; };
  switch (codec->form) {
    case Form::kUTF8:
      ForEachUTF8(bytes, tally);
      return count;
    case Form::kUTF16:
      ForEachUTF16(bytes, codec->bigEndian, tally);
      return count;
    case Form::kUTF32:
      return static_cast<int64_t>((bytes.size() + 3) / 4);
    case Form::kSingleByte:
      return TableFor(*codec, kPlatformConverters) != nullptr ? static_cast<int64_t>(bytes.size())
                                                              : -1;
    case Form::kMultiByte: {
      std::u32string decoded;
      if (!DecodeMultiByte(*codec, kPlatformConverters, bytes, &decoded)) return -1;
      return static_cast<int64_t>(decoded.size());
    }
  }
  return -1;
}

}  // namespace simhost
