#include <cstdio>
#include <memory>

#include "commands/commands.h"
#include "commands/host_session.h"
#include "support/console.h"
#include "commands/input_output.h"
#include "support/tool_error.h"

namespace pendlow {

namespace {

std::string Hex(uint32_t value) {
  char buffer[16];
  std::snprintf(buffer, sizeof buffer, "0x%X", static_cast<unsigned>(value));
  return buffer;
}

// "0x26 (RuntimeOnly | All | Public)": the host's names of the flag bits.
std::string Flags(uint32_t flags) {
  static const std::pair<uint32_t, const char*> kNames[] = {{REALpropInvalidate, "Invalidate"},
                                                            {REALpropRuntimeOnly, "RuntimeOnly"},
                                                            {REALconsoleSafe, "All"},
                                                            {REALconsoleOnly, "Console"},
                                                            {REALScopeGlobal, "Global"},
                                                            {REALScopePublic, "Public"},
                                                            {REALScopeProtected, "Protected"},
                                                            {REALScopePrivate, "Private"},
                                                            {REALwebOnly, "Web"},
                                                            {REALTargetDesktop, "Desktop"},
                                                            {REALTargetIOS, "iOS"}};
  std::string names;
  uint32_t rest = flags;
  for (const auto& [bit, name] : kNames) {
    if ((flags & bit) == 0) continue;
    names += (names.empty() ? "" : " | ") + std::string(name);
    rest &= ~bit;
  }
  if (rest != 0) names += (names.empty() ? "" : " | ") + Hex(rest);
  return Hex(flags) + (names.empty() ? "" : " (" + names + ")");
}

std::string Attributes(const std::vector<std::pair<std::string, std::string>>& attributes) {
  std::string out;
  for (const auto& [name, value] : attributes) {
    out += (out.empty() ? "" : ", ") + name;
    if (!value.empty()) out += "=\"" + value + "\"";
  }
  return out;
}

std::string Accessors(bool first, bool second, const char* firstName, const char* secondName) {
  if (first && second) return std::string(firstName) + " and " + secondName;
  if (first) return firstName;
  if (second) return secondName;
  return "no entry point";
}

}  // namespace

int RunInfo(const Options& options) {
  HostSession session(options);
  const simhost::Host& host = session.host();
  std::string out = "Host version " + options.hostVersionText + "\n";
  out += "  library: " + session.libraryPath() + "\n";
  std::optional<int32_t> announced = host.AnnouncedVersion();
  out += "  announced control version: " +
         (announced ? std::to_string(*announced) : std::string("none")) + "\n";
  const auto& registrations = host.Registrations();
  if (registrations.empty()) out += "  registers: nothing\n";

  for (const simhost::Registration& r : registrations) {
    bool module = r.kind == simhost::Registration::Kind::kModule;
    out += "\n" + std::string(module ? "Module " : "Class extension of ") + r.name + "\n";
    // A module record has a flags word only from record version 14 on; the IDE reads none
    // before that.
    if (module && r.version < 14) {
      out += "  record version " + std::to_string(r.version) + ", no flags word\n";
    } else {
      out += "  record version " + std::to_string(r.version) + ", flags " + Flags(r.flags) + "\n";
    }
    for (const simhost::MethodRecord& m : r.methods) {
      out += "  method    " + m.declaration + "\n";
      out += "            flags " + Flags(m.flags) + "; " +
             Accessors(m.function != nullptr, m.setter != nullptr, "function", "setter");
      if (!m.attributes.empty()) out += "; attributes: " + Attributes(m.attributes);
      out += "\n";
    }
    for (const simhost::PropertyRecord& p : r.properties) {
      out += "  property  " + p.name + " as " + p.type + "\n";
      out += "            flags " + Flags(p.flags) + "; " +
             Accessors(p.getter != nullptr, p.setter != nullptr, "getter", "setter");
      if (!p.attributes.empty()) out += "; attributes: " + Attributes(p.attributes);
      out += "\n";
    }
  }

  if (session.plugin().HasMember()) {
    out +=
        "\nIn Xojo code:\n"
        "  st.RTFDataZVK = rtf        ' import: the StyledText is rebuilt from the RTF\n"
        "  rtf = st.RTFDataZVK        ' export with paragraph alignment\n"
        "  rtf = st.RTFDataZVK(True)  ' export without paragraph alignment\n";
  }
  WriteOutput(options, nullptr, out);
  return kExitOk;
}

}  // namespace pendlow
