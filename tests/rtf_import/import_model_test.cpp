// Differential test of the import: a second, deliberately literal model of how RTF becomes
// style runs, compared with the library on random documents, the real corpus, generated
// documents and mutated corpus files (runs, paragraph alignments and counts of host calls).
#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <filesystem>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <unordered_map>
#include <vector>

#include "frame/host_contract.h"
#include "import_fixture.h"
#include "support/corpus.h"
#include "support/generated_document.h"

namespace model {

long long RC(const char* t, long long pos, std::string& w, long long& p) {
  w.clear();
  p = -1;
  long long s = pos;
  if (pos >= 2 && t[pos - 2] == '{' && t[pos - 1] == '\\' && t[pos] == '*' && t[pos + 1] == '\\')
    s = pos + 2;
  long long k = s;
  while (t[k] >= 'a' && t[k] <= 'z') k++;
  w = std::string(t + pos, t + k);
  long long e;
  char c = t[k];
  if ((c >= '0' && c <= '9') || c == '-') {
    uint64_t v = (uint64_t)p;
    if (c != '-') v = (uint64_t)(c - '0');
    e = k + 1;
    while (t[e] >= '0' && t[e] <= '9') {
      v = v * 10 + (uint64_t)(t[e] - '0');
      e++;
    }
    if (c == '-') v = (uint64_t)0 - v;
    p = (long long)v;
  } else if (c == '\n' || c == '\r') {
    if (w.empty()) w = "par";
    e = k;
  } else if (c == '\'') {
    if (w.empty()) {
      w = "u";
      uint64_t v = (uint64_t)p;
      long long j = k + 1;
      for (;;) {
        char h = t[j];
        int d = -1;
        if (h >= '0' && h <= '9')
          d = h - '0';
        else if (h >= 'A' && h <= 'F')
          d = h - 'A' + 10;
        if (d < 0) break;
        v = v * 16 + (uint64_t)d;
        j++;
      }
      p = (long long)v;
      e = j + 1;
    } else {
      e = k;
    }
  } else {
    e = k;
  }
  char d = t[e];
  if (d == '\\' || d == '{' || d == '}' || d == ';') return e - 1;
  if (d == '\r' && t[e + 2] == '\n') return e + 1;
  return e;
}

struct Color {
  int r = 0, g = 0, b = 0;
};

long long Close(const char* t, long long j) {
  char n = t[j + 1];
  if (n == '\\' || n == '{' || n == '}' || n == ';') return j;
  if (n == '\r' && t[j + 3] == '\n') return j + 2;
  return j + 1;
}

std::unordered_map<int, Color> Colors(const char* t, long long& pos) {
  std::unordered_map<int, Color> m;
  long long idx = 0;
  Color c;
  std::string w;
  long long p;
  while (t[pos] != 0) {
    pos++;
    char ch = t[pos];
    if (ch == ';') {
      m[(int)idx] = c;
      idx++;
      c = Color();
    } else if (ch == '\\') {
      pos = RC(t, pos + 1, w, p);
      if (w == "red") c.r = (int)p;
      if (w == "green") c.g = (int)p;
      if (w == "blue") c.b = (int)p;
    } else if (ch == '}') {
      pos = Close(t, pos);
      return m;
    }
  }
  return m;
}

std::unordered_map<int, std::string> Fonts(const char* t, long long& pos) {
  std::unordered_map<int, std::string> m;
  std::string name;
  long long num = 0, skip = 0, depth = 0;
  bool fin = false, gjo = false;
  std::string w;
  long long p;
  while (t[pos] != 0) {
    pos++;
    char ch = t[pos];
    if (ch == '\\') {
      pos = RC(t, pos + 1, w, p);
      if (w == "f") {
        fin = false;
        num = p;
      } else if (gjo) {
        if (skip == 0) skip = 1;
      }
      gjo = false;
    } else if (ch == '{') {
      depth++;
      if (skip > 0) skip++;
      gjo = true;
    } else if (ch == '}') {
      if (depth < 1) {
        pos = Close(t, pos);
        return m;
      }
      depth--;
      if (skip > 0) skip--;
      gjo = false;
    } else {
      gjo = false;
      if (skip == 0 && !fin) {
        if (ch == ';') {
          m[(int)num] = name;
          name.clear();
          fin = true;
        } else {
          name += ch;
        }
      }
    }
  }
  return m;
}

unsigned Enc(long long cp) {
  static const std::pair<long long, unsigned> tab[] = {
      {437, 1024},  {850, 1040},  {852, 1042},  {860, 1045},  {862, 1047},  {863, 1048},
      {864, 1049},  {865, 1050},  {866, 1051},  {874, 1053},  {932, 1056},  {936, 1057},
      {949, 1058},  {950, 1059},  {1250, 1281}, {1251, 1282}, {1252, 1280}, {1253, 1283},
      {1254, 1284}, {1255, 1285}, {1256, 1286}, {1257, 1287}, {1258, 1288}, {1361, 1296},
      {10000, 0},   {10001, 1},   {10004, 4},   {10005, 5},   {10006, 6},   {10007, 7},
      {10029, 29},  {10081, 35}};
  for (auto& e : tab)
    if (e.first == cp) return e.second;
  return 1280;
}

struct St {
  std::string font;
  long long size = 0;
  unsigned enc = 1280;
  Color color;
  bool b = false, i = false, u = false;
};

// Host emulation.
struct PendingRun {
  bool exists = false;
  simhost::Run props;
};

struct Result {
  std::vector<simhost::Run> runs;
  std::vector<int64_t> align;
  uint64_t creations = 0, appends = 0, alignCalls = 0;
};

struct HostEmu {
  Result r;
  // paragraph scan
  struct Sep {
    int64_t s, e;
    bool cr;
  };
  std::vector<Sep> seps;
  int64_t len = 0;
  int64_t Count() const {
    int64_t last = seps.empty() ? 0 : seps.back().e;
    return (int64_t)seps.size() + (len > last ? 1 : 0);
  }
  void AppendText(const std::u32string& s) {
    for (size_t k = 0; k < s.size(); ++k) {
      if (s[k] == '\r' || s[k] == '\n') {
        bool cr = s[k] == '\r';
        int64_t pos = len + (int64_t)k;
        if (!cr && !seps.empty() && seps.back().cr && seps.back().e == pos &&
            seps.back().e - seps.back().s == 1) {
          seps.back().e = pos + 1;
          continue;
        }
        seps.push_back({pos, pos + 1, cr});
      }
    }
    len += (int64_t)s.size();
  }
  void Add(PendingRun& run, const std::string& utf8, long long alignment) {
    int64_t old = Count();
    if (run.exists) {
      simhost::Run x = run.props;
      x.text = utf8;
      r.runs.push_back(x);
      r.appends++;
      std::u32string u;
      // decode utf8
      auto conv = simhost::Host::Convert(utf8, kREALTextEncodingUTF8, kREALTextEncodingUTF32);
      const std::string& b = *conv;
      for (size_t k = 0; k + 4 <= b.size(); k += 4) {
        char32_t c;
        memcpy(&c, b.data() + k, 4);
        u += c;
      }
      AppendText(u);
    }
    run.exists = false;
    int64_t nw = Count();
    if (nw != old) {
      r.alignCalls++;
      if (old >= 0 && old < nw) {
        if ((int64_t)r.align.size() <= old) r.align.resize(old + 1, 0);
        r.align[old] = alignment;
      }
    }
  }
};

Result Import(const std::string& value) {
  HostEmu h;
  if (value.size() <= 6 || value.compare(0, 5, "{\\rtf") != 0) return h.r;
  std::string buf = value;
  buf.append(4, '\0');
  const char* t = buf.c_str();
  long long n = (long long)value.size();
  std::vector<std::unique_ptr<St>> stack;
  St* cur = nullptr;
  std::string text;
  PendingRun run;
  long long skip = 0;
  bool gjo = false;
  long long align = 0;
  std::unordered_map<int, std::string> fonts;
  std::unordered_map<int, Color> colors;
  auto flush = [&]() {
    unsigned enc = cur ? cur->enc : 1280;
    if (text.empty()) {
      run.exists = false;
      return;
    }
    if (run.exists) {
      std::string c(text.c_str());  // CString2RB
      std::string utf8 =
          c.empty() ? std::string() : *simhost::Host::Convert(c, enc, kREALTextEncodingUTF8);
      h.Add(run, utf8, align);
    }
    text.clear();
  };
  auto create = [&]() {
    h.r.creations++;
    run.exists = true;
    run.props = simhost::Run();
    if (cur) {
      run.props.bold = cur->b;
      run.props.italic = cur->i;
      run.props.underline = cur->u;
      run.props.size = cur->size;
      run.props.color =
          (uint32_t)cur->color.r * 65536u + (uint32_t)cur->color.g * 256u + (uint32_t)cur->color.b;
      run.props.font = *simhost::Host::Convert(
          *simhost::Host::Convert(cur->font, kREALTextEncodingUTF8, kREALTextEncodingUTF16),
          kREALTextEncodingUTF16, kREALTextEncodingUTF8);
    }
  };
  auto textByte = [&](char c) {
    gjo = false;
    if (skip == 0) {
      if (!run.exists) create();
      text += c;
    }
  };
  long long i = 0;
  while (i < n) {
    char ch = t[i];
    bool wasGjo = gjo;
    if (ch == '\n' || ch == '\r') {
      flush();
      gjo = false;
      i++;
    } else if (ch == '{') {
      auto s = std::make_unique<St>();
      if (cur) *s = *cur;
      stack.push_back(std::move(s));
      cur = stack.back().get();
      if (skip > 0) skip++;
      gjo = true;
      i++;
    } else if (ch == '}') {
      flush();
      if (!cur) break;
      stack.pop_back();
      cur = stack.empty() ? nullptr : stack.back().get();
      flush();
      if (skip > 0) skip--;
      gjo = false;
      i++;
    } else if (ch == '\\') {
      char c2 = t[i + 1];
      if (c2 == '\n' || c2 == '\r') {
        text += '\r';
        flush();
        gjo = false;
        i += 2;
      } else if (c2 == '\'') {
        auto hx = [](char c) {
          if (c >= '0' && c <= '9') return c - '0';
          if (c >= 'a' && c <= 'f') return c - 'a' + 10;
          if (c >= 'A' && c <= 'F') return c - 'A' + 10;
          return -1;
        };
        int v = 0;
        int a = hx(t[i + 2]);
        if (a >= 0) {
          v = a;
          int b = hx(t[i + 3]);
          if (b >= 0) v = a * 16 + b;
        }
        if (skip == 0) text += (char)v;
        gjo = false;
        i += 4;
      } else if (c2 == '\\' || c2 == '{' || c2 == '}') {
        textByte(c2);
        i += 2;
      } else {
        std::string w;
        long long p;
        long long pos = RC(t, i + 1, w, p);
        gjo = false;
        if (w == "bin") {
          long long nx = pos + 1 + p;
          if (p >= 0 && (pos + 1 >= n || p >= n - (pos + 1))) nx = n;
          if (nx <= i) nx = i + 1;
          i = nx;
          continue;
        }
        if (cur && skip == 0) {
          if (w == "rtf" || w == "partightenfactor" || w == "paperw" || w == "paperh" ||
              w == "pard" || w == "pardirnatural") {
          } else if (w == "ansicpg") {
            flush();
            cur->enc = Enc(p);
          } else if (w == "ansi") {
            flush();
            cur->enc = 1280;
          } else if (w == "mac") {
            flush();
            cur->enc = 0;
          } else if (w == "b") {
            flush();
            cur->b = p != 0;
          } else if (w == "i") {
            flush();
            cur->i = p != 0;
          } else if (w == "ul") {
            flush();
            cur->u = p != 0;
          } else if (w == "ulnone") {
            flush();
            cur->u = false;
          } else if (w == "u") {
            flush();
            if (!run.exists) create();
            uint16_t cu = (uint16_t)(p % 65536);
            if (cu != 0) {
              std::string two((const char*)&cu, 2);
              auto utf8 =
                  simhost::Host::Convert(two, kREALTextEncodingUTF16, kREALTextEncodingUTF8);
              h.Add(run, *utf8, align);
            }
            run.exists = false;
          } else if (w == "fonttbl") {
            fonts = Fonts(t, pos);
            text.clear();
          } else if (w == "colortbl") {
            colors = Colors(t, pos);
            text.clear();
          } else if (w == "cf") {
            flush();
            auto f = colors.find((int)p);
            cur->color = f != colors.end() ? f->second : Color();
          } else if (w == "f") {
            flush();
            auto f = fonts.find((int)p);
            cur->font = f != fonts.end() ? f->second : std::string();
          } else if (w == "par") {
            if (!run.exists) create();
            text += '\r';
            flush();
          } else if (w == "qc") {
            flush();
            align = 2;
          } else if (w == "qr") {
            flush();
            align = 3;
          } else if (w == "ql" || w == "qj") {
            flush();
            align = 1;
          } else if (w == "fs" || w == "upr") {
            flush();
            cur->size = p / 2;
          } else {
            if (wasGjo) skip = 1;
          }
        }
        i = pos + 1;
      }
    } else {
      textByte(ch);
      i++;
    }
  }
  flush();
  return h.r;
}

}  // namespace model

namespace import_test {
namespace {

const char* kPieces[] = {
    "{",
    "}",
    "{",
    "}",
    "\\b ",
    "\\b0 ",
    "\\i ",
    "\\i0",
    "\\ul ",
    "\\ulnone ",
    "\\ul0",
    "\\fs24 ",
    "\\fs-3 ",
    "\\fs25",
    "\\upr ",
    "\\upr30 ",
    "\\f0 ",
    "\\f1 ",
    "\\f9 ",
    "\\f",
    "\\cf1 ",
    "\\cf2 ",
    "\\cf0",
    "\\cf7",
    "\\par ",
    "\\par",
    "\\par\r\n",
    "\\qc ",
    "\\qr ",
    "\\ql ",
    "\\qj ",
    "\\pard ",
    "\\pardirnatural ",
    "\\u8364?",
    "\\u-10179 ",
    "\\u0 ",
    "\\u228",
    "\\u",
    "\\'e9",
    "\\'E9",
    "\\'4",
    "\\'}",
    "\\'g1",
    "\\ansicpg1251 ",
    "\\ansicpg1252 ",
    "\\ansi ",
    "\\mac ",
    "{\\*\\generator x;}",
    "{\\info{\\title t}}",
    "\\foo ",
    "{\\foo ",
    "\\bin3 ",
    "\\bin-2 ",
    "\\bin0 ",
    "\\bin",
    "\\\n",
    "\\\r",
    "\n",
    "\r\n",
    "\r",
    "\\{",
    "\\}",
    "\\\\",
    "\\~",
    "\\-",
    "\\*",
    "\\",
    "\\'",
    "text",
    " ",
    "words and ",
    "\xE9",
    "\xC3\xA9",
    "{\\fonttbl\\f0 Aa;\\f1 Bb;}",
    "{\\fonttbl{\\f0\\fswiss{\\*\\panose 02}Helv;}{\\f1 T;}}",
    "\\fonttbl\\f0 Zz;}",
    "{\\colortbl;\\red255\\green0\\blue0;\\red1\\green2\\blue3;}",
    "\\colortbl;\\red9;}",
    "\\rtf1",
    "\\paperw100 ",
    "\\b\r\n",
    "\\uc0 ",
    "\\Par",
    ";",
    "x\r\nq",
    "\\line ",
    "\\tab ",
    "{\\b ",
    "{\\i x}",
    "\\*\\x ",
    "\\pard\\qc ",
    "}\r\n",
    "}\rx\n",
    "\\b\rx\n",
    "\\'E9x",
    "{\\*\\",
    "{\\*\\}",
    "{\\fonttbl\\f0 \\'E9;x}",
    "{\\fonttbl\\f0 A\r\n;\\f1 B;}\r\n",
    "{\\colortbl\\red-5;}",
    "\\bin1 \\",
    "\\f-1 ",
    "\\cf-1",
    "\\u65535 ",
    "\\u-1 ",
    "\\u55357 \\u56832 ",
    "\\fonttbl",
    "\\colortbl",
    "{\\*\\fonttbl\\f0 Q;}",
    "\\'",
    "\\'4}",
    "\\b\r\n\n",
    "\\par\r",
    "{\\ansicpg932 \\'82\\'a0}",
    "\\mac \\'8e",
    "\\ansicpg10007 \\'80",
    "\\ansicpg437 \\'82",
    "{\\upr{\\*\\ud x}}",
    "\\plain ",
};

std::string RandomDoc(std::mt19937& rng) {
  std::string d = "{\\rtf1";
  std::uniform_int_distribution<int> len(0, 80);
  std::uniform_int_distribution<size_t> pick(0, sizeof(kPieces) / sizeof(kPieces[0]) - 1);
  int k = len(rng);
  for (int j = 0; j < k; ++j) {
    if (rng() % 40 == 0) {
      d += static_cast<char>(rng() % 256);
    } else {
      d += kPieces[pick(rng)];
    }
  }
  if (rng() % 2) d += "}";
  if (rng() % 4 == 0) d += "}tail\r\n";
  return d;
}

void Compare(ImportTest* self, simhost::Host& host, REALobject st, const std::string& doc,
             std::vector<simhost::Run> runs) {
  (void)self;
  model::Result m = model::Import(doc);
  std::string shown;
  for (unsigned char c : doc) {
    if (c < 0x20 || c >= 0x7F) {
      char b[8];
      snprintf(b, sizeof b, "\\x%02X", c);
      shown += b;
    } else {
      shown += static_cast<char>(c);
    }
  }
  if (runs != m.runs) {
    size_t k = 0;
    while (k < runs.size() && k < m.runs.size() && runs[k] == m.runs[k]) ++k;
    ADD_FAILURE() << "sizes " << runs.size() << " vs " << m.runs.size() << " first diff " << k
                  << ": " << (k < runs.size() ? ::testing::PrintToString(runs[k]) : "-") << " vs "
                  << (k < m.runs.size() ? ::testing::PrintToString(m.runs[k]) : "-") << " " <<
        [&] {
          std::string o;
          if (k < runs.size() && k < m.runs.size()) {
            for (unsigned char c : runs[k].font) {
              char b[8];
              snprintf(b, sizeof b, "%02X ", c);
              o += b;
            }
            o += "| ";
            for (unsigned char c : m.runs[k].font) {
              char b[8];
              snprintf(b, sizeof b, "%02X ", c);
              o += b;
            }
          }
          return o;
        }() << " " << (shown.size() < 3000 ? shown : shown.substr(0, 300));
  }
  std::vector<int64_t> al;
  for (const simhost::Paragraph& p : host.ParagraphsOf(st)) al.push_back(p.alignment);
  std::vector<int64_t> ma = m.align;
  ma.resize(al.size(), 0);
  EXPECT_EQ(al, ma) << shown;
  EXPECT_EQ(host.Calls("PluginNewInstance"), m.creations) << shown;
  EXPECT_EQ(host.Calls(host_contract::kAppendStyleRunDeclaration), m.appends) << shown;
  EXPECT_EQ(host.Calls(host_contract::kParagraphAlignmentDeclaration), m.alignCalls) << shown;
}

TEST_F(ImportTest, ModelAgreesOnRandomDocuments) {
  std::mt19937 rng(getenv("PENDLOW_MODEL_SEED") ? atoi(getenv("PENDLOW_MODEL_SEED")) : 12345);
  const int count = getenv("PENDLOW_MODEL_COUNT") ? atoi(getenv("PENDLOW_MODEL_COUNT")) : 3000;
  for (int k = 0; k < count; ++k) {
    std::string doc = RandomDoc(rng);
    host_.ResetCounters();
    auto runs = Import(doc);
    Compare(this, host_, styledText_, doc, runs);
    if (HasFailure()) break;
  }
}

TEST_F(ImportTest, ModelAgreesOnRealDocuments) {
  const std::vector<std::filesystem::path> files = test_support::CorpusFiles();
  ASSERT_FALSE(files.empty()) << test_support::CorpusMissing();
  for (const std::filesystem::path& file : files) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    std::string doc = ss.str();
    host_.ResetCounters();
    auto runs = Import(doc);
    SCOPED_TRACE(file.string());
    Compare(this, host_, styledText_, doc, runs);
  }
}

}  // namespace
}  // namespace import_test

namespace import_test {
namespace {

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  return ss.str();
}

TEST_F(ImportTest, ModelAgreesOnGeneratedDocuments) {
  for (const char* profile :
       {"plain", "styled", "unicode", "codepage", "wordlike", "export", "hostile"}) {
    for (int seed = 1; seed <= 2; ++seed) {
      std::string doc = test_support::GeneratedDocument(profile, seed, "0.1");
      ASSERT_FALSE(doc.empty()) << "the generator gave no " << profile << " document";
      host_.ResetCounters();
      auto runs = Import(doc);
      SCOPED_TRACE(std::string(profile) + " " + std::to_string(seed));
      Compare(this, host_, styledText_, doc, runs);
    }
  }
}

TEST_F(ImportTest, ModelAgreesOnMutatedDocuments) {
  std::vector<std::string> docs;
  for (const std::filesystem::path& file : test_support::CorpusFiles()) {
    if (std::filesystem::file_size(file) < 20000) docs.push_back(Slurp(file.string()));
  }
  // The documents are picked at random below: none would leave nothing to pick from.
  ASSERT_FALSE(docs.empty()) << test_support::CorpusMissing();
  std::mt19937 rng(777);
  const char specials[] = "{}\\\r\n';0-9*abu ";
  for (int k = 0; k < 1000; ++k) {
    std::string doc = docs[rng() % docs.size()];
    if (doc.size() < 10) continue;
    int edits = 1 + rng() % 8;
    for (int e = 0; e < edits; ++e) {
      size_t at = 6 + rng() % (doc.size() - 6);
      char c = rng() % 3 ? specials[rng() % (sizeof(specials) - 1)] : static_cast<char>(rng());
      switch (rng() % 3) {
        case 0:
          doc[at] = c;
          break;
        case 1:
          doc.insert(doc.begin() + at, c);
          break;
        default:
          doc.erase(at, 1 + rng() % 3);
          break;
      }
    }
    host_.ResetCounters();
    auto runs = Import(doc);
    Compare(this, host_, styledText_, doc, runs);
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace import_test
