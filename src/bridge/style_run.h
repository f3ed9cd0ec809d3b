// Creating a host StyleRun and setting its properties. Failures are reported only in the
// debug log; the caller learns nothing of success.
#pragma once

#include <cstdint>

#include "frame/debug_log.h"
#include "frame/host_api.h"
#include "frame/host_services.h"

// The import sets every property of every run it makes: the setters are inline, so that a
// run's formatting is a row of host calls without a call of the library's own in between.
namespace style_run_detail {
// The whole font sequence; fontFailed tells that "Font" has already been tried (and refused)
// with the debug log off and a run given.
void SetFontName(REALobjectStruct* run, REALstringStruct* name, bool fontFailed);

inline void SetBooleanProperty(REALobjectStruct* run, const char* setter, const char* property,
                               const char* failure, signed char value) {
  DebugLogInt(setter, value);
  if (run == nullptr) {
    DebugLogText("StyleRun is nil in", setter);
    return;
  }
  if (!REALSetPropValueBoolean(run, property, value != 0)) DebugLog(failure);
}
}  // namespace style_run_detail

inline REALobjectStruct* NewStyleRun() {
  REALobject run = REALnewInstance("StyleRun");
  if (run == nullptr) DebugLog("NewStyleRun failed");
  return run;
}

inline void StyleRunSetBold(REALobjectStruct* run, signed char value) {
  style_run_detail::SetBooleanProperty(run, "StyleRunSetBold", host_contract::kBoldProperty,
                                       "Failed to set Bold property.", value);
}

inline void StyleRunSetItalic(REALobjectStruct* run, signed char value) {
  style_run_detail::SetBooleanProperty(run, "StyleRunSetItalic", host_contract::kItalicProperty,
                                       "Failed to set Italic property.", value);
}

inline void StyleRunSetUnderline(REALobjectStruct* run, signed char value) {
  style_run_detail::SetBooleanProperty(run, "StyleRunSetUnderline",
                                       host_contract::kUnderlineProperty,
                                       "Failed to set Underline property.", value);
}

inline void StyleRunSetTextColor(REALobjectStruct* run, unsigned int color) {
  DebugLogUInt("StyleRunSetTextColor", color);
  if (run == nullptr) {
    DebugLogText("StyleRun is nil in", "StyleRunSetTextColor");
    return;
  }
  if (!REALSetPropValueUInt32(run, host_contract::kTextColorProperty, color))
    DebugLog("Failed to set TextColor property.");
}

inline void StyleRunSetSize(REALobjectStruct* run, long long size) {
  DebugLogLong("StyleRunSetSize", size);
  if (run == nullptr) {
    DebugLogText("StyleRun is nil in", "StyleRunSetSize");
    return;
  }
  if (!REALSetPropValueInteger(run, host_contract::kSizeProperty, size))
    DebugLog("Failed to set Size property.");
}

// Sets "Font", or "FontName" where the host has no "Font"; the caller keeps the name.
inline void StyleRunSetFontName(REALobjectStruct* run, REALstringStruct* name) {
  // While debugging, or when "Font" cannot be set, the rest runs out of line.
  if (DebuggingEnabled || run == nullptr) {
    style_run_detail::SetFontName(run, name, false);
  } else if (!REALSetPropValueString(run, host_contract::kFontProperty, name)) {
    style_run_detail::SetFontName(run, name, true);
  }
}

// The setters above for a run with the log off and every service resolved (host_resolved):
// the same host calls without their tests. First the five of the formatting, in their order.
inline void StyleRunFormatResolved(REALobjectStruct* run, bool bold, bool italic, bool underline,
                                   long long size, unsigned int color) {
  host_resolved::REALSetPropValueBoolean()(run, host_contract::kBoldProperty,
                                           static_cast<RBBoolean>(bold ? 1 : 0));
  host_resolved::REALSetPropValueBoolean()(run, host_contract::kItalicProperty,
                                           static_cast<RBBoolean>(italic ? 1 : 0));
  host_resolved::REALSetPropValueBoolean()(run, host_contract::kUnderlineProperty,
                                           static_cast<RBBoolean>(underline ? 1 : 0));
  host_resolved::REALSetPropValueInteger()(run, host_contract::kSizeProperty,
                                           static_cast<RBInteger>(size));
  host_resolved::REALSetPropValueUInt32()(run, host_contract::kTextColorProperty, color);
}

// Then the font name (StyleRunSetFontName); the caller keeps the name.
inline void StyleRunSetFontNameResolved(REALobjectStruct* run, REALstringStruct* name) {
  if (host_resolved::REALSetPropValueString()(run, host_contract::kFontProperty, name) == 0)
    style_run_detail::SetFontName(run, name, true);
}
