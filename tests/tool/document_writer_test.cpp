// The writer guess of `pendlow survey`, one document head per rule.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "document/document_writer.h"

namespace tooltest {
namespace {

using pendlow::GuessWriter;
using pendlow::Writer;
using pendlow::WriterName;

struct Case {
  const char* rtf;
  Writer writer;
  const char* generator;
  const char* clue;
};

class WriterGuessTest : public ::testing::TestWithParam<Case> {};

TEST_P(WriterGuessTest, NamesTheWriter) {
  const Case& c = GetParam();
  pendlow::WriterGuess guess = GuessWriter(c.rtf);
  EXPECT_EQ(WriterName(guess.writer), std::string(WriterName(c.writer))) << c.rtf;
  EXPECT_EQ(guess.generator, c.generator) << c.rtf;
  EXPECT_EQ(guess.clue, c.clue) << c.rtf;
}

const Case kCases[] = {
    // Named by the generator.
    {"{\\rtf1{\\*\\generator Microsoft Word 11.0.6568;}x}", Writer::kWord97To2003,
     "Microsoft Word 11.0.6568", "generator"},
    {"{\\rtf1{\\*\\generator Microsoft Word 10.0.2627;}{\\*\\rsidtbl \\rsid1}x}",
     Writer::kWord97To2003, "Microsoft Word 10.0.2627", "generator"},
    {"{\\rtf1{\\*\\generator Microsoft Word 16.0;}x}", Writer::kWord2007On, "Microsoft Word 16.0",
     "generator"},
    {"{\\rtf1{\\*\\generator Msftedit 5.41.21.2510;}\\viewkind4 x}", Writer::kWordPad,
     "Msftedit 5.41.21.2510", "generator"},
    {"{\\rtf1{\\*\\generator Riched20 10.0.19041}\\viewkind4 x}", Writer::kWordPad,
     "Riched20 10.0.19041", "generator"},
    // WordPad's maths settings do not make it Word: the generator comes first.
    {"{\\rtf1{\\*\\generator Riched20 15.0.4567}{\\*\\mmathPr\\mwrapIndent1440 }x}",
     Writer::kWordPad, "Riched20 15.0.4567", "generator"},
    {"{\\rtf1{\\*\\generator LibreOffice/6.0.7.3$Linux_X86_64 LibreOffice_project/00m0$Build-3}"
     "{\\*\\pgdsctbl}x}",
     Writer::kLibreOffice, "LibreOffice/6.0.7.3$Linux_X86_64 LibreOffice_project/00m0$Build-3",
     "generator"},
    {"{\\rtf1{\\*\\generator OpenOffice.org 3.2;}x}", Writer::kLibreOffice, "OpenOffice.org 3.2",
     "generator"},
    {"{\\rtf1{\\*\\generator AbiWord 2.8;}x}", Writer::kAbiWord, "AbiWord 2.8", "generator"},
    {"{\\rtf1{\\*\\generator Aspose.Words for Java 13.12.0.0;}{\\*\\rsidtbl \\rsid1}x}",
     Writer::kOther, "Aspose.Words for Java 13.12.0.0", "generator"},
    {"{\\rtf1{\\*\\generator   hand coded  ;}x}", Writer::kOther, "hand coded", "generator"},
    // Told by clues when no generator is named.
    {"{\\rtf1\\ansi\\ansicpg1252\\cocoartf2639\n\\cocoatextscaling0 x}", Writer::kTextEdit, "",
     "\\cocoartf"},
    {"{\\rtf1\\cocoartf1038{\\*\\generator Something;}x}", Writer::kTextEdit, "Something",
     "\\cocoartf"},
    {"{\\rtf1{\\fonttbl {\\f0\\fnil\\fcharset0\\fprq0\\fttruetype Times;}}x}", Writer::kAbiWord, "",
     "\\fttruetype"},
    {"{\\rtf1{\\*\\listtag0}x}", Writer::kAbiWord, "", "\\listtag"},
    {"{\\rtf1{\\*\\pgdsctbl{\\pgdsc0 Default;}}x}", Writer::kLibreOffice, "", "\\pgdsctbl"},
    {"{\\rtf1{\\*\\rsidtbl \\rsid1}x{\\*\\themedata 504b}}", Writer::kWord2007On, "",
     "\\themedata"},
    {"{\\rtf1{\\*\\colorschememapping 3c3f}x}", Writer::kWord2007On, "", "\\colorschememapping"},
    {"{\\rtf1{\\*\\rsidtbl \\rsid1}{\\*\\mmathPr\\mdispDef1}x}", Writer::kWord2007On, "",
     "\\mmathPr"},
    {"{\\rtf1{\\*\\rsidtbl \\rsid1}x}", Writer::kWord97To2003, "", "\\rsidtbl"},
    {"{\\rtf1{\\*\\pnseclvl1\\pnucrm\\pnstart1}x}", Writer::kWord97To2003, "", "\\pnseclvl"},
    // A longer word that merely starts like a clue is not the clue.
    {"{\\rtf1{\\*\\rsidtblx}x}", Writer::kOther, "", ""},
    {"{\\rtf1\\ansi x}", Writer::kOther, "", ""},
    {"", Writer::kOther, "", ""},
    // A generator group cut off at the end of the document.
    {"{\\rtf1{\\*\\generator Msftedit 5", Writer::kWordPad, "Msftedit 5", "generator"},
};

INSTANTIATE_TEST_SUITE_P(Heads, WriterGuessTest, ::testing::ValuesIn(kCases));

TEST(WriterNames, SevenDistinctClasses) {
  std::set<std::string> names;
  for (Writer writer : pendlow::kAllWriters) names.insert(WriterName(writer));
  EXPECT_EQ(names, (std::set<std::string>{"Word 97-2003", "Word 2007+", "WordPad", "TextEdit",
                                          "LibreOffice/OpenOffice", "AbiWord", "other"}));
}

}  // namespace
}  // namespace tooltest
