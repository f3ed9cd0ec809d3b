// Runs the built pendlow executable as a child process and captures what it does.
#pragma once

#include <string>
#include <vector>

namespace tooltest {

struct ToolResult {
  std::string out;  // standard output
  std::string err;  // standard error
  int status = -1;  // exit status, or 128 + signal number
};

struct RunOptions {
  std::string input;                     // fed to standard input
  bool stderrTerminal = false;           // standard error is a pseudo-terminal
  bool stdoutTerminal = false;           // standard output is a pseudo-terminal
  std::vector<std::string> environment;  // NAME=VALUE to set, -NAME to remove
  std::string workingDirectory;          // empty: the test's own
  std::string program;                   // empty: the built tool
};

ToolResult RunTool(const std::vector<std::string>& arguments, const RunOptions& options = {});
// RunTool with `input` on standard input.
ToolResult RunWithInput(const std::vector<std::string>& arguments, const std::string& input);
// `pendlow <command> <options> -`: the command on `input` given on standard input.
ToolResult RunOnStandardInput(const std::string& command, const std::string& input,
                              const std::vector<std::string>& options = {});
// RunTool in the working directory `directory`.
ToolResult RunIn(const std::string& directory, const std::vector<std::string>& arguments);

// Whether this machine can give a child a pseudo-terminal (for the terminal-only features).
bool TerminalsAvailable();

// A fresh directory, removed with its content when the object goes.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
  const std::string& path() const { return path_; }
  std::string File(const std::string& name) const { return path_ + "/" + name; }
  std::vector<std::string> Entries() const;  // names in the directory, sorted

 private:
  std::string path_;
};

std::string ReadFile(const std::string& path);
void WriteFile(const std::string& path, const std::string& bytes);

std::string ToolPath();
std::string LibraryPath();
std::string SamplePath(const std::string& name);  // samples/<name>
std::string CorpusPath(const std::string& name);  // the real RTF corpus
// "samples/<name>" is a sample, any other name a corpus document.
std::string DocumentPath(const std::string& name);
// A test name for a document: its letters and digits, every other character '_'.
std::string TestNameOf(const std::string& document);

// Lines of `text` without their line feeds.
std::vector<std::string> Lines(const std::string& text);

}  // namespace tooltest
