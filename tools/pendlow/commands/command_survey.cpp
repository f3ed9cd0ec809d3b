// `pendlow survey`: many documents through the member, one row each, and totals by writer.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <optional>
#include <vector>

#include "commands/commands.h"
#include "commands/host_session.h"
#include "document/document_writer.h"
#include "support/console.h"
#include "commands/input_output.h"
#include "support/json.h"
#include "support/platform.h"
#include "support/tool_error.h"

namespace pendlow {

namespace {

struct Row {
  std::string file;
  std::optional<std::string> error;  // the file could not be read
  size_t bytes = 0;
  WriterGuess writer;
  int64_t runs = 0, paragraphs = 0, characters = 0;
  double milliseconds = 0;
};

bool IsDirectory(const std::string& path) {
  struct stat info {};
  return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

bool EndsWithRtf(const std::string& name) {
  if (name.size() < 4) return false;
  std::string tail = name.substr(name.size() - 4);
  std::transform(tail.begin(), tail.end(), tail.begin(),
                 [](char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c + 32 : c); });
  return tail == ".rtf";
}

// Each file as given; a directory stands for its own *.rtf files (any case of the extension),
// sorted by name, without descending into subdirectories. A directory that cannot be listed
// becomes a row with its error.
std::vector<Row> Expand(const std::vector<std::string>& inputs) {
  std::vector<Row> rows;
  for (const std::string& input : inputs) {
    if (input == "-" || !IsDirectory(input)) {
      rows.push_back(Row{input, {}, 0, {}, 0, 0, 0, 0});
      continue;
    }
    DIR* dir = ::opendir(input.c_str());
    if (dir == nullptr) {
      rows.push_back(Row{input, "cannot list directory '" + input + "'", 0, {}, 0, 0, 0, 0});
      continue;
    }
    std::vector<std::string> names;
    while (const dirent* entry = ::readdir(dir)) {
      std::string name = entry->d_name;
      if (EndsWithRtf(name)) names.push_back(name);
    }
    ::closedir(dir);
    std::sort(names.begin(), names.end());
    std::string prefix = input;
    if (prefix.find_last_of(kPathSeparators) != prefix.size() - 1) prefix += "/";
    size_t before = rows.size();
    for (const std::string& name : names) {
      if (IsDirectory(prefix + name)) continue;
      rows.push_back(Row{prefix + name, {}, 0, {}, 0, 0, 0, 0});
    }
    if (rows.size() == before) console::Note("no .rtf files in directory '" + input + "'");
  }
  return rows;
}

// Code points of the text, paragraph separators (CR, LF) not counted.
int64_t VisibleCharacters(HostSession& session, REALobject styledText) {
  int64_t count = 0;
  session.host().VisitText(styledText, [&](std::string_view text) {
    for (char c : text) {
      unsigned char byte = static_cast<unsigned char>(c);
      count += (byte & 0xC0) != 0x80 && byte != '\r' && byte != '\n';
    }
  });
  return count;
}

void Survey(HostSession& session, Row& row, const std::string& counter) {
  Input input;
  try {
    input = ReadInput(row.file);
  } catch (const ToolError& e) {
    row.error = e.what();
    return;
  }
  row.bytes = input.bytes.size();
  row.writer = GuessWriter(input.bytes);
  if (console::IsTerminal()) console::Write("\r\033[Kpendlow: surveying " + counter);
  HostSession::StyledTextRef styledText(session.host(), session.NewStyledText());
  {
    Progress progress("surveying " + counter, row.bytes);
    auto start = std::chrono::steady_clock::now();
    session.Assign(styledText.get(), std::move(input.bytes));
    row.milliseconds =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  }
  row.runs = session.host().StyleRunCount(styledText.get());
  row.paragraphs = static_cast<int64_t>(session.host().ParagraphsOf(styledText.get()).size());
  row.characters = VisibleCharacters(session, styledText.get());
}

struct Totals {
  struct Count {
    int64_t files = 0, withText = 0;
  };
  int64_t files = 0, failed = 0, withText = 0;
  std::map<Writer, Count> byWriter;
};

Totals Count(const std::vector<Row>& rows) {
  Totals totals;
  for (const Row& row : rows) {
    ++totals.files;
    if (row.error) {
      ++totals.failed;
      continue;
    }
    Totals::Count& count = totals.byWriter[row.writer.writer];
    ++count.files;
    if (row.characters > 0) {
      ++totals.withText;
      ++count.withText;
    }
  }
  return totals;
}

std::string Milliseconds(double ms) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.3f", ms);
  return buffer;
}

std::string Pad(const std::string& text, size_t width, bool right) {
  if (text.size() >= width) return text;
  std::string fill(width - text.size(), ' ');
  return right ? fill + text : text + fill;
}

std::string FormatSurveyTable(const std::vector<Row>& rows, const Totals& totals) {
  size_t width = 4;
  for (const Row& row : rows) width = std::max(width, row.file.size());
  std::string out = Pad("file", width, false) + "  " + Pad("runs", 8, true) + "  " +
                    Pad("paragraphs", 10, true) + "  " + Pad("characters", 10, true) + "  " +
                    Pad("ms", 9, true) + "  writer\n";
  for (const Row& row : rows) {
    out += Pad(row.file, width, false) + "  ";
    if (row.error) {
      out += "error: " + *row.error + "\n";
      continue;
    }
    out += Pad(std::to_string(row.runs), 8, true) + "  " +
           Pad(std::to_string(row.paragraphs), 10, true) + "  " +
           Pad(std::to_string(row.characters), 10, true) + "  " +
           Pad(Milliseconds(row.milliseconds), 9, true) + "  " + WriterName(row.writer.writer) +
           "\n";
  }
  out += "\n" + std::to_string(totals.files) + (totals.files == 1 ? " file: " : " files: ") +
         std::to_string(totals.withText) + " import some text, " +
         std::to_string(totals.files - totals.failed - totals.withText) + " import nothing, " +
         std::to_string(totals.failed) + " could not be read\n\n";
  out += Pad("writer", 24, false) + Pad("files", 6, true) + Pad("with text", 11, true) + "\n";
  for (Writer writer : kAllWriters) {
    auto found = totals.byWriter.find(writer);
    Totals::Count count = found == totals.byWriter.end() ? Totals::Count{} : found->second;
    out += Pad(WriterName(writer), 24, false) + Pad(std::to_string(count.files), 6, true) +
           Pad(std::to_string(count.withText), 11, true) + "\n";
  }
  return out;
}

std::string OrNull(const std::string& text) {
  return text.empty() ? "null" : json::Quote(text);
}

std::string FormatSurveyJson(const std::vector<Row>& rows, const Totals& totals) {
  std::string out = "{\n  \"version\": 1,\n  \"files\": [";
  for (size_t i = 0; i < rows.size(); ++i) {
    const Row& row = rows[i];
    out += (i == 0 ? "\n    " : ",\n    ") + std::string("{\"file\": ") + json::Quote(row.file);
    if (row.error) {
      out += ", \"error\": " + json::Quote(*row.error) + "}";
      continue;
    }
    out += ", \"error\": null, \"bytes\": " + std::to_string(row.bytes) +
           ", \"writer\": " + json::Quote(WriterName(row.writer.writer)) +
           ", \"generator\": " + OrNull(row.writer.generator) +
           ", \"clue\": " + OrNull(row.writer.clue) + ", \"runs\": " + std::to_string(row.runs) +
           ", \"paragraphs\": " + std::to_string(row.paragraphs) +
           ", \"characters\": " + std::to_string(row.characters) +
           ", \"ms\": " + Milliseconds(row.milliseconds) + "}";
  }
  out += rows.empty() ? "],\n" : "\n  ],\n";
  out += "  \"totals\": {\"files\": " + std::to_string(totals.files) +
         ", \"with_text\": " + std::to_string(totals.withText) +
         ", \"failed\": " + std::to_string(totals.failed) + ", \"writers\": {";
  bool first = true;
  for (Writer writer : kAllWriters) {
    auto found = totals.byWriter.find(writer);
    Totals::Count count = found == totals.byWriter.end() ? Totals::Count{} : found->second;
    out += (first ? "\n    " : ",\n    ") + json::Quote(WriterName(writer)) +
           ": {\"files\": " + std::to_string(count.files) +
           ", \"with_text\": " + std::to_string(count.withText) + "}";
    first = false;
  }
  out += "\n  }}\n}\n";
  return out;
}

}  // namespace

int RunSurvey(const Options& options) {
  Timings timings;
  auto session = timings.Measure("load", [&] { return std::make_unique<HostSession>(options); });
  std::vector<Row> rows = Expand(options.inputs);
  if (options.output) {
    // The report must not replace one of the documents it is about.
    FileIdentity output = IdentityOfPath(*options.output);
    for (const Row& row : rows) {
      if (row.file != "-" && IdentityOfPath(row.file) == output) {
        throw ToolError(kExitUsage,
                        "refusing to write the output over the input file '" + row.file + "'");
      }
    }
  }
  timings.Measure("import", [&] {
    for (size_t i = 0; i < rows.size(); ++i) {
      if (rows[i].error) continue;
      Survey(*session, rows[i],
             std::to_string(i + 1) + "/" + std::to_string(rows.size()) + " " + rows[i].file);
    }
  });
  if (console::IsTerminal() && !rows.empty()) console::Write("\r\033[K");
  Totals totals = Count(rows);
  std::string out = options.format == Format::kJson ? FormatSurveyJson(rows, totals)
                                                    : FormatSurveyTable(rows, totals);
  timings.Measure("write", [&] { WriteOutput(options, nullptr, out); });
  if (options.time) console::Write("pendlow: " + timings.Report() + "\n");
  return totals.failed > 0 ? kExitUsage : kExitOk;
}

}  // namespace pendlow
