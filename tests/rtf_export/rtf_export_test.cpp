// The getter of "RTFDataZVK" as the host calls it: StyledTexts built in the simulated host,
// exported through the loaded library, compared byte for byte.
#include <gtest/gtest.h>

#include <algorithm>

#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bridge/host_string_read.h"
#include "frame/host_contract.h"
#include "simhost/host.h"

namespace {

using simhost::RunRecipe;

constexpr const char* kStyleRunMethod = host_contract::kStyleRunDeclaration;
constexpr const char* kParagraphMethod = host_contract::kParagraphDeclaration;

// The fixed start of every document whose font table is empty and whose only colour is black.
const std::string kPlainHeader =
    "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl}{\\colortbl\\red0\\green0\\blue0;}\\uc0 ";

RunRecipe Text(std::string text) {
  RunRecipe run;
  run.text = std::move(text);
  return run;
}

RunRecipe Styled(std::string text, std::string font, int64_t size, uint32_t color,
                 bool bold = false, bool italic = false, bool underline = false) {
  RunRecipe run;
  run.text = std::move(text);
  run.font = std::move(font);
  run.size = size;
  run.color = color;
  run.bold = bold;
  run.italic = italic;
  run.underline = underline;
  return run;
}

RunRecipe Flags(std::string text, bool bold, bool italic, bool underline) {
  RunRecipe run = Text(std::move(text));
  run.bold = bold;
  run.italic = italic;
  run.underline = underline;
  return run;
}

RunRecipe Sized(std::string text, int64_t size) {
  RunRecipe run = Text(std::move(text));
  run.size = size;
  return run;
}

// The same bytes as UTF-16 in the machine's byte order.
std::string NativeUTF16(const std::string& ascii) {
  std::string bytes;
  for (char c : ascii) {
    const uint16_t unit = static_cast<unsigned char>(c);
    char pair[2];
    std::memcpy(pair, &unit, 2);
    bytes.append(pair, 2);
  }
  return bytes;
}

class RTFExport : public ::testing::Test {
 protected:
  void Start(simhost::Options options = {}) {
    host_ = std::make_unique<simhost::Host>(options);
    plugin_ = std::make_unique<simhost::Plugin>(*host_);
    ASSERT_TRUE(plugin_->loaded()) << plugin_->error();
    ASSERT_TRUE(plugin_->HasMember());
  }
  void TearDown() override {
    if (host_) {
      EXPECT_EQ(host_->Misuses(), 0u);
    }
    plugin_.reset();
    host_.reset();
  }

  REALobject Make(const std::vector<RunRecipe>& runs) {
    REALobject st = host_->NewStyledText();
    for (const RunRecipe& run : runs) host_->AppendRun(st, run);
    return st;
  }
  std::string Export(const std::vector<RunRecipe>& runs, bool skip = false) {
    REALobject st = Make(runs);
    std::string rtf = plugin_->Get(st, skip);
    host_->Release(st);
    return rtf;
  }
  // True when the getter hands back no string at all (the host then shows "").
  bool ExportsNull(REALobject st, bool skip) {
    REALstring s = plugin_->GetRaw(st, skip);
    if (s == nullptr) return true;
    host_->Release(s);
    return false;
  }

  std::unique_ptr<simhost::Host> host_;
  std::unique_ptr<simhost::Plugin> plugin_;
};

TEST_F(RTFExport, TwoRunsOfArialInRedAndBlack) {
  Start();
  const std::string rtf = Export({Styled("Hello", "Arial", 12, 0x00FF0000, true),
                                  Styled(" world", "Arial", 12, 0x00000000, false)});
  EXPECT_EQ(rtf,
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}}{\\colortbl\\red255\\green0"
            "\\blue0;\\red0\\green0\\blue0;}\\uc0 \\b\\f0\\cf0\\fs24 Hello\\b0\\cf1  world}");
}

// Without the host's global byte-count method every string reads with length 0 although its
// bytes are there. A font name is read as a C string, so it still reaches the font table.
TEST_F(RTFExport, FontNamesReachTheFontTableWithoutTheByteCountMethod) {
  simhost::Options options;
  options.withheld = {host_contract::kLenBDeclaration};
  Start(options);
  const std::string rtf = Export({Styled("Hello", "Arial", 12, 0x00FF0000, true)});
  // The run's text is read by its length, so it is empty; its formatting is still written.
  EXPECT_EQ(rtf,
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}}{\\colortbl\\red255\\green0"
            "\\blue0;}\\uc0 \\b\\f0\\cf0\\fs24 }");
}

// Without the host's string data service, text outside ASCII has no UTF-8 view: its runs keep
// their formatting and lose their text, and the debug log says why; ASCII text is still read
// from its own bytes.
TEST_F(RTFExport, NonASCIITextWithoutStringDataIsLeftOut) {
  simhost::Options options;
  options.withheld = {"PluginGetStringData"};
  Start(options);
  plugin_->SetDebugging(true);
  host_->ClearLog();
  const std::string rtf =
      Export({Text("plain "), Text("caf\xC3\xA9 {x}"), Styled("end", "Arial", 12, 0, true)});
  EXPECT_EQ(rtf,
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}}{\\colortbl\\red0\\green0"
            "\\blue0;}\\uc0 plain \\b\\f0\\fs24 end}");
  const auto& log = host_->Log();
  EXPECT_NE(std::find(log.begin(), log.end(), "ZVK Debug: REALGetStringData failed."), log.end());
  plugin_->SetDebugging(false);
}

TEST_F(RTFExport, SpecialCharactersInDefaultFormatting) {
  Start();
  EXPECT_EQ(Export({Text("a{b}\\c")}),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl}{\\colortbl\\red0\\green0\\blue0;}\\uc0 "
            "a\\{b\\}\\\\c}");
}

TEST_F(RTFExport, UnicodeEscapes) {
  Start();
  EXPECT_EQ(Export({Text("\xC3\xA9")}), kPlainHeader + "\\u233 }");
  EXPECT_EQ(Export({Text("\xF0\x9F\x98\x80")}), kPlainHeader + "\\u55357 \\u56832 }");
  EXPECT_EQ(Export({Text("\xEF\xBF\xBF")}), kPlainHeader + "\\u65535 }");
  EXPECT_EQ(Export({Text("\xC2\x80~\x7F")}), kPlainHeader + "\\u128 ~\x7F}");
}

// Text the host holds as UTF-8 is written from its bytes; the same text handed over as the
// UTF-16 units the reader decodes from those bytes gives the same document, for well-formed and
// malformed text alike (decoding stops at the first bad sequence).
TEST_F(RTFExport, UTF8TextIsWrittenAsItsDecodedUnits) {
  Start();
  const std::string wellFormed[] = {"a",
                                    "Z",
                                    " ",
                                    "\r",
                                    "\n",
                                    "\\",
                                    "{",
                                    "}",
                                    "\t",
                                    std::string("\x01", 1),
                                    std::string("\0", 1),
                                    "\xC3\xA9",
                                    "\xDF\xBF",
                                    "\xE2\x82\xAC",
                                    "\xEF\xBB\xBF",
                                    "\xEF\xBF\xBE",
                                    "\xEF\xBF\xBF",
                                    "\xF0\x9F\x98\x80",
                                    "\xF4\x8F\xBF\xBF",
                                    "\xE0\xA0\x80",
                                    std::string(20, 'x')};
  const std::string malformed[] = {"\x80",         "\xC0\xAF",         "\xC3", "\xE2\x82",
                                   "\xED\xA0\x80", "\xF5\x80\x80\x80", "\xFF", "\xF0\x9F"};
  std::mt19937 random(7);
  int malformedCount = 0;
  for (int round = 0; round < 300; ++round) {
    std::string text;
    const int pieces = static_cast<int>(random() % 40);
    for (int k = 0; k < pieces; ++k) {
      if (random() % 30 == 0) {
        text += malformed[random() % std::size(malformed)];
        ++malformedCount;
      } else {
        text += wellFormed[random() % std::size(wellFormed)];
      }
    }
    std::vector<uint16_t> units(text.size() + 1);
    units.resize(static_cast<size_t>(DecodeUTF8(reinterpret_cast<const uint8_t*>(text.data()),
                                                static_cast<int64_t>(text.size()), units.data())));
    // The simulated host gives an empty UTF-16 text no paragraph, so such a text makes no
    // document at all.
    if (units.empty()) continue;
    RunRecipe asUnits =
        Text(std::string(reinterpret_cast<const char*>(units.data()), units.size() * 2));
    asUnits.textEncoding = kREALTextEncodingUTF16;
    EXPECT_EQ(Export({Text(text)}), Export({asUnits})) << "round " << round;
  }
  EXPECT_GT(malformedCount, 20);
}

// A character that gives no unit (byte-order mark, U+FFFE) leaves CR and LF on either side of
// it next to each other, so they still pair; near the start, in the middle of a long text and
// in its last bytes alike.
TEST_F(RTFExport, LineBreaksPairAcrossCharactersWithoutUnits) {
  Start();
  const std::string bom = "\xEF\xBB\xBF", fffe = "\xEF\xBF\xBE";
  const std::string middles[] = {bom, fffe, bom + fffe, fffe + bom + bom};
  for (const std::string& middle : middles) {
    for (const std::string& pair : {std::string("\n\r"), std::string("\r\n")}) {
      for (size_t before : {0, 1, 15, 17, 40}) {
        for (size_t after : {0, 3, 20}) {
          const std::string text =
              std::string(before, 'x') + pair[0] + middle + pair[1] + std::string(after, 'y');
          EXPECT_EQ(Export({Text(text)}), kPlainHeader + std::string(before, 'x') + "\\par " +
                                              std::string(after, 'y') + "}")
              << before << " " << after;
        }
      }
    }
  }
}

TEST_F(RTFExport, NonASCIITextInLatin1) {
  Start();
  RunRecipe run = Text("caf\xE9");
  run.textEncoding = kREALTextEncodingISOLatin1;
  EXPECT_EQ(Export({run}), kPlainHeader + "caf\\u233 }");
}

TEST_F(RTFExport, TabAndOtherControlsStayRaw) {
  Start();
  EXPECT_EQ(Export({Text("a\tb\x0B\x0C\x1F")}), kPlainHeader + "a\tb\x0B\x0C\x1F}");
}

TEST_F(RTFExport, ControlUnitsBelowTabVanish) {
  Start();
  EXPECT_EQ(Export({Text(std::string("a\x01\x02\x03\x04\x05\x06\x07\x08z", 10))}),
            kPlainHeader + "az}");
  const std::string withNul("x\0y", 3);
  const std::string rtf = Export({Text(withNul)});
  EXPECT_EQ(rtf, kPlainHeader + "xy}");
  EXPECT_EQ(rtf.find('\0'), std::string::npos);
}

TEST_F(RTFExport, LongTextKeepsEveryCharacterInOrder) {
  Start();
  std::string text, body;
  for (int i = 0; i < 5000; ++i) {
    const char c = static_cast<char>('a' + i % 26);
    text += c;
    body += c;
    if (i % 1024 == 1023) {
      text += "{\xC3\xA9\r\n";
      body += "\\{\\u233 \\par ";
    }
  }
  text += std::string(2048, 'z');
  body += std::string(2048, 'z');
  EXPECT_EQ(Export({Text(text)}), kPlainHeader + body + "}");
}

// Text where every character needs care, longer than the writer scans in one stretch: each is
// written, in order, whatever block or stretch it falls in.
TEST_F(RTFExport, TextOfNothingButEscapesKeepsEveryOne) {
  Start();
  const char* const pieces[] = {"\r", "\\", "\xC3\xA9", "{"};
  const char* const written[] = {"\\par ", "\\\\", "\\u233 ", "\\{"};
  for (int length : {15, 16, 17, 31, 33, 5000}) {
    std::string text, body;
    for (int i = 0; i < length; ++i) {
      text += pieces[i % 4];
      body += written[i % 4];
    }
    EXPECT_EQ(Export({Text(text)}), kPlainHeader + body + "}") << length;
  }
}

struct LineBreakCase {
  const char* text;
  const char* body;
};

class LineBreaks : public RTFExport, public ::testing::WithParamInterface<LineBreakCase> {};

TEST_P(LineBreaks, CollapseOnlyWithTheUnitJustBefore) {
  Start();
  EXPECT_EQ(Export({Text(GetParam().text)}), kPlainHeader + GetParam().body + "}");
}

INSTANTIATE_TEST_SUITE_P(RTFExport, LineBreaks,
                         ::testing::Values(LineBreakCase{"a\rb", "a\\par b"},
                                           LineBreakCase{"a\nb", "a\\par b"},
                                           LineBreakCase{"a\r\nb", "a\\par b"},
                                           LineBreakCase{"a\n\rb", "a\\par b"},
                                           LineBreakCase{"a\r\n\r\nb", "a\\par b"},
                                           LineBreakCase{"a\r\rb", "a\\par \\par b"},
                                           LineBreakCase{"a\n\nb", "a\\par \\par b"},
                                           LineBreakCase{"a\r\n\nb", "a\\par \\par b"},
                                           LineBreakCase{"\r\n", "\\par "}));

TEST_F(RTFExport, LineBreakPairDoesNotSpanRuns) {
  Start();
  EXPECT_EQ(Export({Text("a\r"), Text("\nb")}), kPlainHeader + "a\\par \\par b}");
}

TEST_F(RTFExport, SizeInHalfPoints) {
  Start();
  EXPECT_EQ(Export({Sized("x", 0), Styled("y", "Arial", 0, 0xFF)}).find("\\fs"), std::string::npos);
  EXPECT_EQ(Export({Sized("b", 12)}), kPlainHeader + "\\fs24 b}");
  EXPECT_EQ(Export({Text("a"), Sized("b", 12)}), kPlainHeader + "a\\fs24 b}");
  EXPECT_EQ(Export({Sized("n", -3)}), kPlainHeader + "\\fs-5 n}");
  EXPECT_EQ(Export({Sized("p", 11), Sized("q", 11), Sized("r", 0)}),
            kPlainHeader + "\\fs22 pq\\fs0 r}");
  EXPECT_EQ(Export({Sized("h", 1000000)}), kPlainHeader + "\\fs2000000 h}");
  EXPECT_EQ(Export({Sized("m", 1073741823)}), kPlainHeader + "\\fs2147483646 m}");
  // Half-points beyond 32 bits come out as the processor's truncating conversion gives them.
  // The host's Integer is 32 bits wide on 32-bit systems, so there the largest size it holds
  // is the one too large.
  const int64_t tooLarge = sizeof(RBInteger) == 8 ? int64_t{1} << 40 : INT32_MAX;
  EXPECT_EQ(Export({Sized("g", tooLarge)}), kPlainHeader + "\\fs-2147483648 g}");
}

TEST_F(RTFExport, FirstRunInBlackWritesNoColour) {
  Start();
  RunRecipe red = Text("r");
  red.color = 0x00FF0000;
  EXPECT_EQ(Export({Text("k"), red, Text("k")}),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl}{\\colortbl\\red0\\green0\\blue0;\\red255\\green0"
            "\\blue0;}\\uc0 k\\cf1 r\\cf0 k}");
}

TEST_F(RTFExport, ColourTableInOrderOfFirstUse) {
  Start();
  RunRecipe a = Text("a"), b = Text("b"), c = Text("c");
  a.color = 0x00123456;
  b.color = 0x000000FF;
  c.color = 0x00123456;
  EXPECT_EQ(Export({a, b, c}),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl}{\\colortbl\\red18\\green52\\blue86;\\red0"
            "\\green0\\blue255;}\\uc0 \\cf0 a\\cf1 b\\cf0 c}");
}

TEST_F(RTFExport, ColoursDifferingOnlyInTheHighByte) {
  Start();
  RunRecipe a = Text("a"), b = Text("b");
  a.color = 0x00FF0000;
  b.color = 0xFFFF0000;
  EXPECT_EQ(Export({a, b}),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl}{\\colortbl\\red255\\green0\\blue0;\\red255"
            "\\green0\\blue0;}\\uc0 \\cf0 a\\cf1 b}");
  RunRecipe translucentBlack = Text("t");
  translucentBlack.color = 0x80000000;
  EXPECT_EQ(
      Export({translucentBlack}),
      "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl}{\\colortbl\\red0\\green0\\blue0;}\\uc0 \\cf0 t}");
}

TEST_F(RTFExport, FontTableHoldsRawNameBytes) {
  Start();
  EXPECT_EQ(
      Export({Styled("x", "We}ird\\F\xC3\xB6nt;", 0, 0)}),
      "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil We}ird\\F\xC3\xB6nt;;}}{\\colortbl\\red0"
      "\\green0\\blue0;}\\uc0 \\f0 x}");
}

TEST_F(RTFExport, FontsNumberedInOrderOfFirstUse) {
  Start();
  EXPECT_EQ(Export({Styled("a", "Courier", 0, 0), Styled("b", "Arial", 0, 0),
                    Styled("c", "Courier", 0, 0)}),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Courier;}{\\f1\\fnil Arial;}}"
            "{\\colortbl\\red0\\green0\\blue0;}\\uc0 \\f0 a\\f1 b\\f0 c}");
}

TEST_F(RTFExport, FontNamesDifferingInCaseGetTwoEntries) {
  Start();
  // The host compares the names equal, so the body keeps the first font word only.
  EXPECT_EQ(Export({Styled("a", "Arial", 0, 0), Styled("b", "arial", 0, 0)}),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}{\\f1\\fnil arial;}}"
            "{\\colortbl\\red0\\green0\\blue0;}\\uc0 \\f0 ab}");
}

TEST_F(RTFExport, RunWithoutFontKeepsTheCurrentFont) {
  Start();
  EXPECT_EQ(Export({Styled("a", "Arial", 0, 0), Text("b"), Styled("c", "Arial", 0, 0)}),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}}{\\colortbl\\red0\\green0"
            "\\blue0;}\\uc0 \\f0 abc}");
}

TEST_F(RTFExport, EmptyFontNameAfterAnotherFontWritesIndexZero) {
  Start();
  EXPECT_EQ(
      Export({Styled("a", "Courier", 0, 0), Styled("b", "Arial", 0, 0), Styled("c", "", 0, 0)}),
      "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Courier;}{\\f1\\fnil Arial;}}"
      "{\\colortbl\\red0\\green0\\blue0;}\\uc0 \\f0 a\\f1 b\\f0 c}");
}

TEST_F(RTFExport, WithoutStringCompareNoFontWordIsWritten) {
  simhost::Options options;
  options.withheld = {"RuntimeStringCompare"};
  Start(options);
  EXPECT_EQ(Export({Styled("Hello", "Arial", 0, 0), Styled("x", "Courier", 0, 0, true)}),
            "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}{\\f1\\fnil Courier;}}"
            "{\\colortbl\\red0\\green0\\blue0;}\\uc0 Hello\\b x}");
}

TEST_F(RTFExport, BoldItalicUnderlineOrder) {
  Start();
  EXPECT_EQ(Export({Flags("a", true, true, true), Flags("b", false, false, false),
                    Flags("c", false, false, true), Flags("d", false, true, false)}),
            kPlainHeader + "\\b\\i\\ul a\\b0\\i0\\ul0 b\\ul c\\i\\ul0 d}");
}

TEST_F(RTFExport, UnchangedRunsAreJoined) {
  Start();
  EXPECT_EQ(
      Export({Styled("one ", "Arial", 10, 0x00336699), Styled("two ", "Arial", 10, 0x00336699),
              Styled("three", "Arial", 10, 0x00336699)}),
      "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}}{\\colortbl\\red51\\green102"
      "\\blue153;}\\uc0 \\f0\\cf0\\fs20 one two three}");
}

// Five paragraphs "p0" to "p4", one run each (the run's middle lies in its own paragraph).
class Alignment : public RTFExport {
 protected:
  REALobject FiveParagraphs() {
    REALobject st = Make({Text("p0\r"), Text("p1\r"), Text("p2\r"), Text("p3\r"), Text("p4")});
    const int64_t alignments[] = {0, 1, 4, 2, 3};
    for (int64_t k = 0; k < 5; ++k) host_->SetParagraphAlignment(st, k, alignments[k]);
    return st;
  }
};

TEST_F(Alignment, EveryChangeWritesItsWord) {
  Start();
  REALobject st = FiveParagraphs();
  ASSERT_EQ(host_->ParagraphsOf(st).size(), 5u);
  EXPECT_EQ(plugin_->Get(st, false),
            kPlainHeader + "p0\\par \\ql p1\\par \\ql p2\\par \\qc p3\\par \\qr p4}");
  host_->Release(st);
}

TEST_F(Alignment, SkipParagraphsWritesNone) {
  Start();
  REALobject st = FiveParagraphs();
  EXPECT_EQ(plugin_->Get(st, true), kPlainHeader + "p0\\par p1\\par p2\\par p3\\par p4}");
  host_->Release(st);
}

TEST_F(Alignment, SkipParagraphsReadsNoParagraph) {
  Start();
  REALobject st = FiveParagraphs();
  host_->ResetCounters();
  plugin_->Get(st, true);
  // StyleRunCount, ParagraphCount and each run's Size; nothing of a paragraph.
  EXPECT_EQ(host_->Calls("REALGetPropValueInteger"), 2u + 5u);
  EXPECT_EQ(host_->Calls(kParagraphMethod), 0u);

  host_->ResetCounters();
  plugin_->Get(st, false);
  // The same plus StartPos, EndPos and Alignment of each of the five paragraphs.
  EXPECT_EQ(host_->Calls("REALGetPropValueInteger"), 2u + 5u + 3u * 5u);
  EXPECT_EQ(host_->Calls(kParagraphMethod), 5u);
  host_->Release(st);
}

TEST_F(Alignment, RunBetweenParagraphsKeepsZero) {
  Start();
  // "ab" [0,2] and "cd" [4,6]; the run "\r\n" has its middle at 3, the LF, in neither.
  REALobject st = Make({Text("ab"), Text("\r\n"), Text("cd")});
  ASSERT_EQ(host_->ParagraphsOf(st).size(), 2u);
  host_->SetParagraphAlignment(st, 0, 3);
  host_->SetParagraphAlignment(st, 1, 2);
  EXPECT_EQ(plugin_->Get(st, false), kPlainHeader + "\\qr ab\\ql \\par \\qc cd}");
  host_->Release(st);
}

TEST_F(Alignment, RunSpanningParagraphsTakesTheOneHoldingItsMiddle) {
  Start();
  // One run "aaaa\rbbbbbbbb": middle 6 lies in the second paragraph [5,13].
  REALobject st = Make({Text("aaaa\rbbbbbbbb"), Text("c")});
  host_->SetParagraphAlignment(st, 0, 3);
  host_->SetParagraphAlignment(st, 1, 2);
  EXPECT_EQ(plugin_->Get(st, false), kPlainHeader + "\\qc aaaa\\par bbbbbbbbc}");
  host_->Release(st);
}

TEST_F(RTFExport, NullStyledTextGivesNothing) {
  Start();
  EXPECT_TRUE(ExportsNull(nullptr, false));
  EXPECT_TRUE(ExportsNull(nullptr, true));
  EXPECT_EQ(plugin_->Get(nullptr, false), "");
}

TEST_F(RTFExport, NoRunsGivesNothing) {
  Start();
  REALobject st = host_->NewStyledText();
  EXPECT_TRUE(ExportsNull(st, false));
  EXPECT_TRUE(ExportsNull(st, true));
  host_->Release(st);
}

TEST_F(RTFExport, NoParagraphsGivesNothingEvenWhenSkipped) {
  Start();
  // An empty run: one style run, and no paragraph under the host's counting.
  REALobject st = Make({Text("")});
  ASSERT_EQ(host_->RunsOf(st).size(), 1u);
  ASSERT_EQ(host_->ParagraphsOf(st).size(), 0u);
  EXPECT_TRUE(ExportsNull(st, false));
  EXPECT_TRUE(ExportsNull(st, true));
  host_->Release(st);
}

TEST_F(RTFExport, EmptyRunWithOneParagraphGivesAnEmptyBody) {
  simhost::Options options;
  options.paragraphRule = simhost::ParagraphRule::kSeparatorsPlusOne;
  Start(options);
  REALobject st = Make({Text("")});
  ASSERT_EQ(host_->ParagraphsOf(st).size(), 1u);
  EXPECT_EQ(plugin_->Get(st, false), kPlainHeader + "}");
  EXPECT_EQ(plugin_->Get(st, true), kPlainHeader + "}");
  host_->Release(st);
}

TEST_F(RTFExport, EveryRunMissingGivesNothing) {
  simhost::Options options;
  options.withheld = {kStyleRunMethod};
  Start(options);
  REALobject st = Make({Text("abc"), Text("def")});
  const size_t strings = host_->LiveStrings(), objects = host_->LiveObjects();
  EXPECT_TRUE(ExportsNull(st, false));
  EXPECT_TRUE(ExportsNull(st, true));
  EXPECT_EQ(host_->LiveStrings(), strings);
  EXPECT_EQ(host_->LiveObjects(), objects);
  host_->Release(st);
}

TEST_F(RTFExport, HandlesAfterTheGetter) {
  Start();
  std::vector<RunRecipe> runs;
  for (int i = 0; i < 300; ++i)
    runs.push_back(Styled("run " + std::to_string(i) + "\r", i % 3 ? "Arial" : "Courier",
                          10 + i % 4, static_cast<uint32_t>(i % 5) * 0x101010u, i % 2 != 0));
  REALobject st = Make(runs);
  const size_t paragraphs = host_->ParagraphsOf(st).size();
  ASSERT_EQ(paragraphs, 300u);
  const size_t strings = host_->LiveStrings(), objects = host_->LiveObjects();

  REALstring rtf = plugin_->GetRaw(st, false);
  ASSERT_NE(rtf, nullptr);
  EXPECT_EQ(host_->RefCount(rtf), 1);
  EXPECT_EQ(host_->LiveStrings(), strings + 1);
  host_->Release(rtf);
  EXPECT_EQ(host_->LiveStrings(), strings);
  // The getter gives back every Paragraph but none of the StyleRuns it fetched.
  EXPECT_EQ(host_->LiveObjects(), objects + runs.size());
  EXPECT_EQ(host_->LiveStringData(), 0u);

  rtf = plugin_->GetRaw(st, true);
  ASSERT_NE(rtf, nullptr);
  host_->Release(rtf);
  EXPECT_EQ(host_->LiveStrings(), strings);
  EXPECT_EQ(host_->LiveObjects(), objects + 2 * runs.size());
  host_->Release(st);
}

TEST_F(RTFExport, ReferencesBalanceAcrossManyRuns) {
  Start();
  std::vector<RunRecipe> runs;
  for (int i = 0; i < 5000; ++i) runs.push_back(Styled("w", i % 2 ? "A" : "B", 9, 0, i % 2 == 0));
  REALobject st = Make(runs);
  const size_t strings = host_->LiveStrings();
  host_->ResetCounters();
  REALstring rtf = plugin_->GetRaw(st, false);
  ASSERT_NE(rtf, nullptr);
  // Every reference the getter took or was given was given back; only the document is new.
  EXPECT_EQ(host_->Calls("REALLockString") + host_->Calls("REALGetPropValueString"),
            host_->Calls("REALUnlockString"));
  EXPECT_EQ(host_->Calls("REALGetPropValueString"), 2u * runs.size());
  EXPECT_EQ(host_->LiveStrings(), strings + 1);
  host_->Release(rtf);
  EXPECT_EQ(host_->LiveStrings(), strings);
  host_->Release(st);
}

TEST_F(RTFExport, UTF16FontNameIsReadAsItsName) {
  Start();
  RunRecipe tagged = Styled("a", NativeUTF16("Arial"), 0, 0);
  tagged.fontEncoding = kREALTextEncodingUTF16;
  const std::string expected =
      "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Arial;}}{\\colortbl\\red0\\green0\\blue0;}"
      "\\uc0 \\f0 a}";
  EXPECT_EQ(Export({tagged}), expected);

  // The same bytes labelled as UTF-8: the zero bytes give them away as UTF-16.
  RunRecipe mislabelled = Styled("a", NativeUTF16("Arial"), 0, 0);
  mislabelled.fontEncoding = kREALTextEncodingUTF8;
  host_->ResetCounters();
  EXPECT_EQ(Export({mislabelled}), expected);
  EXPECT_EQ(host_->Calls("REALConvertString"), 1u);
}

TEST_F(RTFExport, FontNameWithoutZeroBytesIsKept) {
  Start();
  RunRecipe latin1 = Styled("a", "Caf\xE9", 0, 0);
  latin1.fontEncoding = kREALTextEncodingISOLatin1;
  host_->ResetCounters();
  EXPECT_EQ(
      Export({latin1, Styled("b", "Z\xC3\xA9ro", 0, 0)}),
      "{\\rtf1\\ansi\\ansicpg1252{\\fonttbl{\\f0\\fnil Caf\xC3\xA9;}{\\f1\\fnil Z\xC3\xA9ro;}}"
      "{\\colortbl\\red0\\green0\\blue0;}\\uc0 \\f0 a\\f1 b}");
  // No font string was rebuilt: the only string built is the document itself.
  EXPECT_EQ(host_->Calls("REALConvertString"), 0u);
  EXPECT_EQ(host_->Calls("REALBuildStringWithEncoding"), 1u);
}

TEST_F(RTFExport, DocumentIsAUTF8HostString) {
  Start();
  REALobject st = Make({Text("\xC3\xA9")});
  REALstring rtf = plugin_->GetRaw(st, false);
  ASSERT_NE(rtf, nullptr);
  EXPECT_EQ(host_->EncodingOf(rtf), kREALTextEncodingUTF8);
  EXPECT_EQ(host_->BytesOf(rtf), kPlainHeader + "\\u233 }");
  host_->Release(rtf);
  host_->Release(st);
}

}  // namespace
