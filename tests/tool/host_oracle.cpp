#include "host_oracle.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <utility>

#include "tool_runner.h"

namespace tooltest {

HostView ImportThroughHost(const std::string& rtf) {
  simhost::Host host;
  HostView view;
  {
    simhost::Plugin plugin(host, LibraryPath());
    REALobject st = host.NewStyledText();
    plugin.Set(st, rtf);
    view.runs = host.RunsOf(st);
    view.paragraphs = host.ParagraphsOf(st);
    view.text = host.TextOf(st);
    host.Release(st);
  }
  return view;
}

std::string ExportThroughHost(const std::vector<simhost::RunRecipe>& runs,
                              const std::vector<int64_t>& alignments, bool skipParagraphs) {
  simhost::Host host;
  std::string rtf;
  {
    simhost::Plugin plugin(host, LibraryPath());
    REALobject st = host.NewStyledText();
    for (const simhost::RunRecipe& run : runs) host.AppendRun(st, run);
    for (size_t i = 0; i < alignments.size(); ++i) {
      host.SetParagraphAlignment(st, static_cast<int64_t>(i), alignments[i]);
    }
    rtf = plugin.Get(st, skipParagraphs);
    host.Release(st);
  }
  return rtf;
}

std::string JsonString(const std::string& utf8) {
  // The characters with a short escape, and the escape.
  static const std::pair<char, const char*> kShort[] = {
      {'"', "\\\""}, {'\\', "\\\\"}, {'\r', "\\r"}, {'\n', "\\n"},
      {'\t', "\\t"}, {'\b', "\\b"},  {'\f', "\\f"}};
  std::string out = "\"";
  for (char c : utf8) {
    const auto u = static_cast<unsigned char>(c);
    const auto* escape = std::find_if(std::begin(kShort), std::end(kShort),
                                      [c](const auto& entry) { return entry.first == c; });
    if (escape != std::end(kShort)) {
      out += escape->second;
    } else if (u < 0x20 || u == 0x7F) {
      char buffer[8];
      std::snprintf(buffer, sizeof buffer, "\\u%04x", u);
      out += buffer;
    } else {
      out += c;
    }
  }
  return out + "\"";
}

std::string Hex6(uint32_t color) {
  char buffer[8];
  std::snprintf(buffer, sizeof buffer, "#%06X", color & 0xFFFFFFu);
  return buffer;
}

std::string JsonRunLine(const simhost::Run& run) {
  auto flag = [](bool on) { return on ? "true" : "false"; };
  std::string line = "{\"text\": " + JsonString(run.text) + ", \"font\": " + JsonString(run.font) +
                     ", \"size\": " + std::to_string(run.size) + ", \"color\": \"" +
                     Hex6(run.color) + "\"";
  if ((run.color >> 24) != 0) line += ", \"alpha\": " + std::to_string(run.color >> 24);
  line += std::string(", \"bold\": ") + flag(run.bold) + ", \"italic\": " + flag(run.italic) +
          ", \"underline\": " + flag(run.underline) + "}";
  return line;
}

std::string TextLines(const HostView& view) {
  // Separators (CR LF, CR, LF) become one line feed; a last paragraph gets one too.
  std::string out;
  const std::string& t = view.text;
  for (size_t i = 0; i < t.size(); ++i) {
    if (t[i] == '\r') {
      out += '\n';
      if (i + 1 < t.size() && t[i + 1] == '\n') ++i;
    } else {
      out += t[i];
    }
  }
  if (!out.empty() && out.back() != '\n') out += '\n';
  return out;
}

}  // namespace tooltest
