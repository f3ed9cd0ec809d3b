// Windows code pages of "\ansicpgN" mapped to the host's text-encoding numbering.
#include "rtf_import/code_pages.h"

unsigned int FindEncoding(long long codePage) {
  switch (codePage) {
    case 437: return 0x0400;    // DOS Latin US
    case 850: return 0x0410;    // DOS Latin 1
    case 852: return 0x0412;    // DOS Latin 2
    case 860: return 0x0415;    // DOS Portuguese
    case 862: return 0x0417;    // DOS Hebrew
    case 863: return 0x0418;    // DOS Canadian French
    case 864: return 0x0419;    // DOS Arabic
    case 865: return 0x041A;    // DOS Nordic
    case 866: return 0x041B;    // DOS Russian
    case 874: return 0x041D;    // Thai
    case 932: return 0x0420;    // Japanese (Shift_JIS)
    case 936: return 0x0421;    // Simplified Chinese (GBK)
    case 949: return 0x0422;    // Korean
    case 950: return 0x0423;    // Traditional Chinese (Big5)
    case 1250: return 0x0501;   // Central European
    case 1251: return 0x0502;   // Cyrillic
    case 1252: return 0x0500;   // Western
    case 1253: return 0x0503;   // Greek
    case 1254: return 0x0504;   // Turkish
    case 1255: return 0x0505;   // Hebrew
    case 1256: return 0x0506;   // Arabic
    case 1257: return 0x0507;   // Baltic
    case 1258: return 0x0508;   // Vietnamese
    case 1361: return 0x0510;   // Korean Johab
    case 10000: return 0;       // Mac Roman
    case 10001: return 1;       // Mac Japanese
    case 10004: return 4;       // Mac Arabic
    case 10005: return 5;       // Mac Hebrew
    case 10006: return 6;       // Mac Greek
    case 10007: return 7;       // Mac Cyrillic
    case 10029: return 0x1D;    // Mac Central European
    case 10081: return 0x23;    // Mac Turkish
    default: return 0x0500;     // Windows-1252
  }
}
