// New host StyleRun objects and their property setters. A property that cannot be set is only
// logged; the run is used as it is.
#include "bridge/style_run.h"

#include "bridge/host_string_read.h"
#include "frame/debug_log.h"
#include "frame/host_services.h"

namespace {

void SetBooleanProperty(REALobject run, const char* setter, const char* property,
                        const char* failure, signed char value) {
  DebugLogInt(setter, value);
  if (run == nullptr) {
    DebugLogText("StyleRun is nil in", setter);
    return;
  }
  if (!REALSetPropValueBoolean(run, property, value != 0)) DebugLog(failure);
}

// While debugging, reads the font property back and warns when the host changed the name.
void VerifyFont(REALobject run, const char* property, REALstring name, const char* readFailure) {
  REALstring queried = nullptr;
  if (!REALGetPropValueString(run, property, &queried)) {
    DebugLog(readFailure);
    return;
  }
  {
    rbText queriedText(queried);
    DebugLogHandle("fontSet", queried, queriedText.UTF8());
    bool canCompare = false;
    int64_t difference = REALCompareStrings(queried, name, &canCompare);
    if (canCompare && difference != 0)
      DebugLogHandle("Warning: Font queried is not same!", queried, queriedText.UTF8());
  }
  if (queried != nullptr) REALUnlockString(queried);
}

}  // namespace

REALobjectStruct* NewStyleRun() {
  REALobject run = REALnewInstance("StyleRun");
  if (run == nullptr) DebugLog("NewStyleRun failed");
  return run;
}

void StyleRunSetBold(REALobjectStruct* run, signed char value) {
  SetBooleanProperty(run, "StyleRunSetBold", "Bold", "Failed to set Bold property.", value);
}

void StyleRunSetItalic(REALobjectStruct* run, signed char value) {
  SetBooleanProperty(run, "StyleRunSetItalic", "Italic", "Failed to set Italic property.", value);
}

void StyleRunSetUnderline(REALobjectStruct* run, signed char value) {
  SetBooleanProperty(run, "StyleRunSetUnderline", "Underline", "Failed to set Underline property.",
                     value);
}

void StyleRunSetTextColor(REALobjectStruct* run, unsigned int color) {
  DebugLogUInt("StyleRunSetTextColor", color);
  if (run == nullptr) {
    DebugLogText("StyleRun is nil in", "StyleRunSetTextColor");
    return;
  }
  if (!REALSetPropValueUInt32(run, "TextColor", color))
    DebugLog("Failed to set TextColor property.");
}

void StyleRunSetSize(REALobjectStruct* run, long long size) {
  DebugLogLong("StyleRunSetSize", size);
  if (run == nullptr) {
    DebugLogText("StyleRun is nil in", "StyleRunSetSize");
    return;
  }
  if (!REALSetPropValueInteger(run, "Size", size)) DebugLog("Failed to set Size property.");
}

void StyleRunSetFontName(REALobjectStruct* run, REALstringStruct* name) {
  if (DebuggingEnabled) {
    rbText nameText(name);
    DebugLogHandle("StyleRunSetFontName", name, nameText.UTF8());
    DebugLogLong("LengthUTF8", nameText.UTF8Length());
  }
  if (run == nullptr) {
    DebugLogText("StyleRun is nil in", "StyleRunSetFontName");
    return;
  }
  // Hosts before 2019r2 call the property "Font", later ones "FontName".
  if (REALSetPropValueString(run, "Font", name)) {
    if (DebuggingEnabled) VerifyFont(run, "Font", name, "Failed to query Font property!");
    return;
  }
  DebugLog("Failed to set Font property, trying FontName.");
  if (!REALSetPropValueString(run, "FontName", name)) {
    DebugLog("Failed to set FontName property.");
    return;
  }
  if (DebuggingEnabled) VerifyFont(run, "FontName", name, "Failed to query FontName property!");
}
