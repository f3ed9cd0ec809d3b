// StyledText access through the host's own methods, looked up by declaration. Each operation
// caches the method with the StyledText it was found for (in the library's entry points), so a
// loop over the runs or paragraphs of one StyledText asks the host once.
#include "bridge/styled_text.h"

#include "bridge/host_string_build.h"
#include "bridge/host_string_read.h"
#include "frame/debug_log.h"
#include "frame/host_services.h"
#include "frame/host_version.h"

namespace {

// The method for styledText: the cached entry while the same object comes back, otherwise (or
// after a failed lookup) asked from the host again. Null when not found.
void* LookUpMethod(HostMethodCache& cache, REALobject styledText, const char* declaration) {
  if (styledText != cache.lastObject) {
    cache.lastObject = styledText;
    cache.entry = nullptr;
  }
  // The handle goes to the host as it is, null included: what the host finds for it is its own
  // business (callers that must not act on a null StyledText check it before).
  cache.entry = REALLoadObjectMethod(styledText, declaration);
  return cache.entry;
}

inline void* FindMethod(HostMethodCache& cache, REALobject styledText, const char* declaration) {
  if (styledText == cache.lastObject && cache.entry != nullptr) return cache.entry;
  return LookUpMethod(cache, styledText, declaration);
}

constexpr const char* kAppendDeclaration = host_contract::kAppendStyleRunDeclaration;

int64_t ParagraphCount(REALobject styledText) {
  int64_t count = 0;
  REALGetPropValueInteger(styledText, host_contract::kParagraphCountProperty, &count);
  return count;
}

void ReleaseRun(REALobject& styleRun) {
  if (styleRun != nullptr) REALUnlockObject(styleRun);
  styleRun = nullptr;
}

// StyledTextAddStyleRun with the log off, a StyledText and a run: only the host calls of its
// steps. The import's every run comes here.
#if defined(__GNUC__)
__attribute__((always_inline))
#endif
inline void
AddRunQuietly(REALstringStruct* text, REALobjectStruct* styledText, REALobjectStruct*& styleRun,
              int64_t alignment) {
  const int64_t oldCount = ParagraphCount(styledText);
  REALSetPropValueString(styleRun, host_contract::kTextProperty, text);
  auto append = reinterpret_cast<HostObjectAction>(
      FindMethod(gHostEntryPoints.methodAppendStyleRun, styledText, kAppendDeclaration));
  if (append != nullptr) append(styledText, styleRun);
  REALUnlockObject(styleRun);
  styleRun = nullptr;
  const int64_t newCount = ParagraphCount(styledText);
  if (newCount != oldCount) StyledTextSetParagraphAlignment(styledText, oldCount, alignment);
}

}  // namespace

REALobjectStruct* GetStyleRun(REALobjectStruct* styledText, int64_t index) {
  auto method = reinterpret_cast<HostIndexGetter>(
      FindMethod(gHostEntryPoints.methodStyleRun, styledText, host_contract::kStyleRunDeclaration));
  if (method == nullptr) return nullptr;
  return method(styledText, static_cast<RBInteger>(index));
}

REALobjectStruct* GetParagraph(REALobjectStruct* styledText, int64_t index) {
  auto method = reinterpret_cast<HostIndexGetter>(FindMethod(
      gHostEntryPoints.methodParagraph, styledText, host_contract::kParagraphDeclaration));
  if (method == nullptr) return nullptr;
  return method(styledText, static_cast<RBInteger>(index));
}

int64_t GetStringLength(REALstringStruct* s) {
  // Len is a framework global, the same for every object: once found it is kept.
  void*& pLen = gHostEntryPoints.globalLen;
  if (pLen == nullptr) {
    pLen = REALLoadFrameworkMethod(nullptr, host_contract::kLenDeclaration);
    if (pLen == nullptr) return 0;
  }
  return reinterpret_cast<HostStringMeasure>(pLen)(s);
}

void StyledTextClear(REALobjectStruct* styledText) {
  DebugLog("StyledTextClear");
  if (styledText == nullptr) {
    DebugLogText("styledText is nil in", "StyledTextClear");
    return;
  }
  int64_t count = 0;
  REALGetPropValueInteger(styledText, host_contract::kStyleRunCountProperty, &count);
  // From the last run to the first, so every index stays valid while runs go.
  for (int64_t index = count - 1; index >= 0; --index) StyledTextRemoveStyleRun(styledText, index);
}

void StyledTextRemoveStyleRun(REALobjectStruct* styledText, int64_t index) {
  HostMethodCache& cache = gHostEntryPoints.methodRemoveStyleRun;
  DebugLogLong("StyledTextRemoveStyleRun", index);
  auto method = reinterpret_cast<HostIndexAction>(
      FindMethod(cache, styledText, host_contract::kRemoveStyleRunDeclaration));
  if (method == nullptr) {
    DebugLogText("nil function in", "StyledTextRemoveStyleRun");
    return;
  }
  method(styledText, static_cast<RBInteger>(index));
}

void StyledTextAppendStyleRun(REALobjectStruct* styledText, REALobjectStruct* styleRun) {
  HostMethodCache& cache = gHostEntryPoints.methodAppendStyleRun;
  if (styledText == nullptr) {
    DebugLogText("styledText is nil in", "StyledTextAppendStyleRun");
    return;
  }
  if (styleRun == nullptr) {
    DebugLogText("styleRun is nil in", "StyledTextAppendStyleRun");
    return;
  }
  DebugLog("StyledTextAppendStyleRun");
  auto method =
      reinterpret_cast<HostObjectAction>(FindMethod(cache, styledText, kAppendDeclaration));
  if (method == nullptr) {
    DebugLogText("nil function in", "StyledTextAppendStyleRun");
    return;
  }
  method(styledText, styleRun);
}

void StyledTextSetParagraphAlignment(REALobjectStruct* styledText, int64_t index,
                                     int64_t alignment) {
  HostMethodCache& cache = gHostEntryPoints.methodParagraphAlignment;
  if (styledText == nullptr) {
    DebugLogText("styledText is nil in", "StyledTextSetParagraphAlignment");
    return;
  }
  DebugLog("StyledTextSetParagraphAlignment");
  auto method = reinterpret_cast<HostIndexSetter>(
      FindMethod(cache, styledText, host_contract::kParagraphAlignmentDeclaration));
  if (method == nullptr) {
    DebugLogText("nil function in", "StyledTextSetParagraphAlignment");
    return;
  }
  method(styledText, static_cast<RBInteger>(index), static_cast<RBInteger>(alignment));
}

void StyleRunSetText(REALobjectStruct* styleRun, REALstringStruct* text) {
  DebugLog("StyleRunSetText");
  if (styleRun == nullptr) {
    DebugLogText("StyleRun is nil in", "StyleRunSetText");
    return;
  }
  if (!REALSetPropValueString(styleRun, host_contract::kTextProperty, text))
    DebugLog("Failed to set text property.");
  if (!DebuggingEnabled) return;

  // While debugging, read the text back to catch a host that changed it.
  REALstring queried = nullptr;
  if (!REALGetPropValueString(styleRun, host_contract::kTextProperty, &queried)) {
    DebugLog("Failed to query value set!");
    return;
  }
  bool canCompare = false;
  int64_t difference = REALCompareStrings(queried, text, &canCompare);
  if (canCompare && difference != 0) {
    rbText queriedText(queried);
    DebugLogHandle("text queried is not same!", queried, queriedText.UTF8());
  }
  if (queried != nullptr) REALUnlockString(queried);
}

void StyledTextAddStyleRun(REALstringStruct* text, REALobjectStruct* styledText,
                           REALobjectStruct*& styleRun, int64_t alignment) {
  if (!DebuggingEnabled && styledText != nullptr && styleRun != nullptr) {
    AddRunQuietly(text, styledText, styleRun, alignment);
    return;
  }
  DebugLogLong("StyledTextAddStyleRun", alignment);
  int64_t oldCount = ParagraphCount(styledText);
  StyleRunSetText(styleRun, text);
  StyledTextAppendStyleRun(styledText, styleRun);
  ReleaseRun(styleRun);

  int64_t newCount = ParagraphCount(styledText);
  DebugLogLong("NewParagraphCount", newCount);
  if (newCount == oldCount) return;
  // Only the first paragraph the run opened gets the alignment.
  DebugLogLongs("SetParagraphAlignment", oldCount, alignment);
  StyledTextSetParagraphAlignment(styledText, oldCount, alignment);
}

void StyledTextAddStyleRun(uint32_t encoding, std::string& text, REALobjectStruct* styledText,
                           REALobjectStruct*& styleRun, int64_t alignment) {
  DebugLog("StyledTextAddStyleRun");
  if (text.empty()) {
    DebugLog("Ignore empty run");
    ReleaseRun(styleRun);
    return;
  }
  DebugLog(text.c_str());
  if (styleRun != nullptr) {
    REALstring s = CString2RB(text.c_str(), encoding);
    if (DebuggingEnabled) {
      rbText newText(s);
      DebugLogHandle("NewText", s, newText.UTF8());
    }
    StyledTextAddStyleRun(s, styledText, styleRun, alignment);
    if (s != nullptr) REALUnlockString(s);
  }
  text.clear();
}

void StyledTextAddStyleRun(uint16_t ch, REALobjectStruct* styledText, REALobjectStruct*& styleRun,
                           int64_t alignment) {
  if (!DebuggingEnabled && ch != 0 && styleRun != nullptr && styledText != nullptr) {
    // The common case, tested once: a character to append to a StyledText, the log off.
    REALstring s = BuildUTF16Unit(ch);
    AddRunQuietly(s, styledText, styleRun, alignment);
    if (s != nullptr) REALUnlockString(s);
    return;
  }
  DebugLogInt("StyledTextAddStyleRun", ch);
  if (ch == 0) {
    DebugLog("Ignore null character");
    ReleaseRun(styleRun);
    return;
  }
  if (styleRun == nullptr) return;
  REALstring s = BuildUTF16Unit(ch);
  if (DebuggingEnabled) {
    rbText newText(s);
    DebugLogHandle("NewText", s, newText.UTF8());
  }
  StyledTextAddStyleRun(s, styledText, styleRun, alignment);
  if (s != nullptr) REALUnlockString(s);
}

bool StyledTextRunServicesResolved(REALobjectStruct* styledText, bool unicode) {
  const HostEntryPoints& e = gHostEntryPoints;
  const bool runs = styledText != nullptr && rbversion >= kHostBuildsEncodedStrings &&
                    e.PluginNewInstance != nullptr && e.REALSetPropValueBoolean != nullptr &&
                    e.REALSetPropValueInteger != nullptr && e.REALSetPropValueUInt32 != nullptr &&
                    e.REALSetPropValueString != nullptr &&
                    e.REALBuildStringWithEncoding != nullptr && e.REALUnlockString != nullptr &&
                    e.REALGetPropValueInteger != nullptr && e.REALUnlockObject != nullptr;
  return runs && (!unicode || e.REALConvertString != nullptr);
}

void* StyledTextAppendMethod(REALobjectStruct* styledText) {
  return FindMethod(gHostEntryPoints.methodAppendStyleRun, styledText, kAppendDeclaration);
}
