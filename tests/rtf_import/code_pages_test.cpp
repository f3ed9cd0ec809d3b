// Code pages of "\ansicpgN" to host text encodings.
#include <gtest/gtest.h>

#include "rtf_import/code_pages.h"

namespace {

TEST(FindEncoding, EveryKnownCodePage) {
  const struct {
    long long codePage;
    unsigned int encoding;
  } table[] = {
      {437, 1024},   {850, 1040},   {852, 1042},  {860, 1045},  {862, 1047},  {863, 1048},
      {864, 1049},   {865, 1050},   {866, 1051},  {874, 1053},  {932, 1056},  {936, 1057},
      {949, 1058},   {950, 1059},   {1250, 1281}, {1251, 1282}, {1252, 1280}, {1253, 1283},
      {1254, 1284},  {1255, 1285},  {1256, 1286}, {1257, 1287}, {1258, 1288}, {1361, 1296},
      {10000, 0},    {10001, 1},    {10004, 4},   {10005, 5},   {10006, 6},   {10007, 7},
      {10029, 0x1D}, {10081, 0x23},
  };
  for (const auto& row : table) {
    EXPECT_EQ(FindEncoding(row.codePage), row.encoding) << row.codePage;
  }
}

TEST(FindEncoding, UnknownCodePagesAreWindowsLatin1) {
  for (long long codePage : {855LL, 857LL, 869LL, 1200LL, 65001LL, 10002LL, 10003LL, 10008LL,
                             10010LL, 0LL, -1LL, -1252LL, 1LL, 1259LL, 4294968548LL}) {
    EXPECT_EQ(FindEncoding(codePage), 1280u) << codePage;
  }
}

TEST(FindEncoding, MatchIsExact) {
  // Neighbours of table entries do not fall into them.
  EXPECT_EQ(FindEncoding(436), 1280u);
  EXPECT_EQ(FindEncoding(438), 1280u);
  EXPECT_EQ(FindEncoding(9999), 1280u);
  EXPECT_EQ(FindEncoding(10030), 1280u);
}

}  // namespace
