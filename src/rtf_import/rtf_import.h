// The setter of "RTFDataZVK": empties the StyledText and rebuilds it from the assigned RTF.
#pragma once

#include "frame/host_api.h"

// skipParagraphs is accepted and ignored. Malformed RTF is read as far as it goes; nothing is
// reported and no exception leaves the setter.
void RBCALL RTFWrite(REALobjectStruct* styledText, RBBoolean skipParagraphs,
                     REALstringStruct* value);
