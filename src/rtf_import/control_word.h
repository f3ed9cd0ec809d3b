// The RTF tokenizer: reads one control word or control symbol behind its backslash.
#pragma once

#include <string>

// position: first byte behind the backslash. Returns the index of the last byte of the control
// word, its delimiter included; word and parameter (-1 when absent) are set.
//
// Buffer contract: text is NUL-terminated and two more readable bytes follow the terminator
// (callers pad their copy with at least three NUL bytes). The reader looks up to two bytes past
// a delimiter and stops every scan at the NUL; it looks two bytes back only when position >= 2.
long long ReadCommand(const char* text, long long position, std::string& word,
                      long long& parameter);
