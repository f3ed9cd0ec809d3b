// Flags and declaration rules of registration, tested on the library's own objects because the
// host only ever sees their result for this library's one member.
#include <gtest/gtest.h>

#include <string>

#include "frame/member_flags.h"
#include "frame/registration.h"

namespace {

struct HostVersion {
  explicit HostVersion(double v) : saved(rbversion) { rbversion = v; }
  ~HostVersion() { rbversion = saved; }
  double saved;
};

std::string Getter(const char* declaration) {
  char out[1000];
  EXPECT_TRUE(MakeExtensionGetterDeclaration(declaration, "StyledText", out, sizeof out));
  return out;
}

std::string Setter(const std::string& getter) {
  char out[1000];
  EXPECT_TRUE(MakeExtensionSetterDeclaration(getter.c_str(), out, sizeof out));
  return out;
}

TEST(ControlVersion, FollowsHostVersion) {
  EXPECT_EQ(ControlVersionFor(0.0), 9);
  EXPECT_EQ(ControlVersionFor(2011.04), 9);
  EXPECT_EQ(ControlVersionFor(2012.0), 10);
  EXPECT_EQ(ControlVersionFor(2012.99), 10);
  EXPECT_EQ(ControlVersionFor(2013.0), 11);
  EXPECT_EQ(ControlVersionFor(2013.03), 12);
  EXPECT_EQ(ControlVersionFor(2013.04), 13);
  EXPECT_EQ(ControlVersionFor(2019.0), 13);
  EXPECT_EQ(ControlVersionFor(3000.0), 13);
}

TEST(FixFlags, DesktopWebConsoleBecomesAllTargetsBefore2020r2) {
  HostVersion host(2019.03);
  EXPECT_EQ(FixFlagsWord(kDesktopWebConsole), kModuleFlags);
  EXPECT_EQ(FixFlagsWord(0x318), 0x14u);
}

TEST(FixFlags, TargetBitsKeptFrom2020r2) {
  HostVersion host(2020.02);
  EXPECT_EQ(FixFlagsWord(kDesktopWebConsole), kDesktopWebConsole);
}

TEST(FixFlags, WordWithIOSBitIsNeverRewritten) {
  for (double v : {0.0, 2013.04, 2019.03, 2020.02}) {
    HostVersion host(v);
    EXPECT_EQ(FixFlagsWord(kDesktopWebConsoleIOS), kDesktopWebConsoleIOS) << v;
  }
}

TEST(FixFlags, Bit40000BecomesAllTargetsFrom2010r029) {
  {
    HostVersion host(2010.029);
    EXPECT_EQ(FixFlagsWord(kHiddenAllTargets), kModuleFlags);
  }
  {
    HostVersion host(2010.028);
    EXPECT_EQ(FixFlagsWord(kHiddenAllTargets), 0x0u);
  }
}

TEST(FixFlags, PropertyFlagsOfDebuggingNeverChange) {
  for (double v : {0.0, 2012.99, 2019.03, 2020.02, 3000.0}) {
    HostVersion host(v);
    EXPECT_EQ(FixFlagsWord(kDebuggingPropertyFlags), kDebuggingPropertyFlags) << v;
  }
}

TEST(FixFlags, AdjustsEveryRecordOfAList) {
  HostVersion host(2019.0);
  REALmethodDefinition methods[2] = {};
  methods[0].flags = kDesktopWebConsole;
  methods[1].flags = kHiddenAllTargets;
  FixFlags(methods, 2, "test");
  EXPECT_EQ(methods[0].flags, kModuleFlags);
  EXPECT_EQ(methods[1].flags, kModuleFlags);

  REALproperty properties[1] = {};
  properties[0].flags = kDesktopWebConsole;
  FixFlags(properties, 1, "test");
  EXPECT_EQ(properties[0].flags, kModuleFlags);
}

TEST(FixFlags, NullListOrNonPositiveCountDoesNothing) {
  HostVersion host(2019.0);
  REALmethodDefinition methods[1] = {};
  methods[0].flags = kDesktopWebConsole;
  FixFlags(methods, 0, "test");
  FixFlags(methods, -1, "test");
  EXPECT_EQ(methods[0].flags, kDesktopWebConsole);
  FixFlags(static_cast<REALmethodDefinition*>(nullptr), 5, "test");
  FixFlags(static_cast<REALproperty*>(nullptr), 5, "test");
}

TEST(DeclarationRewriting, WorkedExample) {
  std::string g = Getter("RTFDataZVK(SkipParagraphs as boolean = false) as string");
  EXPECT_EQ(g,
            "RTFDataZVK(extends ref as StyledText, SkipParagraphs as boolean = false) as string");
  EXPECT_EQ(Setter(g),
            "RTFDataZVK(extends ref as StyledText, SkipParagraphs as boolean = false, assigns "
            "value as string)");
}

TEST(DeclarationRewriting, WithoutParameters) {
  std::string g = Getter("Foo as Integer");
  EXPECT_EQ(g, "Foo(extends ref as StyledText) as Integer");
  EXPECT_EQ(Setter(g), "Foo(extends ref as StyledText, assigns value as Integer)");
}

TEST(DeclarationRewriting, BareName) {
  std::string g = Getter("Foo");
  EXPECT_EQ(g, "Foo(extends ref as StyledText)");
  EXPECT_EQ(Setter(g), "Foo(extends ref as StyledText, assigns value)");
}

TEST(DeclarationRewriting, EmptyParenthesesKeepTheDanglingComma) {
  EXPECT_EQ(Getter("Foo()"), "Foo(extends ref as StyledText, )");
}

TEST(DeclarationRewriting, SetterWithoutParenthesisUsesFirstSpace) {
  EXPECT_EQ(Setter("Foo as Integer"), "Foo(assigns value as Integer)");
}

TEST(DeclarationRewriting, SetterFailsWithoutParenthesisOrSpace) {
  char out[1000];
  EXPECT_FALSE(MakeExtensionSetterDeclaration("", out, sizeof out));
  EXPECT_FALSE(MakeExtensionSetterDeclaration("Foo", out, sizeof out));
}

TEST(DeclarationRewriting, LongDeclarationIsCutToTheBuffer) {
  std::string name(1500, 'x');
  std::string declaration = name + "(a as Integer)";
  char out[1000];
  ASSERT_TRUE(MakeExtensionGetterDeclaration(declaration.c_str(), "StyledText", out, sizeof out));
  EXPECT_EQ(std::string(out), std::string(999, 'x'));
  std::string shortName(990, 'y');
  declaration = shortName + " as Integer";
  ASSERT_TRUE(MakeExtensionGetterDeclaration(declaration.c_str(), "StyledText", out, sizeof out));
  EXPECT_EQ(std::string(out), shortName + "(extends ");
}

}  // namespace
