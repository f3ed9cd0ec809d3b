// The import's text scanner: finds where a stretch of plain text ends, many bytes at a time.
#pragma once

// Index of the first byte in [from, length) that plain text cannot hold ("\", "{", "}", CR or
// LF), or length when there is none. Reads only inside [from, length).
long long FindTextEnd(const char* text, long long from, long long length);
