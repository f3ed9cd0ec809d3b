#include "document/document_writer.h"

#include <cstdlib>

namespace pendlow {

namespace {

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != std::string_view::npos;
}

// A control word as a whole word: "\rsidtbl" but not "\rsidtblx".
bool HasControlWord(std::string_view rtf, std::string_view word) {
  for (size_t at = rtf.find(word); at != std::string_view::npos; at = rtf.find(word, at + 1)) {
    size_t end = at + word.size();
    if (end >= rtf.size()) return true;
    char next = rtf[end];
    if (!(next >= 'a' && next <= 'z') && !(next >= 'A' && next <= 'Z')) return true;
  }
  return false;
}

// Finds "{\*\generator TEXT;}" and stores TEXT (it ends at ";" or "}"), trimmed; false when
// the document names no generator.
bool FindGenerator(std::string_view rtf, std::string* text) {
  static constexpr std::string_view kMark = "\\*\\generator";
  size_t at = rtf.find(kMark);
  if (at == std::string_view::npos) return false;
  size_t from = at + kMark.size();
  size_t to = rtf.find_first_of(";}", from);
  if (to == std::string_view::npos) to = rtf.size();
  std::string_view value = rtf.substr(from, to - from);
  while (!value.empty() && (value.front() == ' ' || value.front() == '\r' || value.front() == '\n'))
    value.remove_prefix(1);
  while (!value.empty() && (value.back() == ' ' || value.back() == '\r' || value.back() == '\n'))
    value.remove_suffix(1);
  *text = std::string(value);
  return true;
}

// Word names itself "Microsoft Word 11.0.6568": releases up to 11 (Word 2003) are the older
// family; 12 is Word 2007.
Writer WordByVersion(std::string_view generator) {
  static constexpr std::string_view kWord = "Microsoft Word";
  size_t at = generator.find(kWord) + kWord.size();
  while (at < generator.size() && generator[at] == ' ') ++at;
  long major = std::strtol(std::string(generator.substr(at)).c_str(), nullptr, 10);
  return major >= 12 ? Writer::kWord2007On : Writer::kWord97To2003;
}

struct NameRule {
  std::string_view part;  // found in the generator text
  Writer writer;
};

constexpr NameRule kGeneratorRules[] = {
    {"Msftedit", Writer::kWordPad},         // WordPad from Windows XP SP2 on
    {"Riched20", Writer::kWordPad},         // WordPad of Windows 10 and 11
    {"LibreOffice", Writer::kLibreOffice},  //
    {"OpenOffice", Writer::kLibreOffice},   //
    {"StarOffice", Writer::kLibreOffice},   //
    {"AbiWord", Writer::kAbiWord},          //
};

struct WordRule {
  std::string_view word;  // a control word, backslash included
  Writer writer;
};

// For documents without a generator, first match wins. Word 2007 and later write no generator
// but always carry the document theme and the maths settings; Word 97-2003 number outline
// levels with "\pnseclvl" and (from Word 2002) keep revision ids. TextEdit marks every document
// with its Cocoa RTF version; AbiWord tags its fonts and lists; LibreOffice and OpenOffice
// write their page styles.
constexpr WordRule kClueRules[] = {
    {"\\cocoartf", Writer::kTextEdit},     {"\\fttruetype", Writer::kAbiWord},
    {"\\listtag", Writer::kAbiWord},       {"\\pgdsctbl", Writer::kLibreOffice},
    {"\\themedata", Writer::kWord2007On},  {"\\colorschememapping", Writer::kWord2007On},
    {"\\mmathPr", Writer::kWord2007On},    {"\\rsidtbl", Writer::kWord97To2003},
    {"\\pnseclvl", Writer::kWord97To2003},
};

}  // namespace

WriterGuess GuessWriter(std::string_view rtf) {
  WriterGuess guess;
  // TextEdit's mark comes first: its documents never name a generator worth more.
  if (HasControlWord(rtf, "\\cocoartf")) {
    guess.writer = Writer::kTextEdit;
    guess.clue = "\\cocoartf";
    FindGenerator(rtf, &guess.generator);
    return guess;
  }
  if (FindGenerator(rtf, &guess.generator)) {
    guess.clue = "generator";
    if (Contains(guess.generator, "Microsoft Word")) {
      guess.writer = WordByVersion(guess.generator);
      return guess;
    }
    for (const NameRule& rule : kGeneratorRules) {
      if (Contains(guess.generator, rule.part)) {
        guess.writer = rule.writer;
        return guess;
      }
    }
    guess.writer = Writer::kOther;
    return guess;
  }
  for (const WordRule& rule : kClueRules) {
    if (HasControlWord(rtf, rule.word)) {
      guess.writer = rule.writer;
      guess.clue = std::string(rule.word);
      return guess;
    }
  }
  return guess;
}

const char* WriterName(Writer writer) {
  switch (writer) {
    case Writer::kWord97To2003:
      return "Word 97-2003";
    case Writer::kWord2007On:
      return "Word 2007+";
    case Writer::kWordPad:
      return "WordPad";
    case Writer::kTextEdit:
      return "TextEdit";
    case Writer::kLibreOffice:
      return "LibreOffice/OpenOffice";
    case Writer::kAbiWord:
      return "AbiWord";
    case Writer::kOther:
      break;
  }
  return "other";
}

}  // namespace pendlow
