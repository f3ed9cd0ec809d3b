// One simulated host with the plug-in library loaded into it, as the IDE loads it. Every
// conversion the tool shows goes through the library's own getter and setter.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "commands/cli_options.h"
#include "document/styled_document.h"
#include "simhost/host.h"

namespace pendlow {

// libPendlow.so (Pendlow.dll on Windows) in the directory of the running executable.
std::string LibraryBesideTool();

class HostSession {
 public:
  // Creates the host for the requested version and loads the library; throws ToolError with
  // the library status when the library cannot be loaded.
  explicit HostSession(const Options& options);
  ~HostSession();
  HostSession(const HostSession&) = delete;
  HostSession& operator=(const HostSession&) = delete;

  simhost::Host& host() { return *host_; }
  simhost::Plugin& plugin() { return *plugin_; }
  const std::string& libraryPath() const { return libraryPath_; }

  // A StyledText owned by the tool for the length of a scope.
  class StyledTextRef {
   public:
    StyledTextRef(simhost::Host& host, REALobject object) : host_(host), object_(object) {}
    ~StyledTextRef() {
      if (object_ != nullptr) host_.Release(object_);
    }
    StyledTextRef(const StyledTextRef&) = delete;
    StyledTextRef& operator=(const StyledTextRef&) = delete;
    REALobject get() const { return object_; }

   private:
    simhost::Host& host_;
    REALobject object_;
  };

  REALobject NewStyledText() { return host_->NewStyledText(); }

  // Assigns RTF bytes to the member, as `st.RTFDataZVK = rtf` does; the second form hands the
  // bytes over to the host string instead of copying them.
  void Assign(REALobject styledText, std::string_view rtf);
  void Assign(REALobject styledText, std::string&& rtf);
  // Reads the member, as `rtf = st.RTFDataZVK(skipParagraphs)` does: the bytes of the string
  // the getter returns ("" for null).
  std::string Member(REALobject styledText, bool skipParagraphs);
  // The runs and paragraphs the host holds.
  StyledDocument Read(REALobject styledText);
  std::vector<StyledParagraph> Paragraphs(REALobject styledText);
  // The plain text (FormatText of what Read returns), written straight from the host's text
  // and handed to `write` piece by piece (a few hundred kilobytes at a time).
  void WritePlainText(REALobject styledText, const std::function<void(std::string_view)>& write);
  // Appends the runs and applies the requested paragraph alignments, as application code
  // does: text first, then ParagraphAlignment paragraph by paragraph. Requests that do not fit
  // the text are reported against `sourceName`.
  void Fill(REALobject styledText, const StyledDocument& document, const std::string& sourceName);

  // A fresh StyledText with the RTF assigned, read back.
  StyledDocument Import(std::string&& rtf);
  // A fresh StyledText filled from the document, and what its member returns.
  std::string Export(const StyledDocument& document, bool skipParagraphs,
                     const std::string& sourceName);

  // With --debug, prints the library's log lines written since the last call.
  void ShowLog();

 private:
  void RequireMember() const;

  Options options_;
  std::string libraryPath_;
  std::unique_ptr<simhost::Host> host_;
  std::unique_ptr<simhost::Plugin> plugin_;
};

}  // namespace pendlow
