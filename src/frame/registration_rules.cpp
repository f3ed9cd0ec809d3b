// Rules of registration that depend on the host version: the record version, the flags words
// and the rewriting of a class member's declaration into extension-method form.
#include <cstdio>
#include <cstring>

#include "frame/member_flags.h"
#include "frame/registration.h"

int32_t CurrentREALControlVersion = 15;

int32_t ControlVersionFor(double v) {
  if (v >= kHostRecordVersion13) return 13;
  if (v >= kHostRecordVersion12) return 12;
  if (v >= kHostTakesExtensionModules) return 11;
  if (v >= kHostBuildsEncodedStrings) return 10;
  return 9;
}

bool RegistersAsModule(double v) {
  // Written as the class-extension test negated, so that a version that compares false with
  // everything (NaN) keeps taking the module path.
  return !(v >= kHostTakesClassExtensionsAgain || v < kHostTakesExtensionModules);
}

uint32_t FixFlagsWord(uint32_t f) {
  // Hosts before 2020r2 do not know the desktop/web/console target bits: such a member is
  // registered as "all targets" instead. A word that also names iOS is left as it is.
  if (rbversion < kHostKnowsTargetBits && (f & kDesktopWebConsoleIOS) == kDesktopWebConsole) {
    f = (f & ~kDesktopWebConsole) | REALconsoleSafe;
  }
  if (f & kHiddenAllTargets) {
    f &= ~kHiddenAllTargets;
    if (rbversion >= kHostHonoursHiddenAllTargets) f |= REALconsoleSafe;
  }
  return f;
}

void FixFlags(REALmethodDefinition* list, long long count, const char* /*context*/) {
  if (list == nullptr) return;
  for (long long i = 0; i < count; i++) list[i].flags = FixFlagsWord(list[i].flags);
}

void FixFlags(REALproperty* list, long long count, const char* /*context*/) {
  if (list == nullptr) return;
  for (long long i = 0; i < count; i++) list[i].flags = FixFlagsWord(list[i].flags);
}

namespace {

// Copies the first n bytes of text, then formats the tail behind them; the whole is cut to
// fit the buffer.
template <typename... Args>
void PrefixThenFormat(char* out, size_t outSize, const char* text, size_t n, const char* format,
                      Args... args) {
  if (n > outSize - 1) n = outSize - 1;
  std::memcpy(out, text, n);
  out[n] = '\0';
  std::snprintf(out + n, outSize - n, format, args...);
}

}  // namespace

bool MakeExtensionGetterDeclaration(const char* d, const char* className, char* out,
                                    size_t outSize) {
  size_t p = std::strcspn(d, " (");
  if (d[p] == ' ') {
    PrefixThenFormat(out, outSize, d, p, "(extends ref as %s)%s", className, d + p);
  } else if (d[p] == '(') {
    PrefixThenFormat(out, outSize, d, p, "(extends ref as %s, %s", className, d + p + 1);
  } else {
    std::snprintf(out, outSize, "%s(extends ref as %s)", d, className);
  }
  return true;
}

bool MakeExtensionSetterDeclaration(const char* g, char* out, size_t outSize) {
  out[0] = '\0';
  if (const char* close = std::strchr(g, ')')) {
    PrefixThenFormat(out, outSize, g, static_cast<size_t>(close - g), ", assigns value%s)",
                     close + 1);
    return true;
  }
  if (const char* space = std::strchr(g, ' ')) {
    PrefixThenFormat(out, outSize, g, static_cast<size_t>(space - g), "(assigns value%s)", space);
    return true;
  }
  return false;
}
