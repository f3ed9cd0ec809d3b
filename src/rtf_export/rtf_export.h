// The getter of "RTFDataZVK": reads the StyledText and gives it back as RTF.
#pragma once

#include "frame/host_api.h"

// The styled text as an RTF host string (UTF-8), or null, which the host shows as an empty
// string. With skipParagraphs the paragraph alignments are left out. No exception leaves the
// getter.
REALstringStruct* RBCALL RTFRead(REALobjectStruct* styledText, RBBoolean skipParagraphs);
