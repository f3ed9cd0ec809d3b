// The tool's picture of a StyledText: its style runs and its paragraphs as the host reports
// them, plus the JSON form of both (see tools/pendlow/SCHEMA.md).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pendlow {

// Version of the JSON schema this tool writes and reads.
constexpr int kSchemaVersion = 1;

struct StyledRun {
  std::string text;                 // UTF-8; CR is the host's paragraph separator
  std::optional<std::string> font;  // nullopt: the run has no font string at all
  int64_t size = 0;                 // points
  uint32_t color = 0;               // host colour: 0xAARRGGBB, red in bits 16-23
  bool bold = false, italic = false, underline = false;
};

struct StyledParagraph {
  int64_t start = 0;  // character offset of the first character
  int64_t end = 0;    // exclusive: offset of the separator or of the end of the text
  int64_t alignment = 0;
};

// What a paragraph entry of an export document asks for; start and end are optional there and,
// when given, must agree with the paragraphs the host finds in the runs' text.
struct ParagraphRequest {
  // Where a value stands in the document, for messages.
  struct Place {
    std::string path;  // JSON path
    int64_t line = 0, column = 0;
  };
  std::optional<int64_t> start, end;
  int64_t alignment = 0;
  Place place, startPlace, endPlace;  // the paragraph object, its start and its end
};

struct StyledDocument {
  std::vector<StyledRun> runs;
  std::vector<StyledParagraph> paragraphs;
  std::vector<ParagraphRequest> requests;  // only for documents read from JSON

  std::string Text() const;  // all run texts joined
};

// "default", "left", "center", "right" for the host's values 0 to 3; the number otherwise.
std::string AlignmentName(int64_t alignment);

// "#RRGGBB" of a host colour (its high byte is not part of it).
std::string ColorHex(uint32_t color);

// The JSON form; stable: one run or paragraph per line, members in a fixed order.
std::string DocumentToJson(const StyledDocument& document);

// Reads the JSON form. Throws ToolError (usage status) naming `sourceName`, the line and column
// and the JSON path of the first problem.
StyledDocument DocumentFromJson(std::string_view json, const std::string& sourceName);

}  // namespace pendlow
