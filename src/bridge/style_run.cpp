// The font name setter's uncommon paths: the debug log's checks and the fallback to "FontName".
#include "bridge/style_run.h"

#include "bridge/host_string_read.h"

namespace {

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

void style_run_detail::SetFontName(REALobjectStruct* run, REALstringStruct* name, bool fontFailed) {
  if (!fontFailed) {
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
    if (REALSetPropValueString(run, host_contract::kFontProperty, name)) {
      if (DebuggingEnabled)
        VerifyFont(run, host_contract::kFontProperty, name, "Failed to query Font property!");
      return;
    }
  }
  DebugLog("Failed to set Font property, trying FontName.");
  if (!REALSetPropValueString(run, host_contract::kFontNameProperty, name)) {
    DebugLog("Failed to set FontName property.");
    return;
  }
  if (DebuggingEnabled)
    VerifyFont(run, host_contract::kFontNameProperty, name, "Failed to query FontName property!");
}
