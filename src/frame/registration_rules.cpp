// Rules of registration that depend on the host version: the record version, the flags words
// and the rewriting of a class member's declaration into extension-method form.
#include <cstdio>
#include <cstring>

#include "frame/registration.h"

int32_t ControlVersionFor(double v) {
  if (v >= 2013.04) return 13;
  if (v >= 2013.03) return 12;
  if (v >= 2013.0) return 11;
  if (v >= 2012.0) return 10;
  return 9;
}

uint32_t FixFlagsWord(uint32_t f) {
  // Hosts before 2020r2 do not know the desktop/web/console target bits: such a member is
  // registered as "all targets" instead. A word that also names iOS is left as it is.
  if (rbversion < 2020.02 && (f & 0x708) == 0x308) f = (f & ~0x30Cu) | 0x4;
  if (f & 0x40000) {
    f &= ~0x40000u;
    if (rbversion >= 2010.029) f |= 0x4;
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
