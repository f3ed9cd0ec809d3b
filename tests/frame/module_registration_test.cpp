// Failure paths of the module registration that a host never provokes: allocation failures and
// a declaration that cannot be rewritten. Their warnings are written even with debugging off.
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "frame/registration.h"
#include "simhost/host.h"

namespace {

int gAllocations = 0;
int gFailAt = 0;

void* FailingCalloc(size_t count, size_t size) {
  return ++gAllocations == gFailAt ? nullptr : std::calloc(count, size);
}

void RBCALL Dummy() {}

class ModuleRegistration : public testing::Test {
 protected:
  void SetUp() override {
    rbversion = 2019.0;
    gResolver = &simhost::Host::Resolve;
    DebuggingEnabled = false;
    gAllocations = 0;
    NewModule = nullptr;
    method.function = &Dummy;
    method.setterFunction = &Dummy;
    method.declaration = "Foo(a as Integer) as Integer";
    method.flags = 0x4;
    cls.name = "StyledText";
    cls.methods = &method;
    cls.methodCount = 1;
  }
  std::vector<std::string> Register(int failAt) {
    gFailAt = failAt;
    host.ClearLog();
    host.BeginLogCapture();
    RegisterClassAsModule(cls, FailingCalloc);
    host.EndLogCapture();
    // Registered modules live for the process, as they do in the IDE.
    static std::vector<REALmoduleDefinition*> registered;
    registered.push_back(NewModule);
    return host.Log();
  }
  simhost::Host host;
  REALmethodDefinition method{};
  REALclassDefinition cls{};
};

TEST_F(ModuleRegistration, ModuleRecordAllocationFailureWarns) {
  auto log = Register(1);
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0], "ZVK Debug: Warning: Failed to allocate memory for module definition.");
  EXPECT_TRUE(host.Registrations().empty());
  EXPECT_EQ(NewModule, nullptr);
}

TEST_F(ModuleRegistration, MethodArrayAllocationFailureWarns) {
  auto log = Register(2);
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0], "ZVK Debug: Warning: Failed to allocate memory for method definitions.");
  EXPECT_TRUE(host.Registrations().empty());
  EXPECT_NE(NewModule, nullptr) << "the module record stays allocated";
}

TEST_F(ModuleRegistration, DeclarationWithoutParenthesisIsRefused) {
  // A name so long that the rewritten getter is cut before its parenthesis.
  std::string name(1200, 'x');
  method.declaration = name.c_str();
  auto log = Register(0);
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0], "ZVK Debug: Error: Keine Klammer in der Deklaration " + std::string(999, 'x'));
  EXPECT_TRUE(host.Registrations().empty());
}

TEST_F(ModuleRegistration, GetterOnlyMethodGivesOneModuleMethod) {
  method.setterFunction = nullptr;
  auto log = Register(0);
  EXPECT_TRUE(log.empty());
  ASSERT_EQ(host.Registrations().size(), 1u);
  const auto& r = host.Registrations()[0];
  ASSERT_EQ(r.methods.size(), 1u);
  EXPECT_EQ(r.methods[0].declaration, "Foo(extends ref as StyledText, a as Integer) as Integer");
  EXPECT_EQ(r.methods[0].flags, 0x14u);
}

TEST_F(ModuleRegistration, GetterAndSetterGiveTwoSetterFirst) {
  auto log = Register(0);
  EXPECT_TRUE(log.empty());
  ASSERT_EQ(host.Registrations().size(), 1u);
  const auto& r = host.Registrations()[0];
  ASSERT_EQ(r.methods.size(), 2u);
  EXPECT_EQ(r.methods[0].declaration,
            "Foo(extends ref as StyledText, a as Integer, assigns value as Integer)");
  EXPECT_EQ(r.methods[1].declaration, "Foo(extends ref as StyledText, a as Integer) as Integer");
}

TEST_F(ModuleRegistration, RecordWithoutScopeGetsProtectedScope) {
  // The library's own records always carry a scope; a method without one would get 0x40, but
  // every module method gets the global bit first, so the rule never changes it here.
  method.flags = 0;
  Register(0);
  ASSERT_EQ(host.Registrations().size(), 1u);
  EXPECT_EQ(host.Registrations()[0].methods[0].flags, 0x10u);
}

TEST_F(ModuleRegistration, ClassWithoutMethodsRegistersNothing) {
  cls.methodCount = 0;
  auto log = Register(0);
  EXPECT_TRUE(log.empty());
  EXPECT_TRUE(host.Registrations().empty());
  EXPECT_EQ(gAllocations, 0);
}

}  // namespace
