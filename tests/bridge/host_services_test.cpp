// The cached host service wrappers as the bridge relies on them: a missing service gives its
// neutral result, leaves the caller's preset alone and is resolved again on the next use; the
// byte-contents wrapper keeps its own caches for "StringGetCString" and the global LenB.
#include <gtest/gtest.h>

#include <string>

#include "frame/host_contract.h"
#include "bridge_fixture.h"

namespace {

const char* const kLenBDecl = host_contract::kLenBDeclaration;
const char* const kLenDecl = host_contract::kLenDeclaration;

TEST_F(BridgeWithheld, MissingColourReaderKeepsThePresetAndIsResolvedAgain) {
  bridge_test::HostWithout host({"REALGetPropValueColor"});
  REALobject run = host.NewObject("StyleRun");
  EXPECT_TRUE(REALSetPropValueUInt32(run, "TextColor", 0x00123456));
  uint32_t color = 0xDEADBEEF;
  bridge_test::ExpectLookedUpUntilFound(
      host, "REALGetPropValueColor",
      [&] {
        EXPECT_FALSE(REALGetPropValueColor(run, "TextColor", &color));
        EXPECT_EQ(color, 0xDEADBEEFu) << "the preset stays";
        EXPECT_EQ(host.Calls("REALGetPropValueColor"), 0u);
      },
      [&] {
        EXPECT_TRUE(REALGetPropValueColor(run, "TextColor", &color));
        EXPECT_EQ(color, 0x00123456u);
      });
  EXPECT_EQ(host.Calls("REALGetPropValueColor"), 2u);
  REALUnlockObject(run);
  EXPECT_EQ(host.LiveObjects(), 0u);
}

TEST_F(BridgeWithheld, StringContentsKeepsItsOwnLenBCache) {
  simhost::Host host;
  bridge_test::ConnectLibrary();
  REALstring s = host.NewStringUTF8("caf\xC3\xA9");
  for (int round = 0; round < 3; ++round) {
    int64_t length = -1;
    const char* bytes = REALGetStringContents(s, &length);
    EXPECT_EQ(length, 5);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::string(bytes, 5), "caf\xC3\xA9");
  }
  EXPECT_EQ(host.Lookups(kLenBDecl), 1u) << "LenB is looked up once and kept";
  EXPECT_EQ(host.Lookups("StringGetCString"), 1u);
  EXPECT_EQ(host.Lookups("REALLoadGlobalMethod"), 1u);
  EXPECT_EQ(host.Calls(kLenBDecl), 3u);
  // Len is a separate lookup: the LenB cache does not answer it.
  void* len = REALLoadFrameworkMethod(nullptr, kLenDecl);
  EXPECT_NE(len, nullptr);
  EXPECT_EQ(host.Lookups(kLenDecl), 1u);
  EXPECT_EQ(host.Lookups("REALLoadGlobalMethod"), 1u) << "the global-method service is shared";
  host.Release(s);
}

TEST_F(BridgeWithheld, MissingLenBIsLookedUpOnEveryRead) {
  bridge_test::HostWithout host({kLenBDecl});
  REALstring s = host.NewStringUTF8("abc");
  int64_t length = -1;
  bridge_test::ExpectLookedUpUntilFound(
      host, kLenBDecl,
      [&] {
        length = -1;
        EXPECT_NE(REALGetStringContents(s, &length), nullptr) << "the bytes still come";
        EXPECT_EQ(length, 0);
      },
      [&] {
        length = -1;
        REALGetStringContents(s, &length);
        EXPECT_EQ(length, 3);
      });
  host.Release(s);
}

}  // namespace
