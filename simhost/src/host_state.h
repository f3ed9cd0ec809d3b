// Internals of the simulated host: the host string and host object structs, the host's state,
// and the helpers the service entry points and the Host class share.
#pragma once

#include <array>
#include <memory>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include "frame/host_contract.h"
#include "handle_pool.h"
#include "host_bytes.h"
#include "paragraphs.h"
#include "run_store.h"
#include "simhost/host.h"

// A host string: bytes plus their encoding, reference counted. The bytes are kept with a zero
// byte after them (std::string guarantees it), so the C string service can hand them out as is.
struct REALstringStruct {
  uint32_t magic;
  int32_t refs;
  uint32_t encoding;
  simhost::HostBytes bytes;
};

namespace simhost {

struct DebugOutputMonitor;  // Windows log capture (log_capture_win.cpp)

enum class ObjectKind { kStyledText, kStyleRun, kParagraph, kException };

}  // namespace simhost

// A host object, reference counted; the kind tells which of the structs below it is. Objects
// live in the host's handle pools, one pool per class.
struct REALobjectStruct {
  uint32_t magic;
  int32_t refs;
  simhost::ObjectKind kind;
  explicit REALobjectStruct(simhost::ObjectKind k) : magic(0), refs(0), kind(k) {}
};

namespace simhost {

constexpr uint32_t kLiveMagic = 0x53484F53;  // "SHOS"
constexpr uint32_t kDeadMagic = 0xDEADD0D0;

struct StyledTextObject : REALobjectStruct {
  StyledTextObject() : REALobjectStruct(ObjectKind::kStyledText) {}
  RunStore runs;
  ParagraphScan scan;               // separators of the whole text
  std::vector<int64_t> alignments;  // by paragraph index; missing entries are 0
};

struct StyleRunObject : REALobjectStruct {
  StyleRunObject() : REALobjectStruct(ObjectKind::kStyleRun) {}
  RunData run;
};

struct ParagraphObject : REALobjectStruct {
  ParagraphObject() : REALobjectStruct(ObjectKind::kParagraph) {}
  Paragraph paragraph;
};

struct ExceptionObject : REALobjectStruct {
  ExceptionObject() : REALobjectStruct(ObjectKind::kException) {}
  std::string className;
  std::optional<std::string> message;  // UTF-8
  int64_t errorNumber = 0;
};

// Everything the host counts calls of: the services of the host contract, then the methods it
// hands out by declaration. kCounterNames holds their names (the resolver names and the
// declarations) in the same order.
enum Counter : int {
#define HOST_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since) k##Id,
#define HOST_START_SERVICE HOST_SERVICE
#define HOST_EXTRA_SERVICE HOST_SERVICE
#define HOST_GLOBAL_METHOD(Id, Declaration, Result, Params) kMethod##Id,
#define HOST_OBJECT_METHOD HOST_GLOBAL_METHOD
#include "frame/host_contract.def"
  kCounterCount
};
inline constexpr const char* kCounterNames[kCounterCount] = {
#define HOST_SERVICE(Id, Name, Declared, Read, Params, Neutral, Since) Name,
#define HOST_START_SERVICE HOST_SERVICE
#define HOST_EXTRA_SERVICE HOST_SERVICE
#define HOST_GLOBAL_METHOD(Id, Declaration, Result, Params) Declaration,
#define HOST_OBJECT_METHOD HOST_GLOBAL_METHOD
#include "frame/host_contract.def"
};
// The name a counter counts, also the label of a misuse found in that service or method.
constexpr const char* NameOf(Counter c) {
  return kCounterNames[c];
}

struct Host::State {
  Options options;
  Host* previous = nullptr;  // the host that was current before this one

  // Handles by kind. Released handles stay unused for a while so their addresses are not
  // handed out again at once and a late use of them is still recognised as misuse.
  BlockIndex stringBlocks, objectBlocks;
  HandlePool<REALstringStruct> strings;
  HandlePool<StyledTextObject> styledTexts;
  HandlePool<StyleRunObject> styleRuns;
  HandlePool<ParagraphObject> paragraphs;
  HandlePool<ExceptionObject> exceptionObjects;
  std::unordered_set<const void*> stringData;  // buffers of filled string-data records

  uint64_t misuses = 0;
  std::string lastMisuse;
  std::array<uint64_t, kCounterCount> calls{};
  std::unordered_map<std::string, uint64_t> lookups;

  std::vector<RaisedException> exceptions;
  std::vector<Registration> registrations;
  std::optional<int32_t> announcedVersion;

  std::vector<std::string> log;
  int captureDepth = 0;
  int captureFd = -1;                     // POSIX: the file standard error points at
  int savedStderr = -1;                   // POSIX: the real standard error
  DebugOutputMonitor* monitor = nullptr;  // Windows: the debug-output monitor

  // Scratch buffers of the StyledText model and the conversions, kept to spare allocations
  // while they are small.
  std::vector<ParagraphScan::Break> breaks;
  std::u32string codePoints;
  std::string converted;
  void TrimScratch(bool alsoConverted = true) {
    constexpr size_t kKept = size_t{1} << 16;
    if (breaks.capacity() > kKept) std::vector<ParagraphScan::Break>().swap(breaks);
    if (codePoints.capacity() > kKept) std::u32string().swap(codePoints);
    if (alsoConverted && converted.capacity() > kKept) std::string().swap(converted);
  }

  // The characters of the 256 bytes of an encoding that reads one byte as one character
  // whatever follows it (the code pages of one byte per character), learnt from the general
  // decoding; null for any other encoding.
  const char32_t* ByteTable(Encoding e);
  std::unordered_map<Encoding, std::unique_ptr<std::array<char32_t, 256>>> byteTables;

  State();
  ~State();

  // Handles. Check* return false for a null handle and for a handle that is not live (the
  // latter counted as misuse, naming `where`).
  REALstring NewString(std::string_view bytes, Encoding encoding) {
    REALstring s = strings.Allocate(kLiveMagic);
    s->encoding = encoding;
    s->bytes.Assign(bytes);
    return s;
  }
  REALstring AdoptString(std::string&& bytes, Encoding encoding) {
    REALstring s = strings.Allocate(kLiveMagic);
    s->encoding = encoding;
    s->bytes.Adopt(std::move(bytes));
    return s;
  }
  bool IsLiveString(const void* s) const {
    return IsLiveHandle(static_cast<const REALstringStruct*>(s));
  }
  [[gnu::always_inline]] bool CheckString(REALstring s, const char* where) {
    return CheckHandle(s, where);
  }
  void LockString(REALstring s, const char* where);
  void ReleaseString(REALstring s, const char* where) {
    // The slot (without its bytes) is not handed out again at once.
    ReleaseHandle(s, where, [this](REALstring dead) {
      dead->bytes.Clear();
      strings.Release(dead);
    });
  }
  template <typename T>
  T* NewObject() {
    return Pool(static_cast<T*>(nullptr)).Allocate(kLiveMagic);
  }
  bool IsLiveObject(const void* o) const {
    return IsLiveHandle(static_cast<const REALobjectStruct*>(o));
  }
  [[gnu::always_inline]] bool CheckObject(REALobject o, const char* where) {
    return CheckHandle(o, where);
  }
  size_t LiveObjects() const {
    return styledTexts.live() + styleRuns.live() + paragraphs.live() + exceptionObjects.live();
  }
  void LockObject(REALobject o, const char* where);
  void ReleaseObject(REALobject o, const char* where);
  void FreeObject(REALobject o);  // clears a dead object and returns its slot
  [[gnu::noinline]] void Misuse(const char* where, const void* handle, const char* what);

  // StyledText.
  void AppendRun(StyledTextObject* st, const RunData& run, bool toUnicode);
  void RemoveRun(StyledTextObject* st, int64_t index);
  int64_t ParagraphCount(const StyledTextObject* st) const {
    return st->scan.Count(options.paragraphRule);
  }
  Paragraph ParagraphAt(const StyledTextObject* st, int64_t index) const;
  void SetAlignment(StyledTextObject* st, int64_t index, int64_t alignment);

  bool Withheld(const std::string& name) const { return options.withheld.count(name) != 0; }
  void Count(Counter c) { ++calls[static_cast<size_t>(c)]; }

  // Bytes in `from` converted to `to` into *out (replaced); false for an unknown encoding.
  bool Convert(std::string_view bytes, Encoding from, Encoding to, std::string* out);
  // Whether the host knows the encoding / whether pure ASCII reads the same in it; remembered
  // for the few encodings in use.
  bool Known(Encoding e) { return Facts(e) & kKnown; }
  bool AsciiCompatible(Encoding e) { return Facts(e) & kAsciiCompatible; }

 private:
  // Strings and objects alike: a handle is live while it lies in a slot of its kind's blocks
  // and carries the live mark; misuse is reported in the words of its kind.
  const BlockIndex& BlocksOf(const REALstringStruct*) const { return stringBlocks; }
  const BlockIndex& BlocksOf(const REALobjectStruct*) const { return objectBlocks; }
  static const char* UseMisuse(const REALstringStruct*) {
    return "use of a released or unknown string";
  }
  static const char* UseMisuse(const REALobjectStruct*) {
    return "use of a released or unknown object";
  }
  static const char* ReleaseMisuse(const REALstringStruct*) {
    return "release of a released or unknown string";
  }
  static const char* ReleaseMisuse(const REALobjectStruct*) {
    return "release of a released or unknown object";
  }
  template <typename H>
  bool IsLiveHandle(const H* h) const {
    return h != nullptr && BlocksOf(h).IsSlot(h) && h->magic == kLiveMagic;
  }
  template <typename H>
  [[gnu::always_inline]] bool CheckHandle(H* h, const char* where) {
    if (h == nullptr) return false;
    if (IsLiveHandle(h)) return true;
    Misuse(where, h, UseMisuse(h));
    return false;
  }
  // Drops one reference; the last one marks the handle dead and hands it to free, which clears
  // its payload and returns its slot to the pool.
  template <typename H, typename Free>
  void ReleaseHandle(H* h, const char* where, Free free) {
    if (h == nullptr) return;
    if (!IsLiveHandle(h)) {
      Misuse(where, h, ReleaseMisuse(h));
      return;
    }
    if (--h->refs > 0) return;
    h->magic = kDeadMagic;
    free(h);
  }

  HandlePool<StyledTextObject>& Pool(StyledTextObject*) { return styledTexts; }
  HandlePool<StyleRunObject>& Pool(StyleRunObject*) { return styleRuns; }
  HandlePool<ParagraphObject>& Pool(ParagraphObject*) { return paragraphs; }
  HandlePool<ExceptionObject>& Pool(ExceptionObject*) { return exceptionObjects; }

  static constexpr uint8_t kKnown = 1, kAsciiCompatible = 2;
  uint8_t Facts(Encoding e) {
    for (const auto& f : facts_) {
      if (f.second != 0 && f.first == e) return f.second & 3;
    }
    return LearnFacts(e);
  }
  uint8_t LearnFacts(Encoding e);
  std::array<std::pair<Encoding, uint8_t>, 8> facts_{};  // flags | 4 when the entry is used
  size_t nextFact_ = 0;
};

// Whether a property or class name is `expected`: compared in line, character by character up
// to the terminating zero, never reading past the end of either.
template <size_t N, size_t... I>
[[gnu::always_inline]] inline bool NameIs(const char* name, const char (&expected)[N],
                                          std::index_sequence<I...>) {
  return ((name[I] == expected[I]) && ...);
}
template <size_t N>
[[gnu::always_inline]] inline bool NameIs(const char* name, const char (&expected)[N]) {
  return NameIs(name, expected, std::make_index_sequence<N>());
}

// The state of the current host, or null.
extern Host::State* gCurrentState;
inline Host::State* CurrentState() {
  return gCurrentState;
}

// Characters of a string's bytes; bytes of an encoding the host does not know read as
// "unknown".
std::u32string Decode(std::string_view bytes, Encoding encoding);
// UTF-8 of a string's bytes; bytes of an encoding the host does not know read as "unknown".
std::string ToUTF8(std::string_view bytes, Encoding encoding);
// Characters of a string's bytes (the host's Len).
int64_t LengthOf(std::string_view bytes, Encoding encoding);
// The host's comparison: case-insensitive, by code point after simple case folding.
int CompareText(std::string_view a, Encoding ea, std::string_view b, Encoding eb);

// Property access on host objects (objects.cpp). Each returns false for an unknown property or
// a property of another type, leaving the output untouched.
bool GetStringProperty(Host::State& s, REALobject o, const char* name, REALstring* out);
bool SetStringProperty(Host::State& s, REALobject o, const char* name, REALstring value);
bool GetIntegerProperty(Host::State& s, REALobject o, const char* name, int64_t* out);
bool SetIntegerProperty(Host::State& s, REALobject o, const char* name, int64_t value);
bool GetBooleanProperty(Host::State& s, REALobject o, const char* name, bool* out);
bool SetBooleanProperty(Host::State& s, REALobject o, const char* name, bool value);
bool GetColorProperty(Host::State& s, REALobject o, const char* name, uint32_t* out);
bool SetColorProperty(Host::State& s, REALobject o, const char* name, uint32_t value);
const char* ClassName(const REALobjectStruct* o);
REALobject NewInstance(Host::State& s, const char* className);
// Entry point of a StyledText method by declaration (null when unknown or withheld).
void* StyledTextMethod(Host::State& s, const std::string& declaration);

// Registration decoding (registration.cpp).
Registration DecodeClassExtension(const REALclassDefinition* definition);
Registration DecodeModule(const REALmoduleDefinition* definition);

}  // namespace simhost
