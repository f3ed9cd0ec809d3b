// Character-by-character comparison of two StyledTexts: text, the formatting of the run each
// character lies in, and the alignment of its paragraph. Runs may be cut differently in the two
// texts; only what each character looks like counts.
#pragma once

#include <string>
#include <vector>

#include "document/styled_document.h"

namespace pendlow {

// One line per difference: a changed stretch of text, or a range of characters whose property
// changed ("characters 4-9 (\"world\"): bold true -> false"). Empty when they look the same.
std::vector<std::string> CompareDocuments(const StyledDocument& before,
                                          const StyledDocument& after);

}  // namespace pendlow
