// Building host strings from bytes or code units, by the paths each host version offers.
// UTF-16 and UTF-32 input always comes back as a UTF-8 host string.
#pragma once

#include <cstddef>
#include <cstdint>

#include "frame/host_api.h"

// New host string owned by the caller, or null (also for empty input). count is in bytes.
REALstringStruct* REALBuildUnicodeString(const void* data, int64_t count, uint32_t encoding);

// REALBuildUnicodeString of one UTF-16 code unit (two bytes), without the checks that input
// of that size and encoding always passes.
REALstringStruct* BuildUTF16Unit(uint16_t unit);

// REALBuildUnicodeString of bytes in a single-byte encoding (the import's collected text):
// the common encodings whose lower half is ASCII take a path of their own.
REALstringStruct* BuildByteString(const char* bytes, size_t length, uint32_t encoding);

// CString2RB of UTF-8 text (not null) whose length is known: length is strlen(text).
REALstringStruct* BuildUTF8String(const char* text, size_t length);

// Host string of a zero-terminated byte string in the given encoding, or null when empty.
REALstringStruct* CString2RB(const char* text, uint32_t encoding);
// The same for a text whose length is known: length is strlen(text).
REALstringStruct* CString2RB(const char* text, size_t length, uint32_t encoding);
