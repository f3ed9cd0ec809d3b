// The simulated host: a stand-in for the IDE's runtime. It owns reference-counted host strings
// (bytes plus a text encoding, with real conversions) and host objects (StyledText, StyleRun,
// Paragraph, the exception classes), answers the plug-in's resolver, counts every call, and can
// withhold any service, report any host version and catch misuse of handles.
//
// One Host is current at a time (the resolver is a plain C function and reaches it through
// Host::Current()). Create it before loading the library and keep it alive while the library
// is used.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "frame/host_api.h"

namespace simhost {

using Encoding = uint32_t;

// Which font property a StyleRun offers ("Font" before 2019r2, "FontName" after).
enum class FontProperty { kFont, kFontName, kBoth };

// How the host splits text into paragraphs.
enum class ParagraphRule {
  // Every separator (CR LF, CR or LF) ends one paragraph; a trailing piece after the last
  // separator counts only when it is not empty. "" -> 0, "abc" -> 1, "abc\r" -> 1,
  // "abc\rd" -> 2, "a\r\rb" -> 3.
  kDocumented,
  // Separators + 1: "" -> 1, "abc\r" -> 2.
  kSeparatorsPlusOne,
};

struct Options {
  // Host version reported by REALGetRBVersion; nullopt withholds that service.
  std::optional<double> version = 2021.03;
  // Resolver names (REALGetPropValueColor) and method declarations (the framework's LenB) that
  // the host does not offer.
  std::set<std::string> withheld;
  FontProperty fontProperty = FontProperty::kBoth;
  ParagraphRule paragraphRule = ParagraphRule::kDocumented;
  // Strict: abort on a use of a released handle, a double release, a release of a handle the
  // host never gave out. Off: such misuse is counted (Misuses()) and the call does nothing.
  bool strict = false;
  // Capture the library's debug log (standard error) around every call into the library.
  bool captureLog = true;
};

// A style run as the host holds it. Text and font keep the bytes and encoding they were given.
struct RunRecipe {
  std::string text;  // bytes in textEncoding
  Encoding textEncoding = kREALTextEncodingUTF8;
  std::optional<std::string> font;  // nullopt: the run has no font string (null)
  Encoding fontEncoding = kREALTextEncodingUTF8;
  int64_t size = 0;
  uint32_t color = 0;
  bool bold = false, italic = false, underline = false;
};

// A run read back from a StyledText, text and font converted to UTF-8.
struct Run {
  std::string text;
  std::string font;
  int64_t size = 0;
  uint32_t color = 0;
  bool bold = false, italic = false, underline = false;
  bool operator==(const Run& o) const;
};

struct Paragraph {
  int64_t start = 0;  // character offset, 0-based
  int64_t end = 0;    // exclusive: offset of the separator or of the end of text
  int64_t alignment = 0;
  bool operator==(const Paragraph& o) const;
};

struct RaisedException {
  std::string className;
  std::optional<std::string> message;  // nullopt: "Message" never set or set to null
  int64_t errorNumber = 0;
};

// What the library registered, decoded from the records it handed over.
struct MethodRecord {
  std::string declaration;
  uint32_t flags = 0;
  REALproc function = nullptr;
  REALproc setter = nullptr;
  std::vector<std::pair<std::string, std::string>> attributes;
};
struct PropertyRecord {
  std::string name, type;
  uint32_t flags = 0;
  REALproc getter = nullptr;
  REALproc setter = nullptr;
  std::vector<std::pair<std::string, std::string>> attributes;
};
struct Registration {
  enum class Kind { kClassExtension, kModule } kind = Kind::kClassExtension;
  std::string name;  // "StyledText" or the module name
  uint32_t version = 0;
  uint32_t flags = 0;
  std::vector<MethodRecord> methods;
  std::vector<PropertyRecord> properties;  // module properties, or class properties
  const void* record = nullptr;            // the library's own record
};

class Host {
 public:
  explicit Host(Options options = {});
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  static Host* Current();
  // The resolver handed to REALPluginMain.
  static void* RBCALL Resolve(const char* serviceName);

  Options& options();

  // Strings. New handles carry one reference owned by the caller.
  REALstring NewString(std::string_view bytes, Encoding encoding);
  REALstring AdoptString(std::string&& bytes, Encoding encoding);  // takes the bytes over
  REALstring NewStringUTF8(std::string_view utf8);
  void Lock(REALstring s);
  void Release(REALstring s);
  std::string BytesOf(REALstring s) const;
  Encoding EncodingOf(REALstring s) const;
  std::string UTF8Of(REALstring s) const;  // converted from its encoding
  int RefCount(REALstring s) const;

  // Objects. New handles carry one reference owned by the caller.
  REALobject NewStyledText();
  REALobject NewObject(const std::string& className);  // as PluginNewInstance would
  void Lock(REALobject o);
  void Release(REALobject o);
  int RefCount(REALobject o) const;
  std::string ClassOf(REALobject o) const;
  void AppendRun(REALobject styledText, const RunRecipe& run);
  std::vector<Run> RunsOf(REALobject styledText) const;
  std::vector<Paragraph> ParagraphsOf(REALobject styledText) const;
  std::string TextOf(REALobject styledText) const;  // UTF-8
  // The same text handed over in pieces, in order, without building it: the pieces are the
  // host's own bytes where it holds them as UTF-8, valid only during the call.
  void VisitText(REALobject styledText, const std::function<void(std::string_view)>& visit) const;
  int64_t StyleRunCount(REALobject styledText) const;
  void SetParagraphAlignment(REALobject styledText, int64_t index, int64_t alignment);

  // Conversions between host encodings (iconv, with documented fallbacks).
  static std::optional<std::string> Convert(std::string_view bytes, Encoding from, Encoding to);

  // Observation.
  uint64_t Calls(const std::string& serviceOrDeclaration) const;  // calls of a service/method
  uint64_t Lookups(const std::string& name) const;  // resolver / method look-ups by name
  std::map<std::string, uint64_t> AllCalls() const;
  void ResetCounters();
  size_t LiveStrings() const;
  size_t LiveObjects() const;
  size_t LiveStringData() const;          // string-data records filled and not yet disposed
  uint64_t Misuses() const;               // uses of released or unknown handles, double releases
  const std::string& LastMisuse() const;  // description of the latest misuse ("" if none)
  const std::vector<RaisedException>& Exceptions() const;
  void ClearExceptions();
  const std::vector<Registration>& Registrations() const;
  std::optional<int32_t> AnnouncedVersion() const;  // RegisterPluginVersion argument

  // Debug log lines written by the library, without their trailing newline.
  const std::vector<std::string>& Log() const;
  void ClearLog();
  void BeginLogCapture();  // nests; Plugin calls these around each call into the library
  void EndLogCapture();

  struct State;

 private:
  State* state_;
};

// The built library, loaded as the IDE loads it.
class Plugin {
 public:
  // Loads a private copy of the library (so each Plugin starts with fresh caches and globals)
  // and calls REALPluginMain with the host's resolver.
  explicit Plugin(Host& host, const std::string& libraryPath = DefaultLibraryPath());
  ~Plugin();
  Plugin(const Plugin&) = delete;
  Plugin& operator=(const Plugin&) = delete;

  // The library beside the test binaries, or $PENDLOW_LIBRARY.
  static std::string DefaultLibraryPath();

  bool loaded() const;
  const std::string& error() const;  // why loading failed
  void* Symbol(const char* name) const;

  // The member's getter and setter as registered (class extension or module).
  bool HasMember() const;
  REALstring GetRaw(REALobject styledText, bool skipParagraphs);        // caller releases
  std::string Get(REALobject styledText, bool skipParagraphs = false);  // UTF-8, "" for null
  void SetRaw(REALobject styledText, bool skipParagraphs, REALstring value);
  void Set(REALobject styledText, std::string_view rtf, bool skipParagraphs = false,
           Encoding encoding = kREALTextEncodingUTF8);

  // The module property "Debugging"; false when it was not registered.
  bool HasDebugging() const;
  bool Debugging();
  void SetDebugging(bool on);

 private:
  Host& host_;
  void* handle_ = nullptr;
  std::string error_;
  REALproc getter_ = nullptr, setter_ = nullptr;
  REALproc debugGetter_ = nullptr, debugSetter_ = nullptr;
};

}  // namespace simhost
