// StyledText access: style runs and paragraphs by index, the host's Len, removing all runs and
// appending a run with its text and paragraph alignment. Host methods are looked up by their
// declaration and cached with the StyledText they were found for.
#pragma once

#include <cstdint>
#include <string>

#include "frame/host_api.h"

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
