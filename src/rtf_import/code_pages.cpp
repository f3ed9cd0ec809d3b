// Windows code pages of "\ansicpgN" mapped to the host's text-encoding numbering.
#include "rtf_import/code_pages.h"

namespace {

struct CodePageEncoding {
  long long codePage;
  unsigned int encoding;
};

constexpr CodePageEncoding kCodePages[] = {
    {437, 0x0400},    // DOS Latin US
    {850, 0x0410},    // DOS Latin 1
    {852, 0x0412},    // DOS Latin 2
    {860, 0x0415},    // DOS Portuguese
    {862, 0x0417},    // DOS Hebrew
    {863, 0x0418},    // DOS Canadian French
    {864, 0x0419},    // DOS Arabic
    {865, 0x041A},    // DOS Nordic
    {866, 0x041B},    // DOS Russian
    {874, 0x041D},    // Thai
    {932, 0x0420},    // Japanese (Shift_JIS)
    {936, 0x0421},    // Simplified Chinese (GBK)
    {949, 0x0422},    // Korean
    {950, 0x0423},    // Traditional Chinese (Big5)
    {1250, 0x0501},   // Central European
    {1251, 0x0502},   // Cyrillic
    {1252, 0x0500},   // Western
    {1253, 0x0503},   // Greek
    {1254, 0x0504},   // Turkish
    {1255, 0x0505},   // Hebrew
    {1256, 0x0506},   // Arabic
    {1257, 0x0507},   // Baltic
    {1258, 0x0508},   // Vietnamese
    {1361, 0x0510},   // Korean Johab
    {10000, 0x0000},  // Mac Roman
    {10001, 0x0001},  // Mac Japanese
    {10004, 0x0004},  // Mac Arabic
    {10005, 0x0005},  // Mac Hebrew
    {10006, 0x0006},  // Mac Greek
    {10007, 0x0007},  // Mac Cyrillic
    {10029, 0x001D},  // Mac Central European
    {10081, 0x0023},  // Mac Turkish
};

constexpr unsigned int kWindowsLatin1 = 0x0500;

}  // namespace

unsigned int FindEncoding(long long codePage) {
  for (const CodePageEncoding& entry : kCodePages) {
    if (entry.codePage == codePage) return entry.encoding;
  }
  return kWindowsLatin1;
}
