// The StyledText's run storage and the handle pools under load: random appends (through the
// host's own API and through "AppendStyleRun") and removals (last run and runs in the middle)
// checked after every step against a plain list of runs, and handles checked for misuse long
// after they were released.
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "services.h"
#include "simhost/host.h"

namespace {

using namespace simhost_test;
using simhost::Encoding;
using simhost::Host;
using simhost::Paragraph;
using simhost::RunRecipe;

// Texts in UTF-8, then stored in one of several encodings.
const char* const kSamples[] = {
    "",
    "a",
    "word ",
    "\r",
    "\n",
    "\r\n",
    "line\rnext",
    "Caf\u00e9",
    "\u00e9\u00e8\u00ea",
    "\u041f\u0440\u0438\u0432\u0435\u0442",
    "\u65e5\u672c",
    "\U0001F600",
    "x\ny\r\nz",
};
const Encoding kEncodings[] = {kREALTextEncodingUTF8, kREALTextEncodingUTF16,
                               kREALTextEncodingUTF32, kREALTextEncodingWindowsLatin1,
                               kREALTextEncodingASCII};
const char* const kFonts[] = {"Arial", "Times New Roman", "A font name longer than twenty-two",
                              "\u00c9lan"};

// The paragraphs of a UTF-8 text by the host's documented rule.
std::vector<Paragraph> ParagraphsOf(const std::string& utf8) {
  std::u32string text;
  for (size_t i = 0; i < utf8.size();) {
    auto b = static_cast<unsigned char>(utf8[i]);
    int n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    char32_t c = n == 1 ? b : b & (0x7F >> n);
    for (int k = 1; k < n; ++k) c = c << 6 | (static_cast<unsigned char>(utf8[i + k]) & 0x3F);
    text.push_back(c);
    i += static_cast<size_t>(n);
  }
  std::vector<Paragraph> paragraphs;
  int64_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\r' && text[i] != '\n') continue;
    paragraphs.push_back({start, static_cast<int64_t>(i), 0});
    if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') ++i;
    start = static_cast<int64_t>(i) + 1;
  }
  if (start < static_cast<int64_t>(text.size())) {
    paragraphs.push_back({start, static_cast<int64_t>(text.size()), 0});
  }
  return paragraphs;
}

struct ModelRun {
  RunRecipe recipe;   // as stored: bytes and encodings
  simhost::Run utf8;  // as RunsOf reports it
};

class RunStorage : public ::testing::Test {
 protected:
  RunRecipe RandomRun() {
    RunRecipe run;
    std::string utf8;
    // Mostly short texts, now and then one long enough to need a text buffer of its own.
    if (rng_() % 32 == 0) {
      utf8.assign(1000 + rng_() % 70000, 'x');
      utf8[utf8.size() / 2] = '\r';
    } else {
      for (int k = static_cast<int>(rng_() % 3); k >= 0; --k) {
        utf8 += kSamples[rng_() % std::size(kSamples)];
      }
    }
    run.textEncoding = kEncodings[rng_() % std::size(kEncodings)];
    if (!IsAscii(utf8) && (run.textEncoding == kREALTextEncodingASCII ||
                           run.textEncoding == kREALTextEncodingWindowsLatin1)) {
      run.textEncoding = kREALTextEncodingUTF8;
    }
    run.text = *Host::Convert(utf8, kREALTextEncodingUTF8, run.textEncoding);
    if (rng_() % 5 != 0) {
      run.fontEncoding = rng_() % 2 ? kREALTextEncodingUTF8 : kREALTextEncodingUTF16;
      run.font = *Host::Convert(kFonts[rng_() % std::size(kFonts)], kREALTextEncodingUTF8,
                                run.fontEncoding);
    }
    run.size = static_cast<int64_t>(rng_() % 4) * 6;
    run.color = rng_() % 3 == 0 ? 0xFF0000u : 0u;
    run.bold = rng_() % 2;
    run.italic = rng_() % 4 == 0;
    run.underline = rng_() % 8 == 0;
    return run;
  }

  static bool IsAscii(const std::string& s) {
    for (char c : s) {
      if (static_cast<unsigned char>(c) >= 0x80) return false;
    }
    return true;
  }

  static simhost::Run ToRun(const RunRecipe& recipe) {
    simhost::Run r;
    r.text = *Host::Convert(recipe.text, recipe.textEncoding, kREALTextEncodingUTF8);
    r.font =
        recipe.font ? *Host::Convert(*recipe.font, recipe.fontEncoding, kREALTextEncodingUTF8) : "";
    r.size = recipe.size;
    r.color = recipe.color;
    r.bold = recipe.bold;
    r.italic = recipe.italic;
    r.underline = recipe.underline;
    return r;
  }

  // Appends through the host's API (text kept as given) or as the plug-in does: a StyleRun with
  // its properties set, appended by "AppendStyleRun" (text kept as UTF-8).
  void Append(REALobject st, RunRecipe recipe) {
    if (rng_() % 2 == 0) {
      host_.AppendRun(st, recipe);
    } else {
      REALobject run = host_.NewObject("StyleRun");
      REALstring text = host_.NewString(recipe.text, recipe.textEncoding);
      Service<SetStringPropFn>("REALSetPropValueString")(run, "Text", text);
      host_.Release(text);
      if (recipe.font) {
        REALstring font = host_.NewString(*recipe.font, recipe.fontEncoding);
        Service<SetStringPropFn>("REALSetPropValueString")(run, "Font", font);
        host_.Release(font);
      }
      Service<SetIntegerPropFn>("REALSetPropValueInteger")(run, "Size", recipe.size);
      Service<SetUInt32PropFn>("REALSetPropValueUInt32")(run, "TextColor", recipe.color);
      Service<SetBoolPropFn>("REALSetPropValueBoolean")(run, "Bold", recipe.bold);
      Service<SetBoolPropFn>("REALSetPropValueBoolean")(run, "Italic", recipe.italic);
      Service<SetBoolPropFn>("REALSetPropValueBoolean")(run, "Underline", recipe.underline);
      Method<ObjectActionFn>(st, kAppendStyleRun)(st, run);
      host_.Release(run);
      recipe.text = *Host::Convert(recipe.text, recipe.textEncoding, kREALTextEncodingUTF8);
      recipe.textEncoding = kREALTextEncodingUTF8;
    }
    model_.push_back({recipe, ToRun(recipe)});
  }

  void Check(REALobject st) {
    std::vector<simhost::Run> expected;
    std::string text;
    for (const ModelRun& m : model_) {
      expected.push_back(m.utf8);
      text += m.utf8.text;
    }
    ASSERT_EQ(host_.RunsOf(st), expected);
    ASSERT_EQ(host_.TextOf(st), text);
    std::string visited;
    host_.VisitText(st, [&](std::string_view piece) { visited += piece; });
    ASSERT_EQ(visited, text);
    ASSERT_EQ(host_.ParagraphsOf(st), ParagraphsOf(text));
    ASSERT_EQ(host_.StyleRunCount(st), static_cast<int64_t>(model_.size()));
    // "StyleRun(Index)" gives the run as stored, in any order of indexes.
    auto styleRun = Method<IndexGetterFn>(st, kStyleRun);
    auto getString = Service<GetStringPropFn>("REALGetPropValueString");
    for (int k = 0; k < 8 && !model_.empty(); ++k) {
      size_t i = k < 4 ? rng_() % model_.size() : model_.size() - 1 - rng_() % model_.size() / 4;
      REALobject run = styleRun(st, static_cast<RBInteger>(i));
      ASSERT_NE(run, nullptr);
      REALstring t = nullptr, f = nullptr;
      ASSERT_TRUE(getString(run, "Text", &t));
      ASSERT_TRUE(getString(run, "Font", &f));
      EXPECT_EQ(host_.BytesOf(t), model_[i].recipe.text) << i;
      EXPECT_EQ(host_.EncodingOf(t), model_[i].recipe.textEncoding) << i;
      if (model_[i].recipe.font) {
        EXPECT_EQ(host_.BytesOf(f), *model_[i].recipe.font) << i;
        EXPECT_EQ(host_.EncodingOf(f), model_[i].recipe.fontEncoding) << i;
      } else {
        EXPECT_EQ(f, nullptr) << i;
      }
      host_.Release(t);
      host_.Release(f);
      host_.Release(run);
    }
  }

  Host host_;
  std::mt19937 rng_{20240601};
  std::vector<ModelRun> model_;
};

TEST_F(RunStorage, MatchesAPlainListOfRunsThroughAppendsAndRemovals) {
  REALobject st = host_.NewStyledText();
  auto remove = Method<IndexActionFn>(st, kRemoveStyleRun);
  for (int step = 0; step < 400; ++step) {
    unsigned choice = rng_() % 10;
    if (choice < 6 || model_.empty()) {
      Append(st, RandomRun());
    } else if (choice < 8) {
      remove(st, static_cast<RBInteger>(model_.size() - 1));
      model_.pop_back();
    } else {
      size_t i = rng_() % model_.size();
      remove(st, static_cast<RBInteger>(i));
      model_.erase(model_.begin() + static_cast<std::ptrdiff_t>(i));
    }
    Check(st);
    if (HasFatalFailure()) FAIL() << "step " << step;
  }
  // Out of range removals change nothing.
  remove(st, -1);
  remove(st, static_cast<RBInteger>(model_.size()));
  Check(st);
  host_.Release(st);
  EXPECT_EQ(host_.LiveObjects(), 0u);
  EXPECT_EQ(host_.LiveStrings(), 0u);
  EXPECT_EQ(host_.Misuses(), 0u);
}

TEST_F(RunStorage, ManyRunsInOrderAndBackwards) {
  // Enough runs for several record blocks and text buffers; reading them back in order, then
  // backwards, then emptying the text from the end.
  REALobject st = host_.NewStyledText();
  for (int i = 0; i < 5000; ++i) {
    RunRecipe run;
    run.text = std::to_string(i) + (i % 7 == 0 ? "\r" : " ");
    run.font = kFonts[i % 3];
    run.size = i % 11;
    host_.AppendRun(st, run);
    model_.push_back({run, ToRun(run)});
  }
  Check(st);
  auto styleRun = Method<IndexGetterFn>(st, kStyleRun);
  auto getString = Service<GetStringPropFn>("REALGetPropValueString");
  for (int i = 4999; i >= 0; i -= 7) {
    REALobject run = styleRun(st, i);
    REALstring t = nullptr;
    ASSERT_TRUE(getString(run, "Text", &t));
    EXPECT_EQ(host_.BytesOf(t), model_[static_cast<size_t>(i)].recipe.text);
    EXPECT_EQ(IntegerProperty(run, "Size"), i % 11);
    host_.Release(t);
    host_.Release(run);
  }
  // A run longer than a text buffer, removed from the end and from the middle.
  RunRecipe huge;
  huge.text = std::string(size_t{3} << 19, 'h') + "\r\n";
  auto remove = Method<IndexActionFn>(st, kRemoveStyleRun);
  for (int round = 0; round < 2; ++round) {
    host_.AppendRun(st, huge);
    model_.push_back({huge, ToRun(huge)});
    RunRecipe after;
    after.text = "after\r";
    host_.AppendRun(st, after);
    model_.push_back({after, ToRun(after)});
    Check(st);
    size_t at = round == 0 ? model_.size() - 2 : model_.size() - 1;
    if (round == 0) {
      remove(st, static_cast<RBInteger>(model_.size() - 1));
      model_.pop_back();
      Check(st);
      remove(st, static_cast<RBInteger>(model_.size() - 1));
      model_.pop_back();
    } else {
      remove(st, static_cast<RBInteger>(at - 1));
      model_.erase(model_.begin() + static_cast<std::ptrdiff_t>(at - 1));
    }
    Check(st);
  }
  while (!model_.empty()) {
    remove(st, static_cast<RBInteger>(model_.size() - 1));
    model_.pop_back();
    if (model_.size() % 997 == 0) Check(st);
  }
  EXPECT_EQ(IntegerProperty(st, "ParagraphCount"), 0);
  host_.Release(st);
  EXPECT_EQ(host_.Misuses(), 0u);
}

TEST(HandlePools, ReleasedHandlesStayRecognisedWhileOthersComeAndGo) {
  Host host;
  REALstring first = host.NewStringUTF8("first");
  REALobject run = host.NewObject("StyleRun");
  host.Release(first);
  host.Release(run);
  // Thousands of handles of every kind made and released after them.
  for (int i = 0; i < 4000; ++i) {
    host.Release(host.NewStringUTF8(std::to_string(i)));
    host.Release(host.NewObject("StyleRun"));
    host.Release(host.NewStyledText());
  }
  EXPECT_EQ(host.Misuses(), 0u);
  EXPECT_EQ(host.RefCount(first), 0);
  EXPECT_EQ(host.RefCount(run), 0);
  Service<StringFn>("REALLockString")(first);
  EXPECT_EQ(host.Misuses(), 1u);
  Service<ObjectFn>("REALUnlockObject")(run);
  EXPECT_EQ(host.Misuses(), 2u);
  // A pointer into the middle of a live handle is no handle.
  REALstring live = host.NewStringUTF8("live");
  Service<StringFn>("REALLockString")(
      reinterpret_cast<REALstring>(reinterpret_cast<char*>(live) + 8));
  EXPECT_EQ(host.Misuses(), 3u);
  EXPECT_EQ(host.RefCount(live), 1);
  // A string handle is no object, an object handle no string.
  Service<ObjectFn>("REALLockObject")(reinterpret_cast<REALobject>(live));
  EXPECT_EQ(host.Misuses(), 4u);
  host.Release(live);
  EXPECT_EQ(host.LiveStrings(), 0u);
  EXPECT_EQ(host.LiveObjects(), 0u);
}

}  // namespace
