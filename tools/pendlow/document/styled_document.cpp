#include "document/styled_document.h"

#include <cstdio>
#include <set>

#include "support/json.h"
#include "support/tool_error.h"

namespace pendlow {

std::string StyledDocument::Text() const {
  std::string text;
  for (const StyledRun& run : runs) text += run.text;
  return text;
}

std::string AlignmentName(int64_t alignment) {
  switch (alignment) {
    case 0:
      return "default";
    case 1:
      return "left";
    case 2:
      return "center";
    case 3:
      return "right";
    default:
      return std::to_string(alignment);
  }
}

std::string ColorHex(uint32_t color) {
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "#%06X", static_cast<unsigned>(color & 0xFFFFFF));
  return buffer;
}

std::string DocumentToJson(const StyledDocument& document) {
  auto flag = [](bool on) { return on ? "true" : "false"; };
  std::string out = "{\n  \"version\": " + std::to_string(kSchemaVersion) + ",\n  \"runs\": [";
  for (size_t i = 0; i < document.runs.size(); ++i) {
    const StyledRun& run = document.runs[i];
    out += i == 0 ? "\n    " : ",\n    ";
    out += "{\"text\": " + json::Quote(run.text);
    out += ", \"font\": " + (run.font ? json::Quote(*run.font) : std::string("null"));
    out += ", \"size\": " + std::to_string(run.size);
    out += ", \"color\": \"" + ColorHex(run.color) + "\"";
    if ((run.color >> 24) != 0) out += ", \"alpha\": " + std::to_string(run.color >> 24);
    out += std::string(", \"bold\": ") + flag(run.bold);
    out += std::string(", \"italic\": ") + flag(run.italic);
    out += std::string(", \"underline\": ") + flag(run.underline) + "}";
  }
  out += document.runs.empty() ? "],\n  \"paragraphs\": [" : "\n  ],\n  \"paragraphs\": [";
  for (size_t i = 0; i < document.paragraphs.size(); ++i) {
    const StyledParagraph& p = document.paragraphs[i];
    out += i == 0 ? "\n    " : ",\n    ";
    out += "{\"start\": " + std::to_string(p.start) + ", \"end\": " + std::to_string(p.end) +
           ", \"alignment\": " + std::to_string(p.alignment) + "}";
  }
  out += document.paragraphs.empty() ? "]\n}\n" : "\n  ]\n}\n";
  return out;
}

namespace {

// Checks one JSON value against the schema and reports problems with place and path.
class SchemaReader {
 public:
  explicit SchemaReader(const std::string& sourceName) : source_(sourceName) {}

  [[noreturn]] void Fail(json::Position at, const std::string& path,
                         const std::string& message) const {
    throw ToolError(kExitUsage, source_ + ":" + std::to_string(at.line) + ":" +
                                    std::to_string(at.column) + ": " + path + ": " + message);
  }

  void RequireType(const json::Value& value, json::Type type, const std::string& path,
                   const char* expected) const {
    if (value.type != type) {
      Fail(value.position, path,
           std::string("expected ") + expected + ", found " + json::Describe(value.type));
    }
  }

  // Refuses members the schema does not know, so that a misspelt name is not silently ignored.
  void CheckMembers(const json::Value& object, const std::string& path,
                    const std::set<std::string>& known, const char* what) const {
    for (size_t i = 0; i < object.members.size(); ++i) {
      const std::string& key = object.members[i].first;
      if (known.count(key) == 0) {
        std::string list;
        for (const std::string& name : known) list += (list.empty() ? "" : ", ") + name;
        Fail(object.keyPositions[i], path,
             "unknown member " + json::Quote(key) + " in " + what + " (known: " + list + ")");
      }
    }
  }

  int64_t Integer(const json::Value& value, const std::string& path) const {
    RequireType(value, json::Type::kNumber, path, "an integer");
    std::optional<int64_t> integer = value.AsInteger();
    if (!integer) {
      Fail(value.position, path,
           "expected an integer, found " + value.number + " (not a whole number in 64 bits)");
    }
    return *integer;
  }

  bool Boolean(const json::Value& value, const std::string& path) const {
    RequireType(value, json::Type::kBool, path, "true or false");
    return value.boolean;
  }

  uint32_t Color(const json::Value& value, const std::string& path) const {
    RequireType(value, json::Type::kString, path, "a colour \"#RRGGBB\"");
    const std::string& s = value.string;
    bool ok = s.size() == 7 && s[0] == '#';
    uint32_t rgb = 0;
    for (size_t i = 1; ok && i < s.size(); ++i) {
      const int digit = json::HexDigit(s[i]);
      ok = digit >= 0;
      rgb = rgb * 16 + static_cast<uint32_t>(digit);
    }
    if (!ok) Fail(value.position, path, "expected a colour \"#RRGGBB\", found " + json::Quote(s));
    return rgb;
  }

  StyledRun Run(const json::Value& value, const std::string& path) const {
    RequireType(value, json::Type::kObject, path, "a run object");
    CheckMembers(value, path,
                 {"text", "font", "size", "color", "alpha", "bold", "italic", "underline"},
                 "a run");
    StyledRun run;
    const json::Value* text = value.Find("text");
    if (text == nullptr) Fail(value.position, path, "a run needs a \"text\" member");
    RequireType(*text, json::Type::kString, path + ".text", "a string");
    run.text = text->string;
    if (const json::Value* font = value.Find("font")) {
      if (font->type != json::Type::kNull) {
        RequireType(*font, json::Type::kString, path + ".font", "a string or null");
        run.font = font->string;
      }
    }
    if (const json::Value* size = value.Find("size")) run.size = Integer(*size, path + ".size");
    if (const json::Value* color = value.Find("color")) run.color = Color(*color, path + ".color");
    if (const json::Value* alpha = value.Find("alpha")) {
      int64_t a = Integer(*alpha, path + ".alpha");
      if (a < 0 || a > 255) {
        Fail(alpha->position, path + ".alpha", "expected 0 to 255, found " + std::to_string(a));
      }
      run.color |= static_cast<uint32_t>(a) << 24;
    }
    if (const json::Value* b = value.Find("bold")) run.bold = Boolean(*b, path + ".bold");
    if (const json::Value* i = value.Find("italic")) run.italic = Boolean(*i, path + ".italic");
    if (const json::Value* u = value.Find("underline")) {
      run.underline = Boolean(*u, path + ".underline");
    }
    return run;
  }

  ParagraphRequest Paragraph(const json::Value& value, const std::string& path) const {
    RequireType(value, json::Type::kObject, path, "a paragraph object");
    CheckMembers(value, path, {"start", "end", "alignment"}, "a paragraph");
    auto place = [](const json::Value& v, const std::string& p) {
      return ParagraphRequest::Place{p, v.position.line, v.position.column};
    };
    ParagraphRequest request;
    request.place = place(value, path);
    const json::Value* alignment = value.Find("alignment");
    if (alignment == nullptr) Fail(value.position, path, "a paragraph needs an \"alignment\"");
    request.alignment = Integer(*alignment, path + ".alignment");
    if (const json::Value* start = value.Find("start")) {
      request.start = Integer(*start, path + ".start");
      request.startPlace = place(*start, path + ".start");
    }
    if (const json::Value* end = value.Find("end")) {
      request.end = Integer(*end, path + ".end");
      request.endPlace = place(*end, path + ".end");
    }
    return request;
  }

  StyledDocument Document(const json::Value& root) const {
    RequireType(root, json::Type::kObject, "$", "an object with \"version\" and \"runs\"");
    CheckMembers(root, "$", {"version", "runs", "paragraphs"}, "the document");
    const json::Value* version = root.Find("version");
    if (version == nullptr) {
      Fail(root.position, "$", "missing \"version\" (this tool reads version 1)");
    }
    int64_t v = Integer(*version, "$.version");
    if (v != kSchemaVersion) {
      Fail(version->position, "$.version",
           "unsupported version " + std::to_string(v) + " (this tool reads version 1)");
    }
    const json::Value* runs = root.Find("runs");
    if (runs == nullptr) Fail(root.position, "$", "missing \"runs\"");
    RequireType(*runs, json::Type::kArray, "$.runs", "an array of runs");
    StyledDocument document;
    for (size_t i = 0; i < runs->items.size(); ++i) {
      document.runs.push_back(Run(runs->items[i], "$.runs[" + std::to_string(i) + "]"));
    }
    if (const json::Value* paragraphs = root.Find("paragraphs")) {
      RequireType(*paragraphs, json::Type::kArray, "$.paragraphs", "an array of paragraphs");
      for (size_t i = 0; i < paragraphs->items.size(); ++i) {
        document.requests.push_back(
            Paragraph(paragraphs->items[i], "$.paragraphs[" + std::to_string(i) + "]"));
      }
    }
    return document;
  }

 private:
  std::string source_;
};

}  // namespace

StyledDocument DocumentFromJson(std::string_view text, const std::string& sourceName) {
  json::Value root;
  try {
    root = json::Parse(text);
  } catch (const json::ParseError& e) {
    throw ToolError(kExitUsage, sourceName + ":" + std::to_string(e.position().line) + ":" +
                                    std::to_string(e.position().column) +
                                    ": invalid JSON: " + e.what());
  }
  return SchemaReader(sourceName).Document(root);
}

}  // namespace pendlow
