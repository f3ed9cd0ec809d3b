// New StyleRun objects and their property setters, including the "Font" / "FontName" fallback
// and the read-back that happens only while debugging.
#include <gtest/gtest.h>

#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "bridge/host_string_read.h"
#include "bridge/style_run.h"
#include "bridge/styled_text.h"
#include "bridge_fixture.h"

namespace {

using namespace bridge_test;  // the fixture, the host and its log helpers

class StyleRunProperties : public BridgeTest {
 protected:
  bool BoolOf(REALobject run, const char* name) {
    bool value = false;
    EXPECT_TRUE(REALGetPropValueBoolean(run, name, &value)) << name;
    return value;
  }
  std::string StringOf(REALobject run, const char* name) {
    REALstring value = nullptr;
    if (!REALGetPropValueString(run, name, &value)) return "<unreadable>";
    std::string text = GetStringInUTF8(value);
    if (value != nullptr) host.Release(value);
    return text;
  }
};

TEST_F(StyleRunProperties, NewStyleRunIsAStyleRunOwnedByTheCaller) {
  REALobject run = NewStyleRun();
  ASSERT_NE(run, nullptr);
  EXPECT_EQ(host.ClassOf(run), "StyleRun");
  EXPECT_EQ(host.RefCount(run), 1);
  REALUnlockObject(run);
  EXPECT_EQ(host.LiveObjects(), startObjects);
}

TEST_F(StyleRunProperties, BooleansAreSetFromAnyNonZeroValue) {
  REALobject run = NewStyleRun();
  StyleRunSetBold(run, -1);
  StyleRunSetItalic(run, 2);
  StyleRunSetUnderline(run, 1);
  EXPECT_TRUE(BoolOf(run, "Bold"));
  EXPECT_TRUE(BoolOf(run, "Italic"));
  EXPECT_TRUE(BoolOf(run, "Underline"));
  StyleRunSetBold(run, 0);
  StyleRunSetItalic(run, 0);
  StyleRunSetUnderline(run, 0);
  EXPECT_FALSE(BoolOf(run, "Bold"));
  EXPECT_FALSE(BoolOf(run, "Italic"));
  EXPECT_FALSE(BoolOf(run, "Underline"));
  EXPECT_EQ(host.Calls("REALSetPropValueBoolean"), 6u);
  REALUnlockObject(run);
}

TEST_F(StyleRunProperties, ColourAndSizeArePassedUnchanged) {
  REALobject run = NewStyleRun();
  StyleRunSetTextColor(run, 0xFFFF8000u);
  StyleRunSetSize(run, 14);
  uint32_t color = 0;
  EXPECT_TRUE(REALGetPropValueColor(run, "TextColor", &color));
  EXPECT_EQ(color, 0xFFFF8000u);
  int64_t size = 0;
  EXPECT_TRUE(REALGetPropValueInteger(run, "Size", &size));
  EXPECT_EQ(size, 14);
  EXPECT_EQ(host.Calls("REALSetPropValueUInt32"), 1u);
  EXPECT_EQ(host.Calls("REALSetPropValueInteger"), 1u);
  REALUnlockObject(run);
}

TEST_F(StyleRunProperties, SettersLogTheirNameAndValue) {
  REALobject run = NewStyleRun();
  Log log = LogOf(host, [&] {
    StyleRunSetBold(run, -1);
    StyleRunSetItalic(run, 0);
    StyleRunSetUnderline(run, 5);
    StyleRunSetTextColor(run, 0xFF8000u);
    StyleRunSetSize(run, -3);
  });
  EXPECT_EQ(log, (Log{Line("StyleRunSetBold -1"), Line("StyleRunSetItalic 0"),
                      Line("StyleRunSetUnderline 5"), Line("StyleRunSetTextColor 16744448"),
                      Line("StyleRunSetSize -3")}));
  EXPECT_EQ(host.Calls("REALGetPropValueBool"), 0u) << "nothing is read back";
  REALUnlockObject(run);
}

TEST_F(StyleRunProperties, NullRunReachesNoHostService) {
  REALstring name = host.NewStringUTF8("Arial");
  host.ResetCounters();
  Log log = LogOf(host, [&] {
    StyleRunSetBold(nullptr, 1);
    StyleRunSetItalic(nullptr, 1);
    StyleRunSetUnderline(nullptr, 1);
    StyleRunSetTextColor(nullptr, 7);
    StyleRunSetSize(nullptr, 9);
    StyleRunSetFontName(nullptr, name);
  });
  EXPECT_EQ(log,
            (Log{Line("StyleRunSetBold 1"), Line("StyleRun is nil in StyleRunSetBold"),
                 Line("StyleRunSetItalic 1"), Line("StyleRun is nil in StyleRunSetItalic"),
                 Line("StyleRunSetUnderline 1"), Line("StyleRun is nil in StyleRunSetUnderline"),
                 Line("StyleRunSetTextColor 7"), Line("StyleRun is nil in StyleRunSetTextColor"),
                 Line("StyleRunSetSize 9"), Line("StyleRun is nil in StyleRunSetSize"),
                 HandleLine("StyleRunSetFontName", name, "Arial"), Line("LengthUTF8 5"),
                 Line("StyleRun is nil in StyleRunSetFontName")}));
  for (const char* service : {"REALSetPropValueBoolean", "REALSetPropValueUInt32",
                              "REALSetPropValueInteger", "REALSetPropValueString"}) {
    EXPECT_EQ(host.Calls(service), 0u) << service;
  }
  host.Release(name);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(StyleRunProperties, FailedSetsAreLogged) {
  // An object that has none of the run's properties.
  REALobject notARun = host.NewObject("RuntimeException");
  Log log = LogOf(host, [&] {
    StyleRunSetBold(notARun, 1);
    StyleRunSetItalic(notARun, 1);
    StyleRunSetUnderline(notARun, 1);
    StyleRunSetTextColor(notARun, 1);
    StyleRunSetSize(notARun, 1);
  });
  EXPECT_EQ(log, (Log{Line("StyleRunSetBold 1"), Line("Failed to set Bold property."),
                      Line("StyleRunSetItalic 1"), Line("Failed to set Italic property."),
                      Line("StyleRunSetUnderline 1"), Line("Failed to set Underline property."),
                      Line("StyleRunSetTextColor 1"), Line("Failed to set TextColor property."),
                      Line("StyleRunSetSize 1"), Line("Failed to set Size property.")}));
  host.Release(notARun);
}

// Setting the font name on a host with "Font" (one call) or with only "FontName" (a failed
// "Font", then "FontName"), debugging off.
struct FontCase {
  const char* name;
  simhost::FontProperty property;
  const char* font;
  uint64_t setCalls;
  const char* setProperty;
};

// Cases show as their names in test listings.
void PrintTo(const FontCase& c, std::ostream* os) {
  *os << c.name;
}

const FontCase kFontCases[] = {
    {"FontIsSetWithOneCallWhenTheHostHasFont", simhost::FontProperty::kFont, "Gen\xC3\xA8va", 1,
     "Font"},
    {"FontNameIsTheFallbackWhenFontIsMissing", simhost::FontProperty::kFontName, "Arial", 2,
     "FontName"},
};

class FontNameSetting : public StyleRunProperties, public testing::WithParamInterface<FontCase> {};

TEST_P(FontNameSetting, IsSetQuietly) {
  host.options().fontProperty = GetParam().property;
  REALobject run = NewStyleRun();
  REALstring name = host.NewStringUTF8(GetParam().font);
  host.ResetCounters();
  Log log = QuietLogOf(host, [&] { StyleRunSetFontName(run, name); });
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(host.Calls("REALSetPropValueString"), GetParam().setCalls);
  EXPECT_EQ(host.Calls("REALGetPropValueString"), 0u);
  EXPECT_EQ(StringOf(run, GetParam().setProperty), GetParam().font);
  EXPECT_EQ(host.RefCount(name), 1) << "the caller keeps the name";
  host.Release(name);
  REALUnlockObject(run);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

INSTANTIATE_TEST_SUITE_P(StyleRunProperties, FontNameSetting, testing::ValuesIn(kFontCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(StyleRunProperties, FontIsVerifiedWhileDebugging) {
  host.options().fontProperty = simhost::FontProperty::kFont;
  REALobject run = NewStyleRun();
  REALstring name = host.NewStringUTF8("Arial");
  host.ResetCounters();
  Log log = LogOf(host, [&] { StyleRunSetFontName(run, name); });
  ASSERT_EQ(log.size(), 3u);
  EXPECT_EQ(log[0], HandleLine("StyleRunSetFontName", name, "Arial"));
  EXPECT_EQ(log[1], Line("LengthUTF8 5"));
  EXPECT_EQ(log[2].rfind(Line("fontSet 0x"), 0), 0u) << log[2];
  EXPECT_EQ(log[2].substr(log[2].size() - 7), ": Arial");
  ExpectOneReadBack();
  host.Release(name);
  REALUnlockObject(run);
  EXPECT_EQ(host.LiveStrings(), startStrings) << "the read-back string is released";
}

TEST_F(StyleRunProperties, FontNameFallbackIsVerifiedWhileDebugging) {
  host.options().fontProperty = simhost::FontProperty::kFontName;
  REALobject run = NewStyleRun();
  REALstring name = host.NewStringUTF8("Caf\xC3\xA9 Sans");
  Log log = LogOf(host, [&] { StyleRunSetFontName(run, name); });
  ASSERT_EQ(log.size(), 4u);
  EXPECT_EQ(log[0], HandleLine("StyleRunSetFontName", name, "Caf\xC3\xA9 Sans"));
  EXPECT_EQ(log[1], Line("LengthUTF8 10"));
  EXPECT_EQ(log[2], Line("Failed to set Font property, trying FontName."));
  EXPECT_EQ(log[3].rfind(Line("fontSet 0x"), 0), 0u) << log[3];
  EXPECT_EQ(log[3].substr(log[3].size() - 12), ": Caf\xC3\xA9 Sans");
  host.Release(name);
  REALUnlockObject(run);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

TEST_F(StyleRunProperties, BothFontPropertiesFailing) {
  REALobject notARun = host.NewObject("RuntimeException");
  REALstring name = host.NewStringUTF8("Arial");
  Log log = LogOf(host, [&] { StyleRunSetFontName(notARun, name); });
  EXPECT_EQ(log, (Log{HandleLine("StyleRunSetFontName", name, "Arial"), Line("LengthUTF8 5"),
                      Line("Failed to set Font property, trying FontName."),
                      Line("Failed to set FontName property.")}));
  host.ResetCounters();
  log = QuietLogOf(host, [&] { StyleRunSetFontName(notARun, name); });
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(host.Calls("REALSetPropValueString"), 2u);
  host.Release(name);
  host.Release(notARun);
}

TEST_F(StyleRunProperties, NullFontNameIsPassedOn) {
  REALobject run = NewStyleRun();
  Log log = LogOf(host, [&] { StyleRunSetFontName(run, nullptr); });
  ASSERT_GE(log.size(), 2u);
  EXPECT_EQ(log[1], Line("LengthUTF8 0"));
  EXPECT_EQ(host.Calls("REALSetPropValueString"), 1u);
  REALUnlockObject(run);
  EXPECT_EQ(host.LiveStrings(), startStrings);
}

// A host whose comparison finds every pair of strings different, so the read-back warns.
namespace differing {

constexpr char kCompareService[] = "RuntimeStringCompare";

RBInteger RBCALL CompareStrings(REALstring, REALstring) {
  return 1;
}

}  // namespace differing

TEST_F(BridgeReadBack, DifferentReadBackIsReported) {
  simhost::Options options;
  options.fontProperty = simhost::FontProperty::kFontName;
  simhost::Host host(options);
  bridge_test::ConnectLibrary();
  gResolver =
      &bridge_test::ResolveReplacing<differing::kCompareService, &differing::CompareStrings>;
  REALobject run = NewStyleRun();
  REALstring name = host.NewStringUTF8("Arial");
  Log log = LogOf(host, [&] {
    StyleRunSetFontName(run, name);
    StyleRunSetText(run, name);
  });
  ASSERT_EQ(log.size(), 7u);
  EXPECT_EQ(log[2], Line("Failed to set Font property, trying FontName."));
  EXPECT_EQ(log[3].rfind(Line("fontSet 0x"), 0), 0u) << log[3];
  // The warning names "Font" also for the FontName property.
  EXPECT_EQ(log[4].rfind(Line("Warning: Font queried is not same! 0x"), 0), 0u) << log[4];
  EXPECT_EQ(log[4].substr(log[4].size() - 7), ": Arial");
  EXPECT_EQ(log[5], Line("StyleRunSetText"));
  EXPECT_EQ(log[6].rfind(Line("text queried is not same! 0x"), 0), 0u) << log[6];
  EXPECT_EQ(log[6].substr(log[6].size() - 7), ": Arial");
  EXPECT_EQ(host.LiveStrings(), 1u) << "read-back strings released";
  host.Release(run);
  host.Release(name);
}

// Hosts without some services.

TEST_F(BridgeWithheld, NewStyleRunFailsWithoutInstanceService) {
  bridge_test::HostWithout host({"PluginNewInstance"});
  REALobject run = nullptr;
  Log log = LogOf(host, [&] { run = NewStyleRun(); });
  EXPECT_EQ(run, nullptr);
  EXPECT_EQ(log, Log{Line("NewStyleRun failed")});
  EXPECT_EQ(host.Lookups("PluginNewInstance"), 1u);
}

// Setting the font name "Arial" on a new style run with debugging on: the log, the name's
// handle and the host strings alive just after (both are released before returning).
struct ArialSetting {
  Log log;
  const void* name;
  size_t liveStrings;
};

ArialSetting SetArial(simhost::Host& host) {
  REALobject run = NewStyleRun();
  REALstring name = host.NewStringUTF8("Arial");
  ArialSetting setting{LogOf(host, [&] { StyleRunSetFontName(run, name); }), name,
                       host.LiveStrings()};
  host.Release(run);
  host.Release(name);
  return setting;
}

TEST_F(BridgeWithheld, FontVerificationWithoutGetterOrCompare) {
  {
    bridge_test::FreshEntryPoints fresh;
    HostWithout host({"REALGetPropValueString"}, kCurrentHost, simhost::FontProperty::kFont);
    const ArialSetting arial = SetArial(host);
    EXPECT_EQ(arial.log, (Log{HandleLine("StyleRunSetFontName", arial.name, "Arial"),
                              Line("LengthUTF8 5"), Line("Failed to query Font property!")}));
  }
  {
    bridge_test::FreshEntryPoints fresh;
    HostWithout host({"REALGetPropValueString"}, kCurrentHost, simhost::FontProperty::kFontName);
    const ArialSetting arial = SetArial(host);
    EXPECT_EQ(arial.log,
              (Log{HandleLine("StyleRunSetFontName", arial.name, "Arial"), Line("LengthUTF8 5"),
                   Line("Failed to set Font property, trying FontName."),
                   Line("Failed to query FontName property!")}));
  }
  {
    bridge_test::FreshEntryPoints fresh;
    HostWithout host({"RuntimeStringCompare"});
    const ArialSetting arial = SetArial(host);
    EXPECT_EQ(arial.log.size(), 3u) << "no comparison, no warning";
    EXPECT_EQ(arial.liveStrings, 1u);
  }
}

TEST_F(BridgeWithheld, WithoutPropertySettersEveryFailureIsLogged) {
  bridge_test::HostWithout host({"REALSetPropValueBoolean", "REALSetPropValueUInt32",
                                 "REALSetPropValueInteger", "REALSetPropValueString"});
  REALobject run = NewStyleRun();
  REALstring name = host.NewStringUTF8("Arial");
  Log log = LogOf(host, [&] {
    StyleRunSetBold(run, 1);
    StyleRunSetTextColor(run, 1);
    StyleRunSetSize(run, 1);
    StyleRunSetFontName(run, name);
  });
  EXPECT_EQ(log, (Log{Line("StyleRunSetBold 1"), Line("Failed to set Bold property."),
                      Line("StyleRunSetTextColor 1"), Line("Failed to set TextColor property."),
                      Line("StyleRunSetSize 1"), Line("Failed to set Size property."),
                      HandleLine("StyleRunSetFontName", name, "Arial"), Line("LengthUTF8 5"),
                      Line("Failed to set Font property, trying FontName."),
                      Line("Failed to set FontName property.")}));
  host.Release(run);
  host.Release(name);
}

}  // namespace
