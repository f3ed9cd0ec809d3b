// The getter's snapshot, called directly: record fields, offsets and middles, paragraph
// assignment, record reference counting, and the getter's silence on exceptions. A thin layer
// over the simulated host's resolver lets a test drop style runs, stand in Paragraphs with
// chosen ranges, override StyledText counts and throw from a property read.
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "frame/host_services.h"
#include "rtf_export/rtf_export.h"
#include "rtf_export/rtf_writer.h"
#include "rtf_export/style_run_snapshot.h"
#include "simhost/host.h"

namespace {

constexpr const char* kStyleRunMethod = host_contract::kStyleRunDeclaration;
constexpr const char* kParagraphMethod = host_contract::kParagraphDeclaration;

struct FakeParagraph {
  int64_t start, end, alignment;
};

struct Hooks {
  std::set<int64_t> missingRuns;                  // StyleRun(i) answers null for these
  std::map<std::string, int64_t> styledTextInts;  // StyleRunCount / ParagraphCount overrides
  bool fakeParagraphs = false;
  std::vector<FakeParagraph> paragraphs;  // what Paragraph(k) answers while fakeParagraphs
  int paragraphsFetched = 0;
  int paragraphReads = 0;  // property reads on stand-in paragraphs
  int paragraphsReleased = 0;
  int throwOnTextRead = -1;  // the n-th read of "Text" (from 0) throws
  int textReads = 0;
  std::map<int, int64_t> lengths;  // Len answers for chosen calls (counted from 0)
  int lenCalls = 0;
  bool tracing = false;
  std::vector<std::string> trace;  // property reads, Len calls and string builds, in order
};
Hooks gHooks;

typedef void*(RBCALL* LoadObjectMethodFn)(REALobject, const char*);
typedef RBBoolean(RBCALL* GetIntegerFn)(REALobject, const char*, RBInteger*);
typedef RBBoolean(RBCALL* GetStringFn)(REALobject, const char*, REALstring*);
typedef void(RBCALL* UnlockObjectFn)(REALobject);
typedef RBBoolean(RBCALL* GetBoolFn)(REALobject, const char*, RBBoolean*);
typedef RBBoolean(RBCALL* GetColorFn)(REALobject, const char*, RBColor*);
typedef void*(RBCALL* LoadGlobalMethodFn)(const char*, const char*);
typedef REALstring(RBCALL* BuildWithEncodingFn)(const char*, int, uint32_t);
typedef REALstring(RBCALL* BuildFn)(const char*, int);

void Trace(const std::string& what) {
  if (gHooks.tracing) gHooks.trace.push_back(what);
}

template <typename Fn>
Fn Real(const char* name) {
  return reinterpret_cast<Fn>(simhost::Host::Resolve(name));
}

const FakeParagraph* AsFake(REALobject obj) {
  const auto address = reinterpret_cast<uintptr_t>(obj);
  const auto first = reinterpret_cast<uintptr_t>(gHooks.paragraphs.data());
  const auto end = first + gHooks.paragraphs.size() * sizeof(FakeParagraph);
  if (gHooks.paragraphs.empty() || address < first || address >= end) return nullptr;
  return reinterpret_cast<const FakeParagraph*>(obj);
}

REALobject RBCALL StyleRunHook(REALobject st, RBInteger index) {
  if (gHooks.missingRuns.count(index) != 0) return nullptr;
  auto real = reinterpret_cast<HostIndexGetter>(
      Real<LoadObjectMethodFn>("REALLoadObjectMethod")(st, kStyleRunMethod));
  return real != nullptr ? real(st, index) : nullptr;
}

REALobject RBCALL ParagraphHook(REALobject st, RBInteger index) {
  if (gHooks.fakeParagraphs) {
    ++gHooks.paragraphsFetched;
    if (index < 0 || index >= static_cast<RBInteger>(gHooks.paragraphs.size())) return nullptr;
    return reinterpret_cast<REALobject>(&gHooks.paragraphs[static_cast<size_t>(index)]);
  }
  auto real = reinterpret_cast<HostIndexGetter>(
      Real<LoadObjectMethodFn>("REALLoadObjectMethod")(st, kParagraphMethod));
  return real != nullptr ? real(st, index) : nullptr;
}

void* RBCALL LoadObjectMethodHook(REALobject obj, const char* declaration) {
  void* found = Real<LoadObjectMethodFn>("REALLoadObjectMethod")(obj, declaration);
  if (found == nullptr) return nullptr;
  if (std::strcmp(declaration, kStyleRunMethod) == 0) return reinterpret_cast<void*>(&StyleRunHook);
  if (std::strcmp(declaration, kParagraphMethod) == 0)
    return reinterpret_cast<void*>(&ParagraphHook);
  return found;
}

RBBoolean RBCALL GetIntegerHook(REALobject obj, const char* name, RBInteger* out) {
  Trace(name);
  if (const FakeParagraph* p = AsFake(obj)) {
    ++gHooks.paragraphReads;
    const std::string property = name;
    if (property == "StartPos")
      *out = p->start;
    else if (property == "EndPos")
      *out = p->end;
    else if (property == "Alignment")
      *out = p->alignment;
    else
      return 0;
    return 1;
  }
  auto preset = gHooks.styledTextInts.find(name);
  if (preset != gHooks.styledTextInts.end()) {
    *out = preset->second;
    return 1;
  }
  return Real<GetIntegerFn>("REALGetPropValueInteger")(obj, name, out);
}

RBBoolean RBCALL GetStringHook(REALobject obj, const char* name, REALstring* out) {
  Trace(name);
  if (std::strcmp(name, "Text") == 0 && gHooks.textReads++ == gHooks.throwOnTextRead)
    throw std::runtime_error("property read failed");
  return Real<GetStringFn>("REALGetPropValueString")(obj, name, out);
}

RBBoolean RBCALL GetBoolHook(REALobject obj, const char* name, RBBoolean* out) {
  Trace(name);
  return Real<GetBoolFn>("REALGetPropValueBool")(obj, name, out);
}

RBBoolean RBCALL GetColorHook(REALobject obj, const char* name, RBColor* out) {
  Trace(name);
  return Real<GetColorFn>("REALGetPropValueColor")(obj, name, out);
}

REALstring RBCALL BuildWithEncodingHook(const char* data, int length, uint32_t encoding) {
  Trace("REALBuildStringWithEncoding");
  return Real<BuildWithEncodingFn>("REALBuildStringWithEncoding")(data, length, encoding);
}

REALstring RBCALL BuildHook(const char* data, int length) {
  Trace("REALBuildString");
  return Real<BuildFn>("REALBuildString")(data, length);
}

RBInteger RBCALL LenHook(REALstring s) {
  Trace("Len");
  auto forced = gHooks.lengths.find(gHooks.lenCalls++);
  if (forced != gHooks.lengths.end()) return forced->second;
  auto real = reinterpret_cast<HostStringMeasure>(
      Real<LoadGlobalMethodFn>("REALLoadGlobalMethod")(nullptr, host_contract::kLenDeclaration));
  return real != nullptr ? real(s) : 0;
}

void* RBCALL LoadGlobalMethodHook(const char* module, const char* declaration) {
  void* found = Real<LoadGlobalMethodFn>("REALLoadGlobalMethod")(module, declaration);
  if (found != nullptr && std::strcmp(declaration, host_contract::kLenDeclaration) == 0)
    return reinterpret_cast<void*>(&LenHook);
  return found;
}

void RBCALL UnlockObjectHook(REALobject obj) {
  if (AsFake(obj) != nullptr) {
    ++gHooks.paragraphsReleased;
    return;
  }
  Real<UnlockObjectFn>("REALUnlockObject")(obj);
}

// Installed for every test of this program: the library's service caches are process-wide.
void* RBCALL TestResolve(const char* name) {
  const std::string service = name;
  if (service == "REALLoadObjectMethod") return reinterpret_cast<void*>(&LoadObjectMethodHook);
  if (service == "REALGetPropValueInteger") return reinterpret_cast<void*>(&GetIntegerHook);
  if (service == "REALGetPropValueString") return reinterpret_cast<void*>(&GetStringHook);
  if (service == "REALUnlockObject") return reinterpret_cast<void*>(&UnlockObjectHook);
  if (service == "REALGetPropValueBool") return reinterpret_cast<void*>(&GetBoolHook);
  if (service == "REALGetPropValueColor") return reinterpret_cast<void*>(&GetColorHook);
  if (service == "REALLoadGlobalMethod") return reinterpret_cast<void*>(&LoadGlobalMethodHook);
  if (service == "REALBuildString") return reinterpret_cast<void*>(&BuildHook);
  if (service == "REALBuildStringWithEncoding")
    return reinterpret_cast<void*>(&BuildWithEncodingHook);
  return simhost::Host::Resolve(name);
}

simhost::RunRecipe Text(std::string text) {
  simhost::RunRecipe run;
  run.text = std::move(text);
  return run;
}

class Snapshot : public ::testing::Test {
 protected:
  void SetUp() override {
    gHooks = Hooks();
    gResolver = &TestResolve;
  }
  void TearDown() override { EXPECT_EQ(host_.Misuses(), 0u); }

  REALobject Make(const std::vector<simhost::RunRecipe>& runs) {
    REALobject st = host_.NewStyledText();
    for (const simhost::RunRecipe& run : runs) host_.AppendRun(st, run);
    return st;
  }
  std::vector<XojoStyleRun> Take(REALobject st, bool skip, bool expected = true) {
    std::vector<XojoStyleRun> runs;
    EXPECT_EQ(TakeStyleRunSnapshot(st, skip, runs), expected);
    return runs;
  }

  simhost::Host host_;
};

// Where each run lies: start, length and middle, in characters.
using Place = std::array<int64_t, 3>;

std::vector<Place> PlacesOf(const std::vector<XojoStyleRun>& runs) {
  std::vector<Place> places;
  for (const XojoStyleRun& run : runs) places.push_back({run.start, run.length, run.middle});
  return places;
}

std::vector<int64_t> AlignmentsOf(const std::vector<XojoStyleRun>& runs) {
  std::vector<int64_t> alignments;
  for (const XojoStyleRun& run : runs) alignments.push_back(run.alignment);
  return alignments;
}

std::vector<int64_t> MiddlesOf(const std::vector<XojoStyleRun>& runs) {
  std::vector<int64_t> middles;
  for (const XojoStyleRun& run : runs) middles.push_back(run.middle);
  return middles;
}

using Places = std::vector<Place>;
using Numbers = std::vector<int64_t>;

TEST_F(Snapshot, OffsetsAndMiddles) {
  REALobject st = Make({Text("abcde"), Text("fghijk"), Text("lmn")});
  EXPECT_EQ(PlacesOf(Take(st, true)), (Places{{0, 5, 2}, {5, 6, 8}, {11, 3, 12}}));
}

TEST_F(Snapshot, LengthCountsCharactersNotBytes) {
  REALobject st = Make({Text("\xC3\xA9t\xC3\xA9"), Text("\xF0\x9F\x98\x80x")});
  EXPECT_EQ(PlacesOf(Take(st, true)), (Places{{0, 3, 1}, {3, 2, 4}}));
}

TEST_F(Snapshot, EmptyRunHasItsMiddleAtItsStart) {
  REALobject st = Make({Text("abc"), Text(""), Text("de")});
  EXPECT_EQ(PlacesOf(Take(st, true)), (Places{{0, 3, 1}, {3, 0, 3}, {3, 2, 4}}));
}

TEST_F(Snapshot, MissingRunTakesNoRoom) {
  REALobject st = Make({Text("aaaaa"), Text("bbb"), Text("cc"), Text("d")});
  gHooks.missingRuns = {1};
  const auto runs = Take(st, true);
  EXPECT_EQ(PlacesOf(runs), (Places{{0, 5, 2}, {5, 2, 6}, {7, 1, 7}}));
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(host_.UTF8Of(runs[1].text), "cc");
}

TEST_F(Snapshot, EveryRunMissingGivesNoDocument) {
  REALobject st = Make({Text("a"), Text("b")});
  gHooks.missingRuns = {0, 1};
  EXPECT_TRUE(Take(st, false, false).empty());
  EXPECT_EQ(RTFRead(st, 0), nullptr);
}

TEST_F(Snapshot, FieldsComeFromTheRun) {
  simhost::RunRecipe run = Text("xyz");
  run.font = "Georgia";
  run.size = 17;
  run.color = 0xAB123456;
  run.bold = true;
  run.underline = true;
  REALobject st = Make({run});
  const auto runs = Take(st, true);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].bold, 1);
  EXPECT_EQ(runs[0].italic, 0);
  EXPECT_EQ(runs[0].underline, 1);
  EXPECT_EQ(runs[0].textColor, 0xAB123456u);
  EXPECT_EQ(runs[0].size, 17);
  EXPECT_EQ(runs[0].alignment, 0);
  EXPECT_EQ(host_.UTF8Of(runs[0].font), "Georgia");
  EXPECT_EQ(host_.UTF8Of(runs[0].text), "xyz");
}

TEST_F(Snapshot, RunWithoutFontHasNullFont) {
  REALobject st = Make({Text("a")});
  const auto runs = Take(st, true);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(runs[0].font, nullptr);
  EXPECT_NE(runs[0].text, nullptr);
}

TEST_F(Snapshot, NullStyledText) {
  std::vector<XojoStyleRun> runs;
  EXPECT_FALSE(TakeStyleRunSnapshot(nullptr, false, runs));
  EXPECT_FALSE(TakeStyleRunSnapshot(nullptr, true, runs));
  EXPECT_TRUE(runs.empty());
}

TEST_F(Snapshot, NegativeRunCountGivesNoDocument) {
  REALobject st = Make({Text("a")});
  gHooks.styledTextInts["StyleRunCount"] = -2;
  const size_t objects = host_.LiveObjects();
  EXPECT_TRUE(Take(st, false, false).empty());
  EXPECT_EQ(host_.LiveObjects(), objects);
}

TEST_F(Snapshot, ZeroParagraphsGivesNoDocumentEvenWhenSkipped) {
  REALobject st = Make({Text("abc")});
  gHooks.styledTextInts["ParagraphCount"] = 0;
  const size_t objects = host_.LiveObjects();
  EXPECT_TRUE(Take(st, false, false).empty());
  EXPECT_TRUE(Take(st, true, false).empty());
  // Nothing was fetched before the test.
  EXPECT_EQ(host_.LiveObjects(), objects);
}

class Paragraphs : public Snapshot {
 protected:
  void Use(std::vector<FakeParagraph> paragraphs) {
    gHooks.fakeParagraphs = true;
    gHooks.paragraphs = std::move(paragraphs);
    gHooks.styledTextInts["ParagraphCount"] = static_cast<int64_t>(gHooks.paragraphs.size());
  }
};

TEST_F(Paragraphs, LaterParagraphWinsAtASharedBoundary) {
  Use({{0, 5, 2}, {5, 12, 3}});
  REALobject st = Make({Text("abcdefghij")});
  const auto runs = Take(st, false);
  EXPECT_EQ(MiddlesOf(runs), Numbers{5});
  EXPECT_EQ(AlignmentsOf(runs), Numbers{3});
}

TEST_F(Paragraphs, BothEndsInclusive) {
  Use({{2, 2, 1}, {8, 9, 2}, {20, 30, 3}});
  REALobject st = Make({Text("abcde"), Text("fghijk"), Text("lmnopqrst")});
  const auto runs = Take(st, false);
  EXPECT_EQ(MiddlesOf(runs), (Numbers{2, 8, 15}));
  EXPECT_EQ(AlignmentsOf(runs), (Numbers{1, 2, 0}));  // the last run lies in no paragraph
}

TEST_F(Paragraphs, SignedComparisons) {
  Use({{-100, -1, 2}, {-5, 0, 3}});
  REALobject st = Make({Text("a"), Text("bcd")});  // middles 0 and 2
  EXPECT_EQ(AlignmentsOf(Take(st, false)), (Numbers{3, 0}));
}

TEST_F(Paragraphs, EveryParagraphAppliesToEveryRun) {
  Use({{0, 100, 2}, {6, 100, 3}, {0, 1, 4}});
  REALobject st = Make({Text("abcd"), Text("efghijkl"), Text("m")});  // middles 2, 8, 12
  EXPECT_EQ(AlignmentsOf(Take(st, false)), (Numbers{2, 3, 3}));
}

TEST_F(Paragraphs, EachParagraphReadOnceAndReleased) {
  Use({{0, 3, 2}, {4, 9, 3}});
  gHooks.styledTextInts["ParagraphCount"] = 3;  // the third one is missing
  REALobject st = Make({Text("abc"), Text("defgh")});
  const auto runs = Take(st, false);
  EXPECT_EQ(gHooks.paragraphsFetched, 3);
  EXPECT_EQ(gHooks.paragraphReads, 2 * 3);
  EXPECT_EQ(gHooks.paragraphsReleased, 2);
  EXPECT_EQ(AlignmentsOf(runs), (Numbers{2, 3}));
}

TEST_F(Paragraphs, SkipParagraphsFetchesNone) {
  Use({{0, 100, 2}});
  REALobject st = Make({Text("abc"), Text("def")});
  const auto runs = Take(st, true);
  EXPECT_EQ(gHooks.paragraphsFetched, 0);
  EXPECT_EQ(gHooks.paragraphReads, 0);
  EXPECT_EQ(AlignmentsOf(runs), (Numbers{0, 0}));
}

TEST_F(Paragraphs, NegativeParagraphCountSkipsAssignment) {
  Use({{0, 100, 2}});
  gHooks.styledTextInts["ParagraphCount"] = -1;
  REALobject st = Make({Text("abc")});
  const auto runs = Take(st, false);
  EXPECT_EQ(gHooks.paragraphsFetched, 0);
  EXPECT_EQ(AlignmentsOf(runs), Numbers{0});
}

TEST_F(Snapshot, PropertiesReadInOrder) {
  simhost::RunRecipe run = Text("abc");
  run.font = "Arial";
  REALobject st = Make({run, Text("de")});
  gHooks.tracing = true;
  const auto runs = Take(st, true);
  ASSERT_EQ(runs.size(), 2u);
  const std::vector<std::string> perRun = {"Font",   "Text",      "TextColor", "Bold",
                                           "Italic", "Underline", "Size",      "Len"};
  std::vector<std::string> expected = {"StyleRunCount", "ParagraphCount"};
  for (int i = 0; i < 2; ++i) expected.insert(expected.end(), perRun.begin(), perRun.end());
  EXPECT_EQ(gHooks.trace, expected);
}

TEST_F(Snapshot, UTF16FontRepairComesBeforeTheText) {
  std::string utf16;
  for (char c : std::string("Arial")) utf16 += std::string{c, '\0'};
  simhost::RunRecipe run = Text("abc");
  run.font = utf16;
  run.fontEncoding = kREALTextEncodingUTF16LE;
  REALobject st = Make({run});
  gHooks.tracing = true;
  const auto runs = Take(st, true);
  ASSERT_EQ(runs.size(), 1u);
  EXPECT_EQ(host_.UTF8Of(runs[0].font), "Arial");
  ASSERT_GE(gHooks.trace.size(), 5u);
  EXPECT_EQ(gHooks.trace[2], "Font");
  // The rebuild of the name as UTF-16 text, by whichever builder the host version calls for.
  EXPECT_EQ(gHooks.trace[3].rfind("REALBuildString", 0), 0u) << gHooks.trace[3];
  EXPECT_EQ(gHooks.trace[4], "Text");
}

TEST_F(Snapshot, NoParagraphCountReadWithoutRuns) {
  REALobject st = host_.NewStyledText();
  gHooks.tracing = true;
  Take(st, false, false);
  EXPECT_EQ(gHooks.trace, std::vector<std::string>{"StyleRunCount"});
}

TEST_F(Paragraphs, ReversedRangeHoldsNoMiddle) {
  Use({{0, 100, 2}, {6, 1, 3}});
  REALobject st = Make({Text("abcd"), Text("efghijkl")});  // middles 2 and 8
  const auto runs = Take(st, false);
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[0].alignment, 2);
  EXPECT_EQ(runs[1].alignment, 2);
}

TEST_F(Paragraphs, NegativeLengthsStillReachEveryRecord) {
  // A host answering a negative Len makes middles go backwards: 3, then 6 + (-10) / 2 = 1,
  // then -4 + 1 = -3.
  Use({{0, 2, 2}, {3, 3, 3}, {-3, -3, 1}});
  gHooks.lengths = {{1, -10}};
  REALobject st = Make({Text("abcdef"), Text("ghi"), Text("jk")});
  const auto runs = Take(st, false);
  ASSERT_EQ(runs.size(), 3u);
  EXPECT_EQ(runs[1].length, -10);
  EXPECT_EQ(runs[0].middle, 3);
  EXPECT_EQ(runs[1].middle, 1);
  EXPECT_EQ(runs[2].middle, -3);
  EXPECT_EQ(runs[0].alignment, 3);
  EXPECT_EQ(runs[1].alignment, 2);
  EXPECT_EQ(runs[2].alignment, 1);
}

TEST_F(Paragraphs, BoundsReadInOrder) {
  Use({{0, 3, 2}, {4, 9, 3}});
  REALobject st = Make({Text("abc")});
  gHooks.tracing = true;
  Take(st, false);
  const std::vector<std::string> tail(gHooks.trace.end() - 6, gHooks.trace.end());
  EXPECT_EQ(tail, (std::vector<std::string>{"StartPos", "EndPos", "Alignment", "StartPos", "EndPos",
                                            "Alignment"}));
}

TEST_F(Snapshot, StyleRunsStayAliveStringsDoNot) {
  REALobject st = Make({Text("abc"), Text("def"), Text("ghi")});
  gHooks.missingRuns = {1};
  const size_t strings = host_.LiveStrings(), objects = host_.LiveObjects();
  {
    const auto runs = Take(st, false);
    EXPECT_EQ(host_.LiveStrings(), strings + 2);  // the two texts held by the records
  }
  EXPECT_EQ(host_.LiveStrings(), strings);
  EXPECT_EQ(host_.LiveObjects(), objects + 2);
}

TEST_F(Snapshot, RecordCopiesTakeTheirOwnReferences) {
  REALstring font = host_.NewStringUTF8("Arial");
  REALstring text = host_.NewStringUTF8("abc");
  {
    XojoStyleRun record;
    record.font = font;
    record.text = text;
    host_.Lock(font);  // the record's own references
    host_.Lock(text);
    {
      XojoStyleRun copy(record);
      EXPECT_EQ(copy.font, font);
      EXPECT_EQ(host_.RefCount(font), 3);
      EXPECT_EQ(host_.RefCount(text), 3);
      XojoStyleRun assigned;
      assigned = copy;
      EXPECT_EQ(host_.RefCount(text), 4);
      const XojoStyleRun& same = assigned;
      assigned = same;
      EXPECT_EQ(host_.RefCount(text), 4);
      std::vector<XojoStyleRun> grown;
      for (int i = 0; i < 100; ++i) grown.push_back(record);
      EXPECT_EQ(host_.RefCount(text), 104);
    }
    EXPECT_EQ(host_.RefCount(font), 2);
    EXPECT_EQ(host_.RefCount(text), 2);
  }
  EXPECT_EQ(host_.RefCount(font), 1);
  EXPECT_EQ(host_.RefCount(text), 1);
  host_.Release(font);
  host_.Release(text);
}

TEST_F(Snapshot, FreeLaterReleasesAndNulls) {
  REALstring s = host_.NewStringUTF8("x");
  REALobject o = host_.NewStyledText();
  const size_t strings = host_.LiveStrings(), objects = host_.LiveObjects();
  {
    rbFreeLater both(&o, &s);
    rbFreeLater neither(nullptr, nullptr);
  }
  EXPECT_EQ(s, nullptr);
  EXPECT_EQ(o, nullptr);
  EXPECT_EQ(host_.LiveStrings(), strings - 1);
  EXPECT_EQ(host_.LiveObjects(), objects - 1);
  REALstring none = nullptr;
  { rbFreeLater nothingHeld(nullptr, &none); }
  EXPECT_EQ(none, nullptr);
}

TEST_F(Snapshot, ExceptionInTheSnapshotIsSwallowed) {
  std::vector<simhost::RunRecipe> recipes;
  for (int i = 0; i < 20; ++i) recipes.push_back(Text("run" + std::to_string(i)));
  REALobject st = Make(recipes);
  const size_t strings = host_.LiveStrings();
  gHooks.throwOnTextRead = 12;
  EXPECT_EQ(RTFRead(st, 0), nullptr);
  EXPECT_EQ(gHooks.textReads, 13);
  EXPECT_EQ(host_.LiveStrings(), strings);
  EXPECT_TRUE(host_.Exceptions().empty());

  // The same text exports once nothing throws.
  gHooks.throwOnTextRead = -1;
  REALstring rtf = RTFRead(st, 0);
  ASSERT_NE(rtf, nullptr);
  EXPECT_NE(host_.UTF8Of(rtf).find("run0run1run2"), std::string::npos);
  host_.Release(rtf);
  EXPECT_EQ(host_.LiveStrings(), strings);
}

TEST_F(Snapshot, WriterOnASnapshot) {
  simhost::RunRecipe a = Text("x\\y");
  a.font = "Arial";
  a.size = 9;
  simhost::RunRecipe b = Text("z");
  b.color = 0x00010203;
  REALobject st = Make({a, b});
  const auto runs = Take(st, true);
  EXPECT_EQ(WriteRTF(runs),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}}{\\colortbl\\red0\\green0"
            "\\blue0;\\red1\\green2\\blue3;}\\uc0 \\f0\\fs18 x\\\\y\\cf1\\fs0 z}");
}

}  // namespace
