// StyledText access: style runs and paragraphs by index, the host's Len, removing all runs and
// appending a run with its text and paragraph alignment. Host methods are looked up by their
// declaration and cached with the StyledText they were found for.
#pragma once

#include <cstdint>
#include <string>

#include "frame/host_api.h"
#include "frame/host_services.h"

REALobjectStruct* GetStyleRun(REALobjectStruct* styledText, int64_t index);
REALobjectStruct* GetParagraph(REALobjectStruct* styledText, int64_t index);
int64_t GetStringLength(REALstringStruct* s);

void StyledTextClear(REALobjectStruct* styledText);
void StyledTextRemoveStyleRun(REALobjectStruct* styledText, int64_t index);
void StyledTextAppendStyleRun(REALobjectStruct* styledText, REALobjectStruct* styleRun);
void StyledTextSetParagraphAlignment(REALobjectStruct* styledText, int64_t index,
                                     int64_t alignment);
void StyleRunSetText(REALobjectStruct* styleRun, REALstringStruct* text);

// Set the run's text, append it, release it (styleRun is null afterwards) and give the first
// paragraph the run opened the alignment.
void StyledTextAddStyleRun(REALstringStruct* text, REALobjectStruct* styledText,
                           REALobjectStruct*& styleRun, int64_t alignment);
void StyledTextAddStyleRun(uint32_t encoding, std::string& text, REALobjectStruct* styledText,
                           REALobjectStruct*& styleRun, int64_t alignment);
void StyledTextAddStyleRun(uint16_t ch, REALobjectStruct* styledText, REALobjectStruct*& styleRun,
                           int64_t alignment);

// Whether every host service a run of the import uses is set (host_resolved): making and
// formatting a run, building its text, giving it to a StyledText (not null) and counting
// paragraphs, on a host that builds strings with their encoding. With unicode, also the
// conversion a "\\u" character is built with. Once true it stays true for the rest of an import.
bool StyledTextRunServicesResolved(REALobjectStruct* styledText, bool unicode);

// The host's AppendStyleRun for styledText, from the cache or looked up; null when not found.
void* StyledTextAppendMethod(REALobjectStruct* styledText);

// StyledTextAddStyleRun with the log off, a StyledText, a run and every service resolved: the
// same host calls without their tests. The run is released (styleRun is null afterwards).
inline void StyledTextAddRunResolved(REALstringStruct* text, REALobjectStruct* styledText,
                                     REALobjectStruct*& styleRun, int64_t alignment) {
  RBInteger oldCount = 0;
  host_resolved::REALGetPropValueInteger()(styledText, host_contract::kParagraphCountProperty,
                                           &oldCount);
  host_resolved::REALSetPropValueString()(styleRun, host_contract::kTextProperty, text);
  // The method as cached for this StyledText; looked up again if something in between (an
  // import of another StyledText from a host event) cached it for another one.
  const HostMethodCache& cache = gHostEntryPoints.methodAppendStyleRun;
  void* append = cache.entry;
  if (cache.lastObject != styledText || append == nullptr)
    append = StyledTextAppendMethod(styledText);
  if (append != nullptr) reinterpret_cast<HostObjectAction>(append)(styledText, styleRun);
  host_resolved::REALUnlockObject()(styleRun);
  styleRun = nullptr;
  RBInteger newCount = 0;
  host_resolved::REALGetPropValueInteger()(styledText, host_contract::kParagraphCountProperty,
                                           &newCount);
  if (newCount != oldCount) StyledTextSetParagraphAlignment(styledText, oldCount, alignment);
}
