// StyledText access: runs and paragraphs by index, the host's Len, clearing, appending runs with
// their paragraph alignment, and the per-object method caches.
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "frame/host_contract.h"
#include "bridge/host_string_read.h"
#include "bridge/style_run.h"
#include "bridge/styled_text.h"
#include "bridge_fixture.h"

namespace {

using namespace bridge_test;  // the fixture, the host and its log helpers

const char* const kStyleRunDecl = host_contract::kStyleRunDeclaration;
const char* const kParagraphDecl = host_contract::kParagraphDeclaration;
const char* const kRemoveDecl = host_contract::kRemoveStyleRunDeclaration;
const char* const kAppendDecl = host_contract::kAppendStyleRunDeclaration;
const char* const kAlignDecl = host_contract::kParagraphAlignmentDeclaration;
const char* const kLenDecl = host_contract::kLenDeclaration;

simhost::RunRecipe TextRun(const std::string& text) {
  simhost::RunRecipe runRecipe;
  runRecipe.text = text;
  runRecipe.font = "Helvetica";
  runRecipe.size = 12;
  return runRecipe;
}

class StyledTextAccess : public BridgeTest {
 protected:
  void SetUp() override {
    BridgeTest::SetUp();
    // The method caches outlive every test; point them all at an object of this test that stays
    // alive, so the first call on any other object is a fresh lookup.
    other = host.NewStyledText();
    host.AppendRun(other, TextRun("x"));
    REALobject run = NewStyleRun();
    StyledTextAppendStyleRun(other, run);
    REALUnlockObject(run);
    if (REALobject found = GetStyleRun(other, 0)) REALUnlockObject(found);
    if (REALobject found = GetParagraph(other, 0)) REALUnlockObject(found);
    StyledTextSetParagraphAlignment(other, 0, 0);
    StyledTextRemoveStyleRun(other, 1);
    EXPECT_EQ(host.RunsOf(other).size(), 1u);
    startObjects = host.LiveObjects();
    startStrings = host.LiveStrings();
    host.ResetCounters();
  }
  void TearDown() override {
    host.Release(other);
    BridgeTest::TearDown();
  }

  // A StyledText holding runs with the given texts.
  REALobject StyledTextWith(const std::vector<std::string>& texts) {
    REALobject st = host.NewStyledText();
    for (const auto& text : texts) host.AppendRun(st, TextRun(text));
    return st;
  }

  std::vector<std::string> TextsOf(REALobject st) {
    std::vector<std::string> texts;
    for (const auto& run : host.RunsOf(st)) texts.push_back(run.text);
    return texts;
  }

  std::vector<int64_t> AlignmentsOf(REALobject st) {
    std::vector<int64_t> alignments;
    for (const auto& p : host.ParagraphsOf(st)) alignments.push_back(p.alignment);
    return alignments;
  }

  // Adds a new style run through `add` to a StyledText holding "a": the run is dropped (released
  // and the handle cleared), the text stays as it was and `expected` is what the log shows.
  void ExpectRunDropped(const std::function<void(REALobject st, REALobject& run)>& add,
                        const Log& expected) {
    REALobject st = StyledTextWith({"a"});
    REALobject run = NewStyleRun();
    Log log = LogOf(host, [&] { add(st, run); });
    EXPECT_EQ(log, expected);
    EXPECT_EQ(run, nullptr);
    EXPECT_EQ(TextsOf(st), std::vector<std::string>{"a"});
    host.Release(st);
    EXPECT_EQ(host.LiveObjects(), startObjects);
  }

  REALobject other = nullptr;
};

TEST_F(StyledTextAccess, GetStyleRunReturnsTheRunAtIndex) {
  REALobject st = StyledTextWith({"one", "two"});
  REALobject run = GetStyleRun(st, 1);
  ASSERT_NE(run, nullptr);
  EXPECT_EQ(host.ClassOf(run), "StyleRun");
  REALstring text = nullptr;
  ASSERT_TRUE(REALGetPropValueString(run, "Text", &text));
  EXPECT_EQ(GetStringInUTF8(text), "two");
  host.Release(text);
  REALUnlockObject(run);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

TEST_F(StyledTextAccess, GetParagraphReturnsTheParagraphAtIndex) {
  REALobject st = StyledTextWith({"first\rsecond"});
  REALobject paragraph = GetParagraph(st, 1);
  ASSERT_NE(paragraph, nullptr);
  EXPECT_EQ(host.ClassOf(paragraph), "Paragraph");
  REALUnlockObject(paragraph);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

TEST_F(StyledTextAccess, MethodIsLookedUpOncePerStyledText) {
  REALobject st = StyledTextWith({"a", "b", "c"});
  for (int round = 0; round < 5; ++round) {
    for (int64_t i = 0; i < 3; ++i) {
      REALobject run = GetStyleRun(st, i);
      ASSERT_NE(run, nullptr);
      REALUnlockObject(run);
      REALobject paragraph = GetParagraph(st, 0);
      ASSERT_NE(paragraph, nullptr);
      REALUnlockObject(paragraph);
    }
  }
  EXPECT_EQ(host.Lookups(kStyleRunDecl), 1u);
  EXPECT_EQ(host.Lookups(kParagraphDecl), 1u);
  EXPECT_EQ(host.Calls("REALLoadObjectMethod"), 2u);
  EXPECT_EQ(host.Calls(kStyleRunDecl), 15u);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

TEST_F(StyledTextAccess, SwitchingObjectsLooksTheMethodUpAgain) {
  REALobject a = StyledTextWith({"a"});
  REALobject b = StyledTextWith({"b"});
  for (REALobject st : {a, b, a, b, b, a}) {
    REALobject run = GetStyleRun(st, 0);
    ASSERT_NE(run, nullptr);
    REALUnlockObject(run);
  }
  EXPECT_EQ(host.Lookups(kStyleRunDecl), 5u) << "every switch asks again, a repeat does not";
  host.Release(a);
  host.Release(b);
}

TEST_F(StyledTextAccess, FailedLookupIsRetriedOnEveryCall) {
  REALobject st = StyledTextWith({"a"});
  host.options().withheld = {kStyleRunDecl};
  ExpectLookedUpUntilFound(
      host, kStyleRunDecl, [&] { EXPECT_EQ(GetStyleRun(st, 0), nullptr); },
      [&] {
        REALobject run = GetStyleRun(st, 0);
        EXPECT_NE(run, nullptr);
        REALUnlockObject(run);
      });
  host.Release(st);
}

TEST_F(StyledTextAccess, NullStyledTextIsPassedToTheLookup) {
  // The host is asked for the method with the null handle as it comes; it finds none, so
  // nothing is cached and the next call asks again.
  Log log = LogOf(host, [&] {
    EXPECT_EQ(GetStyleRun(nullptr, 0), nullptr);
    EXPECT_EQ(GetStyleRun(nullptr, 1), nullptr);
    EXPECT_EQ(GetParagraph(nullptr, 0), nullptr);
  });
  EXPECT_TRUE(log.empty()) << "the getters log nothing";
  EXPECT_EQ(host.Calls("REALLoadObjectMethod"), 3u);
  EXPECT_EQ(host.Lookups(kStyleRunDecl), 2u);
  EXPECT_EQ(host.Lookups(kParagraphDecl), 1u);

  log = LogOf(host, [&] { StyledTextRemoveStyleRun(nullptr, 4); });
  EXPECT_EQ(log, (Log{Line("StyledTextRemoveStyleRun 4"),
                      Line("nil function in StyledTextRemoveStyleRun")}));
  EXPECT_EQ(host.Lookups(kRemoveDecl), 1u);
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST_F(StyledTextAccess, GetStringLengthUsesTheHostsLen) {
  REALstring s = host.NewStringUTF8("Caf\xC3\xA9");
  EXPECT_EQ(GetStringLength(s), 4);
  host.ResetCounters();
  EXPECT_EQ(GetStringLength(s), 4);
  EXPECT_EQ(GetStringLength(s), 4);
  EXPECT_EQ(host.Lookups(kLenDecl), 0u) << "kept once found";
  EXPECT_EQ(host.Calls(kLenDecl), 2u);
  host.Release(s);
}

TEST_F(StyledTextAccess, ClearOfNoRunsRemovesNothing) {
  REALobject st = host.NewStyledText();
  Log log = LogOf(host, [&] { StyledTextClear(st); });
  EXPECT_EQ(log, Log{Line("StyledTextClear")});
  EXPECT_EQ(host.Calls(kRemoveDecl), 0u);
  EXPECT_EQ(host.Calls("REALLoadObjectMethod"), 0u);
  host.Release(st);
}

TEST_F(StyledTextAccess, ClearRemovesFromTheLastRunToTheFirst) {
  REALobject st = StyledTextWith({"a", "b", "c"});
  Log log = LogOf(host, [&] { StyledTextClear(st); });
  EXPECT_EQ(log, (Log{Line("StyledTextClear"), Line("StyledTextRemoveStyleRun 2"),
                      Line("StyledTextRemoveStyleRun 1"), Line("StyledTextRemoveStyleRun 0")}));
  EXPECT_TRUE(host.RunsOf(st).empty());
  EXPECT_EQ(host.Calls(kRemoveDecl), 3u);
  EXPECT_EQ(host.Lookups(kRemoveDecl), 1u);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

TEST_F(StyledTextAccess, ClearWithLoggingOffLogsNothing) {
  REALobject st = StyledTextWith({"a", "b"});
  Log log = QuietLogOf(host, [&] { StyledTextClear(st); });
  EXPECT_TRUE(log.empty());
  EXPECT_TRUE(host.RunsOf(st).empty());
  host.Release(st);
}

TEST_F(StyledTextAccess, ClearGoesOnWhenRemovalCannotBeFound) {
  REALobject st = StyledTextWith({"a", "b"});
  host.options().withheld = {kRemoveDecl};
  Log log = LogOf(host, [&] { StyledTextClear(st); });
  EXPECT_EQ(log, (Log{Line("StyledTextClear"), Line("StyledTextRemoveStyleRun 1"),
                      Line("nil function in StyledTextRemoveStyleRun"),
                      Line("StyledTextRemoveStyleRun 0"),
                      Line("nil function in StyledTextRemoveStyleRun")}));
  EXPECT_EQ(host.Lookups(kRemoveDecl), 2u) << "looked up again for every index";
  EXPECT_EQ(host.RunsOf(st).size(), 2u);
  host.Release(st);
}

TEST_F(StyledTextAccess, ClearOfNullLogsAndReturns) {
  Log log = LogOf(host, [&] { StyledTextClear(nullptr); });
  EXPECT_EQ(log, (Log{Line("StyledTextClear"), Line("styledText is nil in StyledTextClear")}));
  EXPECT_EQ(host.AllCalls().size(), 0u);
}

TEST_F(StyledTextAccess, AppendChecksItsArguments) {
  REALobject st = host.NewStyledText();
  REALobject run = NewStyleRun();
  Log log = LogOf(host, [&] {
    StyledTextAppendStyleRun(nullptr, run);
    StyledTextAppendStyleRun(st, nullptr);
    StyledTextSetParagraphAlignment(nullptr, 0, 1);
  });
  EXPECT_EQ(log, (Log{Line("styledText is nil in StyledTextAppendStyleRun"),
                      Line("styleRun is nil in StyledTextAppendStyleRun"),
                      Line("styledText is nil in StyledTextSetParagraphAlignment")}));
  EXPECT_EQ(host.Calls("REALLoadObjectMethod"), 0u);
  REALUnlockObject(run);
  host.Release(st);
}

TEST_F(StyledTextAccess, MissingMethodsAreLogged) {
  REALobject st = StyledTextWith({"a"});
  REALobject run = NewStyleRun();
  host.options().withheld = {kAppendDecl, kAlignDecl};
  Log log = LogOf(host, [&] {
    StyledTextAppendStyleRun(st, run);
    StyledTextSetParagraphAlignment(st, 0, 2);
  });
  EXPECT_EQ(log,
            (Log{Line("StyledTextAppendStyleRun"), Line("nil function in StyledTextAppendStyleRun"),
                 Line("StyledTextSetParagraphAlignment"),
                 Line("nil function in StyledTextSetParagraphAlignment")}));
  EXPECT_EQ(host.RunsOf(st).size(), 1u);
  REALUnlockObject(run);
  host.Release(st);
}

TEST_F(StyledTextAccess, SetParagraphAlignmentSetsOneParagraph) {
  REALobject st = StyledTextWith({"a\rb\rc"});
  Log log = LogOf(host, [&] { StyledTextSetParagraphAlignment(st, 1, 3); });
  EXPECT_EQ(log, Log{Line("StyledTextSetParagraphAlignment")});
  EXPECT_EQ(AlignmentsOf(st), (std::vector<int64_t>{0, 3, 0}));
  host.Release(st);
}

TEST_F(StyledTextAccess, SetTextWritesTheRunsText) {
  REALobject run = NewStyleRun();
  REALstring text = host.NewStringUTF8("hello");
  Log log = QuietLogOf(host, [&] { StyleRunSetText(run, text); });
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(host.Calls("REALSetPropValueString"), 1u);
  EXPECT_EQ(host.Calls("REALGetPropValueString"), 0u) << "no read-back with logging off";
  REALstring back = nullptr;
  ASSERT_TRUE(REALGetPropValueString(run, "Text", &back));
  EXPECT_EQ(host.UTF8Of(back), "hello");
  host.Release(back);
  host.Release(text);
  REALUnlockObject(run);
  EXPECT_EQ(host.LiveStrings(), startStrings);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

TEST_F(StyledTextAccess, SetTextReadsBackOnlyWhileDebugging) {
  REALobject run = NewStyleRun();
  REALstring text = host.NewStringUTF8("hello");
  host.ResetCounters();
  Log log = LogOf(host, [&] { StyleRunSetText(run, text); });
  EXPECT_EQ(log, Log{Line("StyleRunSetText")});
  ExpectOneReadBack();
  host.Release(text);
  REALUnlockObject(run);
  EXPECT_EQ(host.LiveStrings(), startStrings) << "the read-back string is released";
}

TEST_F(StyledTextAccess, SetTextReportsFailures) {
  // An object without a "Text" property: the set and the read-back both fail.
  REALobject notARun = host.NewObject("RuntimeException");
  REALstring text = host.NewStringUTF8("hello");
  Log log = LogOf(host, [&] {
    StyleRunSetText(notARun, text);
    StyleRunSetText(nullptr, text);
  });
  EXPECT_EQ(log, (Log{Line("StyleRunSetText"), Line("Failed to set text property."),
                      Line("Failed to query value set!"), Line("StyleRunSetText"),
                      Line("StyleRun is nil in StyleRunSetText")}));
  host.Release(text);
  host.Release(notARun);
}

TEST_F(StyledTextAccess, AddRunWithoutLineBreakSetsNoAlignment) {
  REALobject st = StyledTextWith({"abc"});
  REALobject run = NewStyleRun();
  REALstring text = host.NewStringUTF8("def");
  StyledTextAddStyleRun(text, st, run, 2);
  EXPECT_EQ(run, nullptr);
  EXPECT_EQ(TextsOf(st), (std::vector<std::string>{"abc", "def"}));
  EXPECT_EQ(host.Calls(kAlignDecl), 0u);
  EXPECT_EQ(AlignmentsOf(st), std::vector<int64_t>{0});
  host.Release(text);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects) << "the run was released";
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

// The import's resolved append makes StyledTextAddStyleRun's host calls: the same runs,
// alignments and calls, and the method looked up again whenever it was last found for another
// StyledText (as an import of that one in between would leave it).
TEST_F(StyledTextAccess, ResolvedAddRunMakesTheSameCallsAsAddRun) {
  // The services the resolved append calls, found as the import's first runs find them.
  ASSERT_NE(host_detail::REALGetPropValueInteger(), nullptr);
  ASSERT_NE(host_detail::REALSetPropValueString(), nullptr);
  ASSERT_NE(host_detail::REALUnlockObject(), nullptr);
  struct Outcome {
    std::vector<std::string> textsA, textsB;
    std::vector<int64_t> alignmentsA, alignmentsB;
    std::map<std::string, uint64_t> calls;
  };
  Outcome outcomes[2];
  for (const bool resolved : {false, true}) {
    REALobject a = StyledTextWith({"a"});
    REALobject b = StyledTextWith({"b"});
    host.ResetCounters();
    int64_t alignment = 1;
    for (REALobject st : {a, a, b, a, b, b}) {
      REALobject run = NewStyleRun();
      REALstring text = host.NewStringUTF8(alignment % 2 == 0 ? "x\ry" : "z");
      if (resolved) {
        StyledTextAddRunResolved(text, st, run, alignment);
      } else {
        StyledTextAddStyleRun(text, st, run, alignment);
      }
      EXPECT_EQ(run, nullptr);
      host.Release(text);
      ++alignment;
    }
    EXPECT_EQ(host.Lookups(kAppendDecl), 4u) << "asked again at every switch: " << resolved;
    EXPECT_EQ(host.Calls(kAppendDecl), 6u) << resolved;
    outcomes[resolved] = {TextsOf(a), TextsOf(b), AlignmentsOf(a), AlignmentsOf(b),
                          host.AllCalls()};
    host.Release(a);
    host.Release(b);
    EXPECT_EQ(host.LiveObjects(), startObjects) << "every run was released: " << resolved;
    EXPECT_EQ(host.LiveStrings(), startStrings) << resolved;
  }
  EXPECT_EQ(outcomes[1].textsA, outcomes[0].textsA);
  EXPECT_EQ(outcomes[1].textsB, outcomes[0].textsB);
  EXPECT_EQ(outcomes[1].alignmentsA, outcomes[0].alignmentsA);
  EXPECT_EQ(outcomes[1].alignmentsB, outcomes[0].alignmentsB);
  EXPECT_EQ(outcomes[1].calls, outcomes[0].calls);
  EXPECT_EQ(outcomes[0].textsA, (std::vector<std::string>{"a", "z", "x\ry", "x\ry"}));
  EXPECT_GT(outcomes[0].calls[kAlignDecl], 0u) << "some runs open paragraphs";
}

TEST_F(StyledTextAccess, AddRunAlignsOnlyTheFirstParagraphItOpens) {
  REALobject st = StyledTextWith({"x\r"});
  REALobject run = NewStyleRun();
  REALstring text = host.NewStringUTF8("a\rb\rc");
  Log log = LogOf(host, [&] { StyledTextAddStyleRun(text, st, run, 2); });
  EXPECT_EQ(run, nullptr);
  EXPECT_EQ(AlignmentsOf(st), (std::vector<int64_t>{0, 2, 0, 0}));
  EXPECT_EQ(log,
            (Log{Line("StyledTextAddStyleRun 2"), Line("StyleRunSetText"),
                 Line("StyledTextAppendStyleRun"), Line("NewParagraphCount 4"),
                 Line("SetParagraphAlignment 1, 2"), Line("StyledTextSetParagraphAlignment")}));
  host.Release(text);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

TEST_F(StyledTextAccess, AddRunToEmptyTextAlignsItsParagraph) {
  REALobject st = host.NewStyledText();
  REALobject run = NewStyleRun();
  REALstring text = host.NewStringUTF8("Centre\r");
  StyledTextAddStyleRun(text, st, run, 2);
  EXPECT_EQ(AlignmentsOf(st), std::vector<int64_t>{2});
  host.Release(text);
  host.Release(st);
}

TEST_F(StyledTextAccess, AddRunReleasesTheRunEvenWhenAppendingFails) {
  REALobject run = NewStyleRun();
  REALstring text = host.NewStringUTF8("lost");
  Log log = LogOf(host, [&] { StyledTextAddStyleRun(text, nullptr, run, 1); });
  EXPECT_EQ(run, nullptr);
  EXPECT_EQ(log, (Log{Line("StyledTextAddStyleRun 1"), Line("StyleRunSetText"),
                      Line("styledText is nil in StyledTextAppendStyleRun"),
                      Line("NewParagraphCount 0")}));
  EXPECT_EQ(host.Calls("REALGetPropValueInteger"), 2u) << "both counts are asked, even for null";
  host.Release(text);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

TEST_F(StyledTextAccess, AddRunWithNullRunSetsNothing) {
  REALobject st = StyledTextWith({"a"});
  REALobject run = nullptr;
  REALstring text = host.NewStringUTF8("b");
  Log log = LogOf(host, [&] { StyledTextAddStyleRun(text, st, run, 0); });
  EXPECT_EQ(
      log, (Log{Line("StyledTextAddStyleRun 0"), Line("StyleRunSetText"),
                Line("StyleRun is nil in StyleRunSetText"),
                Line("styleRun is nil in StyledTextAppendStyleRun"), Line("NewParagraphCount 1")}));
  EXPECT_EQ(TextsOf(st), std::vector<std::string>{"a"});
  host.Release(text);
  host.Release(st);
}

TEST_F(StyledTextAccess, ByteRunIsBuiltInItsEncoding) {
  REALobject st = host.NewStyledText();
  REALobject run = NewStyleRun();
  std::string text = "caf\xE9";
  StyledTextAddStyleRun(kREALTextEncodingWindowsLatin1, text, st, run, 0);
  EXPECT_EQ(run, nullptr);
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(TextsOf(st), std::vector<std::string>{"caf\xC3\xA9"});
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(StyledTextAccess, ByteRunLogsItsBytesAndTheNewText) {
  REALobject st = host.NewStyledText();
  REALobject run = NewStyleRun();
  std::string text = "caf\xE9";
  Log log =
      LogOf(host, [&] { StyledTextAddStyleRun(kREALTextEncodingWindowsLatin1, text, st, run, 3); });
  ASSERT_EQ(log.size(), 9u);
  EXPECT_EQ(log[0], Line("StyledTextAddStyleRun"));
  EXPECT_EQ(log[1], Line("caf\xE9")) << "the bytes as they stand";
  EXPECT_EQ(log[2].rfind(Line("NewText 0x"), 0), 0u) << log[2];
  EXPECT_EQ(log[2].substr(log[2].size() - 7), ": caf\xC3\xA9");
  EXPECT_EQ(log[3], Line("StyledTextAddStyleRun 3"));
  EXPECT_EQ(log[4], Line("StyleRunSetText"));
  EXPECT_EQ(log[5], Line("StyledTextAppendStyleRun"));
  EXPECT_EQ(log[6], Line("NewParagraphCount 1"));
  EXPECT_EQ(log[7], Line("SetParagraphAlignment 0, 3"));
  EXPECT_EQ(log[8], Line("StyledTextSetParagraphAlignment"));
  EXPECT_EQ(AlignmentsOf(st), std::vector<int64_t>{3});
  host.Release(st);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(StyledTextAccess, EmptyByteRunIsDroppedAndReleased) {
  std::string text;
  ExpectRunDropped(
      [&](REALobject st, REALobject& run) {
        StyledTextAddStyleRun(kREALTextEncodingUTF8, text, st, run, 1);
      },
      Log{Line("StyledTextAddStyleRun"), Line("Ignore empty run")});
  EXPECT_TRUE(text.empty());
}

TEST_F(StyledTextAccess, ByteRunWithoutARunStillEmptiesTheText) {
  REALobject st = StyledTextWith({"a"});
  REALobject run = nullptr;
  std::string text = "pending";
  StyledTextAddStyleRun(kREALTextEncodingUTF8, text, st, run, 1);
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(run, nullptr);
  EXPECT_EQ(TextsOf(st), std::vector<std::string>{"a"});
  EXPECT_EQ(host.Calls("REALBuildStringWithEncoding"), 0u);
  host.Release(st);
}

TEST_F(StyledTextAccess, CodeUnitRunAppendsOneCharacter) {
  REALobject st = StyledTextWith({"caf"});
  REALobject run = NewStyleRun();
  Log log = LogOf(host, [&] { StyledTextAddStyleRun(uint16_t{0x00E9}, st, run, 0); });
  EXPECT_EQ(run, nullptr);
  EXPECT_EQ(TextsOf(st), (std::vector<std::string>{"caf", "\xC3\xA9"}));
  ASSERT_EQ(log.size(), 6u);
  EXPECT_EQ(log[0], Line("StyledTextAddStyleRun 233"));
  EXPECT_EQ(log[1].rfind(Line("NewText 0x"), 0), 0u) << log[1];
  EXPECT_EQ(log[1].substr(log[1].size() - 4), ": \xC3\xA9");
  EXPECT_EQ(log[2], Line("StyledTextAddStyleRun 0"));
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(StyledTextAccess, NullCodeUnitDropsTheRun) {
  ExpectRunDropped(
      [](REALobject st, REALobject& run) { StyledTextAddStyleRun(uint16_t{0}, st, run, 0); },
      Log{Line("StyledTextAddStyleRun 0"), Line("Ignore null character")});
}

TEST_F(StyledTextAccess, CodeUnitWithoutARunDoesNothing) {
  REALobject st = StyledTextWith({"a"});
  REALobject run = nullptr;
  host.ResetCounters();
  StyledTextAddStyleRun(uint16_t{'b'}, st, run, 0);
  EXPECT_EQ(run, nullptr);
  EXPECT_EQ(host.AllCalls().size(), 0u);
  host.Release(st);
}

TEST_F(StyledTextAccess, ImportSequenceLeavesNoHandleBehind) {
  REALobject st = StyledTextWith({"old", "runs"});
  StyledTextClear(st);
  for (const char* piece : {"Hello ", "world\r", "next\r"}) {
    REALobject run = NewStyleRun();
    StyleRunSetBold(run, 1);
    std::string text = piece;
    StyledTextAddStyleRun(kREALTextEncodingUTF8, text, st, run, 2);
    EXPECT_EQ(run, nullptr);
  }
  EXPECT_EQ(TextsOf(st), (std::vector<std::string>{"Hello ", "world\r", "next\r"}));
  EXPECT_EQ(AlignmentsOf(st), (std::vector<int64_t>{2, 2}));
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(StyledTextAccess, NothingIsLoggedWithDebuggingOff) {
  REALobject st = StyledTextWith({"a"});
  Log log = QuietLogOf(host, [&] {
    REALobject run = NewStyleRun();
    REALstring text = host.NewStringUTF8("b\rc");
    StyledTextAddStyleRun(text, st, run, 1);
    host.Release(text);
    run = NewStyleRun();
    std::string bytes;
    StyledTextAddStyleRun(kREALTextEncodingUTF8, bytes, st, run, 1);
    run = NewStyleRun();
    StyledTextAddStyleRun(uint16_t{0}, st, run, 1);
    StyledTextAppendStyleRun(nullptr, nullptr);
    StyledTextClear(nullptr);
    StyledTextClear(st);
  });
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(host.Calls("REALGetPropValueString"), 0u);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

// Hosts without some services.

TEST_F(BridgeWithheld, WithoutIntegerPropertiesNothingIsRemovedOrAligned) {
  bridge_test::HostWithout host({"REALGetPropValueInteger"});
  REALobject st = host.NewStyledText();
  host.AppendRun(st, TextRun("a\r"));
  StyledTextClear(st);
  EXPECT_EQ(host.RunsOf(st).size(), 1u) << "the count reads as 0";
  REALobject run = NewStyleRun();
  REALstring text = host.NewStringUTF8("b\r");
  StyledTextAddStyleRun(text, st, run, 2);
  EXPECT_EQ(host.RunsOf(st).size(), 2u);
  EXPECT_EQ(host.Calls(kAlignDecl), 0u) << "both counts read as 0";
  host.Release(text);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), 0u);
}

TEST_F(BridgeWithheld, WithoutObjectMethodServiceNothingIsFound) {
  bridge_test::HostWithout host({"REALLoadObjectMethod"});
  REALobject st = host.NewStyledText();
  host.AppendRun(st, TextRun("a"));
  EXPECT_EQ(GetStyleRun(st, 0), nullptr);
  EXPECT_EQ(GetParagraph(st, 0), nullptr);
  Log log = LogOf(host, [&] { StyledTextClear(st); });
  EXPECT_EQ(log, (Log{Line("StyledTextClear"), Line("StyledTextRemoveStyleRun 0"),
                      Line("nil function in StyledTextRemoveStyleRun")}));
  EXPECT_EQ(host.Lookups("REALLoadObjectMethod"), 3u) << "resolved again on every use";
  host.Release(st);
}

TEST_F(BridgeWithheld, LenIsLookedUpUntilFoundThenKept) {
  bridge_test::HostWithout host({kLenDecl});
  REALstring s = host.NewStringUTF8("abc");
  bridge_test::ExpectLookedUpUntilFound(
      host, kLenDecl, [&] { EXPECT_EQ(GetStringLength(s), 0); },
      [&] { EXPECT_EQ(GetStringLength(s), 3); });
  host.Release(s);
}

TEST_F(BridgeWithheld, WithoutGlobalMethodServiceLenIsZero) {
  bridge_test::HostWithout host({"REALLoadGlobalMethod"});
  REALstring s = host.NewStringUTF8("abc");
  EXPECT_EQ(GetStringLength(s), 0);
  host.Release(s);
}

TEST_F(BridgeWithheld, ReadBackWithoutCompareOrGetterIsSkipped) {
  {
    bridge_test::FreshEntryPoints fresh;
    bridge_test::HostWithout host({"RuntimeStringCompare"});
    REALobject run = NewStyleRun();
    REALstring text = host.NewStringUTF8("t");
    Log log = LogOf(host, [&] { StyleRunSetText(run, text); });
    EXPECT_EQ(log, Log{Line("StyleRunSetText")});
    EXPECT_EQ(host.Calls("REALGetPropValueString"), 1u);
    EXPECT_EQ(host.LiveStrings(), 1u) << "the read-back string is released";
    host.Release(text);
    REALUnlockObject(run);
  }
  {
    bridge_test::FreshEntryPoints fresh;
    bridge_test::HostWithout host({"REALGetPropValueString"});
    REALobject run = NewStyleRun();
    REALstring text = host.NewStringUTF8("t");
    Log log = LogOf(host, [&] { StyleRunSetText(run, text); });
    EXPECT_EQ(log, (Log{Line("StyleRunSetText"), Line("Failed to query value set!")}));
    host.Release(text);
    REALUnlockObject(run);
  }
}

}  // namespace
