// StyledText, StyleRun, Paragraph and the exception classes of the simulated host, reached the
// way the plug-in reaches them: properties through the dynamic property services, methods
// through "REALLoadObjectMethod".
#include <gtest/gtest.h>

#include "services.h"
#include "simhost/host.h"

namespace {

using namespace simhost_test;
using simhost::FontProperty;
using simhost::Host;
using simhost::Options;
using simhost::Paragraph;
using simhost::ParagraphRule;
using simhost::RunRecipe;

RunRecipe Text(const std::string& utf8) {
  RunRecipe run;
  run.text = utf8;
  return run;
}

std::vector<Paragraph> P(std::initializer_list<Paragraph> list) {
  return list;
}

// The paragraphs of one text appended as a single run.
std::vector<Paragraph> ParagraphsOfText(const std::string& text, ParagraphRule rule) {
  Options options;
  options.paragraphRule = rule;
  Host host(options);
  REALobject st = host.NewStyledText();
  if (!text.empty()) host.AppendRun(st, Text(text));
  std::vector<Paragraph> paragraphs = host.ParagraphsOf(st);
  EXPECT_EQ(IntegerProperty(st, "ParagraphCount"), static_cast<int64_t>(paragraphs.size()));
  host.Release(st);
  return paragraphs;
}

TEST(SimhostParagraphs, DocumentedRuleDropsTheEmptyTail) {
  const auto rule = ParagraphRule::kDocumented;
  EXPECT_EQ(ParagraphsOfText("", rule), P({}));
  EXPECT_EQ(ParagraphsOfText("abc", rule), P({{0, 3, 0}}));
  EXPECT_EQ(ParagraphsOfText("abc\r", rule), P({{0, 3, 0}}));
  EXPECT_EQ(ParagraphsOfText("abc\rd", rule), P({{0, 3, 0}, {4, 5, 0}}));
  EXPECT_EQ(ParagraphsOfText("a\r\rb", rule), P({{0, 1, 0}, {2, 2, 0}, {3, 4, 0}}));
  // CR LF is one separator; a lone LF is one too.
  EXPECT_EQ(ParagraphsOfText("ab\r\ncd\nef", rule), P({{0, 2, 0}, {4, 6, 0}, {7, 9, 0}}));
  EXPECT_EQ(ParagraphsOfText("a\n\r", rule), P({{0, 1, 0}, {2, 2, 0}}));
  // Positions count characters, not bytes.
  EXPECT_EQ(ParagraphsOfText("\u00E9\U0001F600\rx", rule), P({{0, 2, 0}, {3, 4, 0}}));
}

TEST(SimhostParagraphs, SeparatorsPlusOneRuleKeepsTheEmptyTail) {
  const auto rule = ParagraphRule::kSeparatorsPlusOne;
  EXPECT_EQ(ParagraphsOfText("", rule), P({{0, 0, 0}}));
  EXPECT_EQ(ParagraphsOfText("abc", rule), P({{0, 3, 0}}));
  EXPECT_EQ(ParagraphsOfText("abc\r", rule), P({{0, 3, 0}, {4, 4, 0}}));
  EXPECT_EQ(ParagraphsOfText("a\r\rb", rule), P({{0, 1, 0}, {2, 2, 0}, {3, 4, 0}}));
  EXPECT_EQ(ParagraphsOfText("ab\r\n", rule), P({{0, 2, 0}, {4, 4, 0}}));
}

TEST(SimhostParagraphs, CrLfSplitOverTwoRunsIsOneSeparator) {
  Host host;
  REALobject st = host.NewStyledText();
  host.AppendRun(st, Text("ab\r"));
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 2, 0}}));
  host.AppendRun(st, Text("\ncd"));
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 2, 0}, {4, 6, 0}}));
  // Removing the last run leaves the CR alone again.
  Method<IndexActionFn>(st, kRemoveStyleRun)(st, 1);
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 2, 0}}));
  host.AppendRun(st, Text("x"));
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 2, 0}, {3, 4, 0}}));
  host.Release(st);
}

TEST(SimhostParagraphs, AlignmentsStayWithTheirParagraphIndex) {
  Host host;
  REALobject st = host.NewStyledText();
  auto align = Method<IndexSetterFn>(st, kParagraphAlignment);
  ASSERT_NE(align, nullptr);
  host.AppendRun(st, Text("one\r"));
  align(st, 0, 2);
  align(st, 1, 3);  // no paragraph 1 yet: ignored
  align(st, -1, 3);
  host.AppendRun(st, Text("two\rthree"));
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 3, 2}, {4, 7, 0}, {8, 13, 0}}));
  align(st, 2, 1);
  // Removing a run in the middle moves the text after it.
  host.AppendRun(st, Text("\rfour"));
  Method<IndexActionFn>(st, kRemoveStyleRun)(st, 1);
  EXPECT_EQ(host.TextOf(st), "one\r\rfour");
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 3, 2}, {4, 4, 0}, {5, 9, 1}}));
  // Paragraphs that disappear lose their alignment; when they come back they are new.
  Method<IndexActionFn>(st, kRemoveStyleRun)(st, 1);
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 3, 2}}));
  host.AppendRun(st, Text("a\rb"));
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 3, 2}, {4, 5, 0}, {6, 7, 0}}));
  host.Release(st);
}

TEST(SimhostStyledText, StyleRunReturnsADetachedCopy) {
  Host host;
  REALobject st = host.NewStyledText();
  RunRecipe given = Text("Hello");
  given.font = "Helvetica";
  given.size = 12;
  given.color = 0xFF112233;
  given.bold = true;
  host.AppendRun(st, given);
  EXPECT_EQ(IntegerProperty(st, "StyleRunCount"), 1);

  auto styleRun = Method<IndexGetterFn>(st, kStyleRun);
  ASSERT_NE(styleRun, nullptr);
  EXPECT_EQ(styleRun(st, 1), nullptr);
  EXPECT_EQ(styleRun(st, -1), nullptr);
  REALobject run = styleRun(st, 0);
  ASSERT_NE(run, nullptr);
  EXPECT_EQ(host.ClassOf(run), "StyleRun");
  EXPECT_EQ(host.RefCount(run), 1);

  REALstring text = nullptr, font = nullptr;
  auto getString = Service<GetStringPropFn>("REALGetPropValueString");
  ASSERT_TRUE(getString(run, "Text", &text));
  ASSERT_TRUE(getString(run, "Font", &font));
  EXPECT_EQ(host.UTF8Of(text), "Hello");
  EXPECT_EQ(host.UTF8Of(font), "Helvetica");
  EXPECT_EQ(IntegerProperty(run, "Size"), 12);
  RBColor color = 0;
  EXPECT_TRUE(Service<GetColorPropFn>("REALGetPropValueColor")(run, "TextColor", &color));
  EXPECT_EQ(color, 0xFF112233u);
  RBBoolean bold = 0, italic = 1;
  EXPECT_TRUE(Service<GetBoolPropFn>("REALGetPropValueBool")(run, "Bold", &bold));
  EXPECT_TRUE(Service<GetBoolPropFn>("REALGetPropValueBool")(run, "Italic", &italic));
  EXPECT_EQ(bold, 1);
  EXPECT_EQ(italic, 0);

  // Changing the copy does not change the text.
  EXPECT_TRUE(Service<SetBoolPropFn>("REALSetPropValueBoolean")(run, "Bold", 0));
  EXPECT_TRUE(host.RunsOf(st)[0].bold);

  host.Release(text);
  host.Release(font);
  host.Release(run);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), 0u);
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.Calls(kStyleRun), 3u);
}

TEST(SimhostStyledText, AppendStyleRunStoresTheTextAsUnicode) {
  Host host;
  REALobject st = host.NewStyledText();
  auto newInstance = Service<NewInstanceFn>("PluginNewInstance");
  auto setString = Service<SetStringPropFn>("REALSetPropValueString");
  REALobject run = newInstance("StyleRun");
  ASSERT_NE(run, nullptr);
  REALstring text = host.NewString("Caf\xE9\r", kREALTextEncodingWindowsLatin1);
  REALstring font = host.NewString("Gen\x8Fva", kREALTextEncodingMacRoman);
  EXPECT_TRUE(setString(run, "Text", text));
  EXPECT_TRUE(setString(run, "FontName", font));
  host.Release(text);  // the run keeps its own copy
  host.Release(font);
  EXPECT_TRUE(Service<SetIntegerPropFn>("REALSetPropValueInteger")(run, "Size", 14));
  EXPECT_TRUE(Service<SetUInt32PropFn>("REALSetPropValueUInt32")(run, "TextColor", 0x80FF0000));
  EXPECT_TRUE(Service<SetBoolPropFn>("REALSetPropValueBoolean")(run, "Underline", 7));

  auto append = Method<ObjectActionFn>(st, kAppendStyleRun);
  ASSERT_NE(append, nullptr);
  append(st, run);
  append(st, nullptr);  // nothing to append
  host.Release(run);

  ASSERT_EQ(host.RunsOf(st).size(), 1u);
  simhost::Run expected{"Caf\u00E9\r", "Gen\u00E8va", 14, 0x80FF0000, false, false, true};
  EXPECT_EQ(host.RunsOf(st)[0], expected);
  EXPECT_EQ(host.ParagraphsOf(st), P({{0, 4, 0}}));

  // What the text holds now is UTF-8.
  REALobject copy = Method<IndexGetterFn>(st, kStyleRun)(st, 0);
  REALstring stored = nullptr;
  ASSERT_TRUE(Service<GetStringPropFn>("REALGetPropValueString")(copy, "Text", &stored));
  EXPECT_EQ(host.EncodingOf(stored), kREALTextEncodingUTF8);
  EXPECT_EQ(host.BytesOf(stored), "Caf\xC3\xA9\r");
  host.Release(stored);
  host.Release(copy);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), 0u);
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.Misuses(), 0u);
}

TEST(SimhostStyledText, RunsKeepTheBytesTheyWereGivenThroughTheHost) {
  Host host;
  REALobject st = host.NewStyledText();
  RunRecipe given;
  given.text = "\x8E";  // e acute in Mac Roman
  given.textEncoding = kREALTextEncodingMacRoman;
  given.font = std::string("A\0r\0", 4);
  given.fontEncoding = kREALTextEncodingUTF16LE;
  host.AppendRun(st, given);
  host.AppendRun(st, Text("x"));  // no font: null
  REALobject run = Method<IndexGetterFn>(st, kStyleRun)(st, 0);
  REALstring text = nullptr, font = nullptr;
  auto getString = Service<GetStringPropFn>("REALGetPropValueString");
  ASSERT_TRUE(getString(run, "Text", &text));
  ASSERT_TRUE(getString(run, "FontName", &font));
  EXPECT_EQ(host.BytesOf(text), "\x8E");
  EXPECT_EQ(host.EncodingOf(text), kREALTextEncodingMacRoman);
  EXPECT_EQ(host.BytesOf(font), std::string("A\0r\0", 4));
  EXPECT_EQ(host.RunsOf(st)[0].font, "Ar");
  EXPECT_EQ(host.TextOf(st), "\u00E9x");
  REALobject second = Method<IndexGetterFn>(st, kStyleRun)(st, 1);
  REALstring noFont = host.NewStringUTF8("untouched");
  ASSERT_TRUE(getString(second, "Font", &noFont));
  EXPECT_EQ(noFont, nullptr);
  for (REALstring s : {text, font}) host.Release(s);
  for (REALobject o : {run, second, st}) host.Release(o);
  EXPECT_EQ(host.LiveStrings(), 1u);  // "untouched", overwritten by the getter without release
}

TEST(SimhostStyledText, FontPropertyFollowsTheHostGeneration) {
  for (FontProperty f : {FontProperty::kFont, FontProperty::kFontName, FontProperty::kBoth}) {
    Options options;
    options.fontProperty = f;
    Host host(options);
    REALobject run = host.NewObject("StyleRun");
    REALstring name = host.NewStringUTF8("Arial");
    auto setString = Service<SetStringPropFn>("REALSetPropValueString");
    EXPECT_EQ(setString(run, "Font", name) != 0, f != FontProperty::kFontName);
    EXPECT_EQ(setString(run, "FontName", name) != 0, f != FontProperty::kFont);
    // Size is answered under both names in every generation.
    EXPECT_TRUE(Service<SetIntegerPropFn>("REALSetPropValueInteger")(run, "FontSize", 9));
    EXPECT_EQ(IntegerProperty(run, "Size"), 9);
    host.Release(name);
    host.Release(run);
  }
}

TEST(SimhostStyledText, UnknownPropertiesFailAndLeaveTheOutputAlone) {
  Host host;
  REALobject st = host.NewStyledText();
  REALobject run = host.NewObject("StyleRun");
  RBInteger integer = 77;
  RBBoolean boolean = 5;
  RBColor color = 99;
  REALstring string = reinterpret_cast<REALstring>(&integer);
  EXPECT_FALSE(Service<GetIntegerPropFn>("REALGetPropValueInteger")(st, "Count", &integer));
  EXPECT_FALSE(Service<GetIntegerPropFn>("REALGetPropValueInteger")(run, "Bold", &integer));
  EXPECT_FALSE(Service<GetBoolPropFn>("REALGetPropValueBool")(run, "Size", &boolean));
  EXPECT_FALSE(Service<GetColorPropFn>("REALGetPropValueColor")(st, "TextColor", &color));
  EXPECT_FALSE(Service<GetStringPropFn>("REALGetPropValueString")(run, "Name", &string));
  EXPECT_FALSE(Service<GetIntegerPropFn>("REALGetPropValueInteger")(nullptr, "Size", &integer));
  EXPECT_EQ(integer, 77);
  EXPECT_EQ(boolean, 5);
  EXPECT_EQ(color, 99u);
  EXPECT_EQ(string, reinterpret_cast<REALstring>(&integer));
  // Counts are read-only.
  EXPECT_FALSE(Service<SetIntegerPropFn>("REALSetPropValueInteger")(st, "StyleRunCount", 3));
  EXPECT_EQ(host.Misuses(), 0u);
  host.Release(run);
  host.Release(st);
}

TEST(SimhostStyledText, ParagraphObjectsAnswerBothPropertyGenerations) {
  Host host;
  REALobject st = host.NewStyledText();
  host.AppendRun(st, Text("ab\rcde"));
  host.SetParagraphAlignment(st, 1, 3);
  auto paragraph = Method<IndexGetterFn>(st, kParagraph);
  ASSERT_NE(paragraph, nullptr);
  EXPECT_EQ(paragraph(st, 2), nullptr);
  REALobject p = paragraph(st, 1);
  ASSERT_NE(p, nullptr);
  EXPECT_EQ(host.ClassOf(p), "Paragraph");
  EXPECT_EQ(IntegerProperty(p, "StartPos"), 3);
  EXPECT_EQ(IntegerProperty(p, "StartPosition"), 3);
  EXPECT_EQ(IntegerProperty(p, "EndPos"), 6);
  EXPECT_EQ(IntegerProperty(p, "EndPosition"), 6);
  EXPECT_EQ(IntegerProperty(p, "Alignment"), 3);
  EXPECT_EQ(IntegerProperty(p, "TextAlignment"), 3);
  EXPECT_EQ(IntegerProperty(p, "Length"), 3);
  EXPECT_FALSE(Service<SetIntegerPropFn>("REALSetPropValueInteger")(p, "Alignment", 1));
  host.Release(p);
  host.Release(st);
  EXPECT_EQ(host.LiveObjects(), 0u);
}

TEST(SimhostStyledText, MethodLookupIsExactSharedAndWithholdable) {
  Host host;
  REALobject a = host.NewStyledText(), b = host.NewStyledText();
  REALobject run = host.NewObject("StyleRun");
  for (const char* declaration :
       {kStyleRun, kParagraph, kRemoveStyleRun, kAppendStyleRun, kParagraphAlignment}) {
    void* forA = Method<void*>(a, declaration);
    EXPECT_NE(forA, nullptr) << declaration;
    EXPECT_EQ(Method<void*>(b, declaration), forA) << declaration;
    EXPECT_EQ(Method<void*>(run, declaration), nullptr) << declaration;
    EXPECT_EQ(host.Lookups(declaration), 3u);
  }
  EXPECT_EQ(Method<void*>(a, "StyleRun(index as integer) as StyleRun"), nullptr);
  EXPECT_EQ(Method<void*>(nullptr, kStyleRun), nullptr);
  EXPECT_EQ(host.Calls("REALLoadObjectMethod"), 17u);

  host.options().withheld.insert(kParagraphAlignment);
  EXPECT_EQ(Method<void*>(a, kParagraphAlignment), nullptr);
  EXPECT_NE(Method<void*>(a, kParagraph), nullptr);
  EXPECT_EQ(host.Misuses(), 0u);
  for (REALobject o : {a, b, run}) host.Release(o);
}

TEST(SimhostStyledText, MethodsOnReleasedObjectsAreMisuse) {
  Host host;
  REALobject st = host.NewStyledText();
  auto styleRun = Method<IndexGetterFn>(st, kStyleRun);
  host.Release(st);
  EXPECT_EQ(styleRun(st, 0), nullptr);
  EXPECT_EQ(host.Misuses(), 1u);
  EXPECT_EQ(Method<void*>(st, kStyleRun), nullptr);
  EXPECT_EQ(host.Misuses(), 2u);
}

TEST(SimhostObjects, ExceptionsAreRecordedWhenRaised) {
  Host host;
  auto newInstance = Service<NewInstanceFn>("PluginNewInstance");
  auto raise = Service<ObjectFn>("RuntimeRaiseException");
  EXPECT_EQ(newInstance("NoSuchClass"), nullptr);
  EXPECT_EQ(newInstance(nullptr), nullptr);

  REALobject e = newInstance("OutOfBoundsException");
  ASSERT_NE(e, nullptr);
  REALstring message = host.NewStringUTF8("C++ reports range error.");
  EXPECT_TRUE(Service<SetStringPropFn>("REALSetPropValueString")(e, "Message", message));
  host.Release(message);
  EXPECT_TRUE(Service<SetIntegerPropFn>("REALSetPropValueInteger")(e, "ErrorNumber", 4));
  raise(e);
  host.Release(e);

  REALobject bare = newInstance("RuntimeException");
  raise(bare);
  EXPECT_TRUE(Service<SetStringPropFn>("REALSetPropValueString")(bare, "Message", nullptr));
  raise(bare);
  host.Release(bare);
  raise(nullptr);  // nothing

  ASSERT_EQ(host.Exceptions().size(), 3u);
  EXPECT_EQ(host.Exceptions()[0].className, "OutOfBoundsException");
  EXPECT_EQ(host.Exceptions()[0].message, std::optional<std::string>("C++ reports range error."));
  EXPECT_EQ(host.Exceptions()[0].errorNumber, 4);
  EXPECT_EQ(host.Exceptions()[1].className, "RuntimeException");
  EXPECT_FALSE(host.Exceptions()[1].message.has_value());
  EXPECT_FALSE(host.Exceptions()[2].message.has_value());

  REALobject run = newInstance("StyleRun");
  raise(run);  // the IDE would crash
  EXPECT_EQ(host.Misuses(), 1u);
  EXPECT_EQ(host.Exceptions().size(), 3u);
  host.Release(run);
  host.ClearExceptions();
  EXPECT_TRUE(host.Exceptions().empty());
  EXPECT_EQ(host.LiveObjects(), 0u);
  EXPECT_EQ(host.LiveStrings(), 0u);
}

TEST(SimhostStyledText, ManyRunsAppendAndRemove) {
  // A document's worth of runs, with the paragraph count read after every append.
  Host host;
  REALobject st = host.NewStyledText();
  auto append = Method<ObjectActionFn>(st, kAppendStyleRun);
  REALobject run = host.NewObject("StyleRun");
  REALstring text = host.NewStringUTF8("word\r");
  Service<SetStringPropFn>("REALSetPropValueString")(run, "Text", text);
  for (int i = 0; i < 20000; ++i) {
    append(st, run);
    ASSERT_EQ(IntegerProperty(st, "ParagraphCount"), i + 1);
  }
  EXPECT_EQ(host.ParagraphsOf(st).back(), (Paragraph{99995, 99999, 0}));
  auto remove = Method<IndexActionFn>(st, kRemoveStyleRun);
  for (int i = 19999; i >= 0; --i) remove(st, i);
  EXPECT_EQ(IntegerProperty(st, "StyleRunCount"), 0);
  EXPECT_EQ(IntegerProperty(st, "ParagraphCount"), 0);
  host.Release(text);
  host.Release(run);
  host.Release(st);
}

}  // namespace
