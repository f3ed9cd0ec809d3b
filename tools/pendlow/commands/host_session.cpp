#include "commands/host_session.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <tuple>

#include "formats/formats.h"
#include "support/console.h"
#include "support/platform.h"
#include "support/tool_error.h"

namespace pendlow {

namespace {

// A run's text and formatting, between the tool's run and the simulated host's records.
template <typename To, typename From>
To CopyRun(const From& run) {
  To out;
  std::tie(out.text, out.font, out.size, out.color, out.bold, out.italic, out.underline) =
      std::tie(run.text, run.font, run.size, run.color, run.bold, run.italic, run.underline);
  return out;
}

}  // namespace

std::string LibraryBesideTool() {
  std::string self = ExecutablePath();
  if (self.empty()) return kLibraryFileName;
  size_t slash = self.find_last_of(kPathSeparators);
  return (slash == std::string::npos ? std::string("./") : self.substr(0, slash + 1)) +
         kLibraryFileName;
}

HostSession::HostSession(const Options& options) : options_(options) {
  libraryPath_ = options.library ? *options.library : LibraryBesideTool();

  // Say plainly what is wrong with the file before the loader's own wording gets a chance.
  struct stat info {};
  if (::stat(libraryPath_.c_str(), &info) != 0) {
    throw ToolError(kExitLibrary,
                    "cannot load library '" + libraryPath_ + "': " + std::strerror(errno));
  }
  if (S_ISDIR(info.st_mode)) {
    throw ToolError(kExitLibrary,
                    "cannot load library '" + libraryPath_ + "': " + std::strerror(EISDIR));
  }
  if (::access(libraryPath_.c_str(), R_OK) != 0) {
    throw ToolError(kExitLibrary,
                    "cannot load library '" + libraryPath_ + "': " + std::strerror(errno));
  }

  simhost::Options hostOptions;
  hostOptions.version = options.hostVersion;
  hostOptions.captureLog = true;  // the library's log is shown only with --debug
  host_ = std::make_unique<simhost::Host>(hostOptions);
  plugin_ = std::make_unique<simhost::Plugin>(*host_, libraryPath_);
  if (!plugin_->loaded()) {
    throw ToolError(kExitLibrary, "cannot use the library: " + plugin_->error());
  }
  if (options.debug) {
    if (plugin_->HasDebugging()) {
      plugin_->SetDebugging(true);
    } else {
      console::Note("host version " + options.hostVersionText +
                    " gets no Debugging property from the library (it registers a class "
                    "extension there), so the library's log stays off");
    }
  }
  ShowLog();
}

HostSession::~HostSession() {
  plugin_.reset();  // the library goes before the host it talks to
  host_.reset();
}

void HostSession::ShowLog() {
  if (options_.debug) {
    for (const std::string& line : host_->Log()) console::Write(line + "\n");
  }
  host_->ClearLog();
}

void HostSession::RequireMember() const {
  if (!plugin_->HasMember()) {
    throw ToolError(kExitLibrary, "library '" + libraryPath_ +
                                      "' registered no RTFDataZVK member for host version " +
                                      options_.hostVersionText);
  }
}

void HostSession::Assign(REALobject styledText, std::string_view rtf) {
  RequireMember();
  plugin_->Set(styledText, rtf);
  ShowLog();
}

void HostSession::Assign(REALobject styledText, std::string&& rtf) {
  RequireMember();
  REALstring value = host_->AdoptString(std::move(rtf), kREALTextEncodingUTF8);
  plugin_->SetRaw(styledText, false, value);
  host_->Release(value);
  ShowLog();
}

std::string HostSession::Member(REALobject styledText, bool skipParagraphs) {
  RequireMember();
  REALstring result = plugin_->GetRaw(styledText, skipParagraphs);
  ShowLog();
  if (result == nullptr) return std::string();
  std::string bytes = host_->BytesOf(result);
  host_->Release(result);
  return bytes;
}

StyledDocument HostSession::Read(REALobject styledText) {
  StyledDocument document;
  for (const simhost::Run& run : host_->RunsOf(styledText)) {
    document.runs.push_back(CopyRun<StyledRun>(run));
  }
  document.paragraphs = Paragraphs(styledText);
  return document;
}

std::vector<StyledParagraph> HostSession::Paragraphs(REALobject styledText) {
  std::vector<StyledParagraph> paragraphs;
  for (const simhost::Paragraph& p : host_->ParagraphsOf(styledText)) {
    paragraphs.push_back({p.start, p.end, p.alignment});
  }
  return paragraphs;
}

void HostSession::WritePlainText(REALobject styledText,
                                 const std::function<void(std::string_view)>& write) {
  constexpr size_t kPiece = size_t{1} << 16;  // text taken at a time
  constexpr size_t kFlush = size_t{1} << 18;  // output handed over once it is this long
  std::vector<StyledParagraph> paragraphs = Paragraphs(styledText);
  std::string out;
  PlainTextWriter writer(paragraphs, &out);
  if (!writer.ordered()) {
    write(FormatText(Read(styledText)));
    return;
  }
  out.reserve(kFlush + kPiece + 1);
  host_->VisitText(styledText, [&](std::string_view text) {
    while (!text.empty()) {
      // Pieces end on a character boundary.
      size_t n = text.size();
      if (n > kPiece) {
        n = kPiece;
        while (n > 0 && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) --n;
        if (n == 0) n = kPiece;
      }
      writer.Add(text.substr(0, n));
      text.remove_prefix(n);
      if (out.size() >= kFlush) {
        write(out);
        out.clear();
      }
    }
  });
  writer.Finish();
  if (!out.empty()) write(out);
}

void HostSession::Fill(REALobject styledText, const StyledDocument& document,
                       const std::string& sourceName) {
  for (const StyledRun& run : document.runs) {
    host_->AppendRun(styledText, CopyRun<simhost::RunRecipe>(run));
  }
  std::vector<simhost::Paragraph> paragraphs = host_->ParagraphsOf(styledText);
  for (size_t i = 0; i < document.requests.size(); ++i) {
    const ParagraphRequest& request = document.requests[i];
    auto where = [&](const ParagraphRequest::Place& place) {
      return sourceName + ":" + std::to_string(place.line) + ":" + std::to_string(place.column) +
             ": " + place.path + ": ";
    };
    if (i >= paragraphs.size()) {
      throw ToolError(kExitUsage, where(request.place) + "the runs' text has only " +
                                      std::to_string(paragraphs.size()) + " paragraph" +
                                      (paragraphs.size() == 1 ? "" : "s"));
    }
    if (request.start && *request.start != paragraphs[i].start) {
      throw ToolError(kExitUsage, where(request.startPlace) + "paragraph " + std::to_string(i) +
                                      " starts at " + std::to_string(paragraphs[i].start) +
                                      " in the runs' text, not at " +
                                      std::to_string(*request.start));
    }
    if (request.end && *request.end != paragraphs[i].end) {
      throw ToolError(kExitUsage, where(request.endPlace) + "paragraph " + std::to_string(i) +
                                      " ends at " + std::to_string(paragraphs[i].end) +
                                      " in the runs' text, not at " + std::to_string(*request.end));
    }
    host_->SetParagraphAlignment(styledText, static_cast<int64_t>(i), request.alignment);
  }
}

StyledDocument HostSession::Import(std::string&& rtf) {
  StyledTextRef styledText(*host_, NewStyledText());
  Assign(styledText.get(), std::move(rtf));
  return Read(styledText.get());
}

std::string HostSession::Export(const StyledDocument& document, bool skipParagraphs,
                                const std::string& sourceName) {
  StyledTextRef styledText(*host_, NewStyledText());
  Fill(styledText.get(), document, sourceName);
  return Member(styledText.get(), skipParagraphs);
}

}  // namespace pendlow
