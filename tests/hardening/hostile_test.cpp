// Hostile content in both directions through the plug-in, with the host in strict mode: styled
// texts no editor would make (every UTF-16 code unit, broken UTF-8, unknown encodings, extreme
// sizes and colours, font names full of RTF delimiters or zero bytes), their documents assigned
// back, and values the setter must refuse without touching anything.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "hardening.h"

namespace hardening {
namespace {

// The frame every document of the getter has: header, tables, "\uc0 ", body, "}"; no zero byte.
void ExpectDocument(const std::string& rtf) {
  ASSERT_FALSE(rtf.empty());
  EXPECT_EQ(rtf.rfind("{\\rtf1\\ansi\\ansicpg1252{\\fonttbl", 0), 0u) << rtf.substr(0, 80);
  EXPECT_EQ(rtf.back(), '}');
  EXPECT_EQ(rtf.find('\0'), std::string::npos);
  EXPECT_NE(rtf.find("\\uc0 "), std::string::npos);
}

// The body after "\uc0 " holds only ASCII: everything else is escaped.
void ExpectASCIIBody(const std::string& rtf) {
  const size_t body = rtf.find("\\uc0 ");
  ASSERT_NE(body, std::string::npos);
  for (size_t i = body; i < rtf.size(); ++i) {
    ASSERT_LT(static_cast<uint8_t>(rtf[i]), 0x80) << "raw byte in the body at " << i;
  }
}

std::string UTF16LE(const std::vector<uint16_t>& units) {
  std::string bytes;
  for (uint16_t u : units) {
    bytes += static_cast<char>(u & 0xFF);
    bytes += static_cast<char>(u >> 8);
  }
  return bytes;
}

class HostileTest : public PluginTest {
 protected:
  void TearDown() override {
    for (REALobject st : texts_) host_.Release(st);
  }

  REALobject NewText(const std::vector<simhost::RunRecipe>& runs) {
    REALobject st = host_.NewStyledText();
    for (const simhost::RunRecipe& run : runs) host_.AppendRun(st, run);
    texts_.push_back(st);
    return st;
  }

  // Exports, checks the document, assigns it back and returns it.
  std::string RoundTrip(const std::vector<simhost::RunRecipe>& runs) {
    REALobject st = NewText(runs);
    std::string rtf = Export(st);
    ExpectDocument(rtf);
    ExpectASCIIBody(rtf);
    Import(rtf);
    std::string skipped = Export(st, true);
    ExpectDocument(skipped);
    return rtf;
  }

  std::vector<REALobject> texts_;
};

TEST_F(HostileTest, EveryUTF16CodeUnitInOneRun) {
  std::vector<uint16_t> units;
  for (uint32_t u = 1; u <= 0xFFFF; ++u) units.push_back(static_cast<uint16_t>(u));
  simhost::RunRecipe run;
  run.text = UTF16LE(units);
  run.textEncoding = kREALTextEncodingUTF16LE;
  const std::string rtf = RoundTrip({run});
  // The printable ASCII range arrives as itself, the specials escaped.
  EXPECT_NE(rtf.find("!\"#$%&'()*+,-./0123456789:;<=>?@ABC"), std::string::npos);
  EXPECT_NE(rtf.find("[\\\\]^_`abc"), std::string::npos);
  EXPECT_NE(rtf.find("z\\{|\\}~"), std::string::npos);
}

TEST_F(HostileTest, LoneSurrogatesAndReversedByteOrderMarks) {
  simhost::RunRecipe run;
  run.textEncoding = kREALTextEncodingUTF16;
  for (const std::vector<uint16_t>& units : {std::vector<uint16_t>{0xD800},
                                             {0xDC00, 0x41},
                                             {0xFFFE},
                                             {0xFFFE, 0xFEFF, 0x41},
                                             {0xFEFF, 0xFFFE},
                                             {0xDBFF, 0xDBFF, 0xDFFF}}) {
    run.text = UTF16LE(units);
    RoundTrip({run});
  }
  // An odd byte count leaves half a unit.
  run.text = std::string("A\0B", 3);
  RoundTrip({run});
}

TEST_F(HostileTest, BrokenUTF8) {
  simhost::RunRecipe run;
  for (const char* text : {"\xC3", "\xED\xA0\x80", "\xF4\x90\x80\x80", "\xFF\xFE", "a\xC0\xAFz",
                           "\xE0\x80\x80", "\xF8\x88\x80\x80\x80", "ok\xF0\x9F\x98"}) {
    run.text = text;
    RoundTrip({run});
  }
}

TEST_F(HostileTest, TextsInEncodingsThatAreNotReal) {
  simhost::RunRecipe run;
  run.text = "caf\xE9 \x80\x81\xFF";
  for (simhost::Encoding encoding :
       {kREALTextEncodingUnknown, 0x12345678u, 0xFFFFFFFFu, 0x0C000100u, 0x1C000100u}) {
    run.textEncoding = encoding;
    RoundTrip({run});
  }
}

TEST_F(HostileTest, ExtremeSizesAndColours) {
  std::vector<simhost::RunRecipe> runs;
  for (int64_t size : {std::numeric_limits<int64_t>::max(), std::numeric_limits<int64_t>::min(),
                       int64_t{-3}, int64_t{1} << 31, int64_t{1073741823}, int64_t{0}}) {
    for (uint32_t color : {0xFFFFFFFFu, 0xFF000000u, 0x00FFFFFFu, 0u}) {
      simhost::RunRecipe run;
      run.text = "x";
      run.size = size;
      run.color = color;
      run.bold = (color & 1) != 0;
      runs.push_back(run);
    }
  }
  const std::string rtf = RoundTrip(runs);
  // Colours that differ only in their high byte are separate entries.
  EXPECT_NE(rtf.find("\\red255\\green255\\blue255;\\red0\\green0\\blue0;"), std::string::npos);
}

TEST_F(HostileTest, FontNamesWithDelimitersZeroBytesAndNoEnd) {
  std::vector<simhost::RunRecipe> runs;
  for (const std::string& font :
       {std::string("}{\\;"), std::string("\\par"), std::string("\0", 1), std::string("A\0", 2),
        std::string("A\0B", 3), std::string("x\r\ny"), std::string(70000, 'F'), std::string(),
        std::string("\xFF\xFE")}) {
    simhost::RunRecipe run;
    run.text = "t";
    run.font = font;
    runs.push_back(run);
  }
  simhost::RunRecipe utf16;
  utf16.text = "u";
  utf16.font = UTF16LE({0x41, 0xD800, 0x42});
  utf16.fontEncoding = kREALTextEncodingUTF16;
  runs.push_back(utf16);
  RoundTrip(runs);
}

TEST_F(HostileTest, RunsWithoutTextAndWithoutParagraphs) {
  simhost::RunRecipe empty;
  std::vector<simhost::RunRecipe> runs(2000, empty);
  REALobject st = NewText(runs);
  // No character, so no paragraph: no document, and no run fetched.
  EXPECT_EQ(Export(st), "");
  simhost::RunRecipe text;
  text.text = "end";
  host_.AppendRun(st, text);
  const std::string rtf = Export(st);
  ExpectDocument(rtf);
  EXPECT_NE(rtf.find("end}"), std::string::npos);
}

TEST_F(HostileTest, ValuesThatAreNotRTFLeaveTheTextEmpty) {
  REALobject st = NewText({});
  simhost::RunRecipe before;
  before.text = "kept until the assignment";
  host_.AppendRun(st, before);
  for (const std::string& value :
       {std::string(), std::string("{\\rtf"), std::string("{\\rtf1"), std::string("{\\RTF1 x}"),
        std::string("\xEF\xBB\xBF{\\rtf1 x}"), std::string(" {\\rtf1 x}"),
        UTF16LE({'{', '\\', 'r', 't', 'f', '1', ' ', 'x', '}'})}) {
    plugin_.Set(st, value);
    EXPECT_TRUE(host_.RunsOf(st).empty()) << value;
    host_.AppendRun(st, before);
  }
  // A null string: the text is emptied too.
  plugin_.SetRaw(st, false, nullptr);
  EXPECT_TRUE(host_.RunsOf(st).empty());
  EXPECT_EQ(host_.LiveStringData(), 0u);
}

TEST_F(HostileTest, DocumentsLabelledWithAnyEncodingAreReadAsBytes) {
  const std::string rtf = "{\\rtf1 plain \\b bold}";
  for (simhost::Encoding encoding :
       {kREALTextEncodingUTF8, kREALTextEncodingUnknown, kREALTextEncodingUTF16,
        kREALTextEncodingUTF32, kREALTextEncodingMacRoman, 0x12345678u}) {
    const std::vector<simhost::Run> runs = Import(rtf, encoding);
    ASSERT_EQ(runs.size(), 2u) << encoding;
    EXPECT_EQ(runs[0].text, "plain ");
    EXPECT_EQ(runs[1].text, "bold");
    EXPECT_TRUE(runs[1].bold);
  }
}

TEST_F(HostileTest, AssigningAgainReplacesEverything) {
  REALobject st = NewText({});
  const size_t strings = host_.LiveStrings();
  for (int i = 0; i < 3; ++i) {
    plugin_.Set(st, "{\\rtf1\\qc centre\\par \\ql left\\par}");
    ASSERT_EQ(host_.RunsOf(st).size(), 2u);
    plugin_.Set(st, "{\\rtf1 \\u8364?\\u8364?}");
    ASSERT_EQ(host_.RunsOf(st).size(), 2u);
    EXPECT_EQ(TextOf(host_.RunsOf(st)), "\xE2\x82\xAC\xE2\x82\xAC");
  }
  EXPECT_EQ(host_.LiveStrings(), strings);
}

}  // namespace
}  // namespace hardening
