// Which program most likely wrote an RTF document, told from the name the document gives in
// its "\*\generator" group or, when it gives none, from control words that only one family of
// writers emits. A guess for reports (`pendlow survey`), never used to change an import.
#pragma once

#include <string>
#include <string_view>

namespace pendlow {

enum class Writer {
  kWord97To2003,
  kWord2007On,
  kWordPad,
  kTextEdit,
  kLibreOffice,
  kAbiWord,
  kOther
};

constexpr Writer kAllWriters[] = {Writer::kWord97To2003, Writer::kWord2007On,  Writer::kWordPad,
                                  Writer::kTextEdit,     Writer::kLibreOffice, Writer::kAbiWord,
                                  Writer::kOther};

struct WriterGuess {
  Writer writer = Writer::kOther;
  std::string generator;  // the "\*\generator" text as written (raw bytes), "" when absent
  std::string clue;       // what decided: "generator", or the control word found, or ""
};

WriterGuess GuessWriter(std::string_view rtf);

// "Word 97-2003", "Word 2007+", "WordPad", "TextEdit", "LibreOffice/OpenOffice", "AbiWord",
// "other".
const char* WriterName(Writer writer);

}  // namespace pendlow
