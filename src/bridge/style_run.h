// Creating a host StyleRun and setting its properties. Failures are reported only in the
// debug log; the caller learns nothing of success.
#pragma once

#include <cstdint>

#include "frame/host_api.h"

REALobjectStruct* NewStyleRun();
void StyleRunSetBold(REALobjectStruct* run, signed char value);
void StyleRunSetItalic(REALobjectStruct* run, signed char value);
void StyleRunSetUnderline(REALobjectStruct* run, signed char value);
void StyleRunSetTextColor(REALobjectStruct* run, unsigned int color);
void StyleRunSetSize(REALobjectStruct* run, long long size);
// Sets "Font", or "FontName" where the host has no "Font"; the caller keeps the name.
void StyleRunSetFontName(REALobjectStruct* run, REALstringStruct* name);
