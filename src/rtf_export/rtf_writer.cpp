// Rich Text Format from a style-run snapshot: code page 1252 header, font table, colour table,
// then per run only the formatting that changed and the run's text as escaped ASCII.
#include "rtf_export/rtf_writer.h"

#include <cstdio>
#include <unordered_map>

#include "bridge/host_string_read.h"
#include "frame/host_services.h"

size_t StringHash::operator()(const std::string& name) const {
  uint32_t h = 324567;
  for (char c : name) {
    if (c == '\0') break;
    h = h * 101u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(c)));
  }
  return h;
}

namespace {
char gNumberBuffer[20];
}  // namespace

std::string ToString(int32_t value) {
  std::snprintf(gNumberBuffer, sizeof gNumberBuffer, "%d", value);
  return std::string(gNumberBuffer);
}

namespace {

// Half-points from points, truncated toward zero. Out of the 32-bit range the result is
// INT32_MIN, as the processor's truncating conversion gives it.
int32_t HalfPoints(double size) {
  const double half = size * 2 + 0.5;
  if (!(half > -2147483649.0 && half < 2147483648.0)) return INT32_MIN;
  return static_cast<int32_t>(half);
}

struct Tables {
  std::unordered_map<uint32_t, int64_t> colorToIndex;
  std::unordered_map<int64_t, uint32_t> indexToColor;
  std::unordered_map<std::string, int64_t, StringHash> fontToIndex;
  std::unordered_map<int64_t, std::string> indexToFont;
};

// Fonts and colours numbered in order of first use.
void BuildTables(const std::vector<XojoStyleRun>& runs, Tables& t) {
  for (const XojoStyleRun& run : runs) {
    if (t.colorToIndex.find(run.textColor) == t.colorToIndex.end()) {
      const int64_t index = static_cast<int64_t>(t.colorToIndex.size());
      t.colorToIndex.emplace(run.textColor, index);
      t.indexToColor.emplace(index, run.textColor);
    }
    std::string name = GetStringInUTF8(run.font);
    if (name.empty()) continue;
    if (t.fontToIndex.find(name) == t.fontToIndex.end()) {
      const int64_t index = static_cast<int64_t>(t.fontToIndex.size());
      t.fontToIndex.emplace(name, index);
      t.indexToFont.emplace(index, std::move(name));
    }
  }
}

void WriteHeader(const Tables& t, std::string& out) {
  out += "{\\rtf1\\ansi\\ansicpg1252";
  out += "{\\fonttbl";
  const int64_t fontCount = static_cast<int64_t>(t.indexToFont.size());
  for (int64_t i = 0; i < fontCount; ++i) {
    out += "{\\f";
    out += ToString(static_cast<int32_t>(i));
    out += "\\fnil ";
    out += t.indexToFont.at(i);  // raw UTF-8 bytes: the table is not escaped
    out += ";}";
  }
  out += "}";
  out += "{\\colortbl";
  const int64_t colorCount = static_cast<int64_t>(t.indexToColor.size());
  for (int64_t i = 0; i < colorCount; ++i) {
    const uint32_t v = t.indexToColor.at(i);
    out += "\\red";
    out += ToString(static_cast<int32_t>((v >> 16) & 0xFF));
    out += "\\green";
    out += ToString(static_cast<int32_t>((v >> 8) & 0xFF));
    out += "\\blue";
    out += ToString(static_cast<int32_t>(v & 0xFF));
    out += ";";
  }
  out += "}";
  out += "\\uc0 ";
}

// The run's text as UTF-16 code units: control characters below tab vanish, each CR or LF is a
// paragraph mark unless it pairs with the unit just before it, RTF specials are escaped and
// everything from 0x80 becomes a Unicode escape.
void WriteText(REALstringStruct* text, std::string& out) {
  rbText reader(text);
  const uint16_t* units = reader.UTF16();
  const int64_t count = reader.UTF16Length();
  if (count <= 0 || units == nullptr) return;
  // Plain characters collect in a local block that is appended in one piece: long texts are
  // mostly plain, and appending them unit by unit costs a capacity check each.
  char plain[1024];
  size_t pending = 0;
  uint16_t prev = 0;
  for (int64_t i = 0; i < count; ++i) {
    const uint16_t u = units[i];
    if (u >= 32 && u < 128 && u != '\\' && u != '{' && u != '}') {
      plain[pending++] = static_cast<char>(u);
      if (pending == sizeof plain) {
        out.append(plain, pending);
        pending = 0;
      }
      prev = u;
      continue;
    }
    if (pending != 0) {
      out.append(plain, pending);
      pending = 0;
    }
    if (u >= 128) {
      out += "\\u";
      out += ToString(static_cast<int32_t>(u));
      out += ' ';
    } else if (u < 9) {
      // dropped
    } else if (u == 13) {
      if (prev != 10) out += "\\par ";
    } else if (u == 10) {
      if (prev != 13) out += "\\par ";
    } else if (u == '\\' || u == '{' || u == '}') {
      out += '\\';
      out += static_cast<char>(u);
    } else {
      out += static_cast<char>(u);  // tab, vertical tab, form feed and other controls
    }
    prev = u;
  }
  if (pending != 0) out.append(plain, pending);
}

}  // namespace

std::string WriteRTF(const std::vector<XojoStyleRun>& runs) {
  Tables tables;
  BuildTables(runs, tables);

  std::string out;
  out.reserve(1048576);
  WriteHeader(tables, out);

  int64_t curAlignment = 0;
  bool curBold = false, curItalic = false, curUnderline = false;
  REALstringStruct* curFont = nullptr;  // borrowed from the records
  uint32_t curColor = 0;
  double curSize = 0.0;

  for (const XojoStyleRun& run : runs) {
    bool wrote = false;
    if (run.alignment != curAlignment) {
      out += run.alignment == 2 ? "\\qc" : run.alignment == 3 ? "\\qr" : "\\ql";
      curAlignment = run.alignment;
      wrote = true;
    }
    if ((run.bold != 0) != curBold) {
      curBold = run.bold != 0;
      out += curBold ? "\\b" : "\\b0";
      wrote = true;
    }
    if ((run.italic != 0) != curItalic) {
      curItalic = run.italic != 0;
      out += curItalic ? "\\i" : "\\i0";
      wrote = true;
    }
    if ((run.underline != 0) != curUnderline) {
      curUnderline = run.underline != 0;
      out += curUnderline ? "\\ul" : "\\ul0";
      wrote = true;
    }
    if (run.font != nullptr) {
      // Without the host's comparison the font cannot be told apart, so it is never written.
      bool available = false;
      const int64_t differs = REALCompareStrings(run.font, curFont, &available);
      if (available && differs != 0) {
        const int64_t index = tables.fontToIndex[GetStringInUTF8(run.font)];
        out += "\\f";
        out += ToString(static_cast<int32_t>(index));
        curFont = run.font;
        wrote = true;
      }
    }
    bool wroteValue = false;
    if (run.textColor != curColor) {
      out += "\\cf";
      out += ToString(static_cast<int32_t>(tables.colorToIndex.find(run.textColor)->second));
      curColor = run.textColor;
      wroteValue = true;
    }
    const double size = static_cast<double>(run.size);
    if (size != curSize) {
      out += "\\fs";
      out += ToString(HalfPoints(size));
      curSize = size;
      wroteValue = true;
    }
    if (wroteValue || wrote) out += ' ';
    WriteText(run.text, out);
  }
  out += "}";
  return out;
}
