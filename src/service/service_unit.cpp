#include "service/service_unit.h"

#include "util/hex_digits.h"

namespace kiv {
namespace {

// What every service can do with: none of it keeps a processor from the serial
// ports, the watched directories, the network or memory shared with others.
// docs/decisions/0040-service-unit.md says what is left out, and why.
constexpr char kHardening[] =
    "NoNewPrivileges=yes\n"
    "LockPersonality=yes\n"
    "RestrictRealtime=yes\n"
    "RestrictSUIDSGID=yes\n"
    "SystemCallArchitectures=native\n"
    "UMask=0027\n";

// What takes a name space of one's own, which a user's service manager may not
// make.
constexpr char kMachineHardening[] =
    "ProtectSystem=full\n"
    "ProtectKernelTunables=yes\n"
    "ProtectKernelModules=yes\n"
    "ProtectKernelLogs=yes\n"
    "ProtectControlGroups=yes\n"
    "ProtectHostname=yes\n"
    "RestrictNamespaces=yes\n"
    "RestrictAddressFamilies=AF_UNIX AF_INET AF_INET6 AF_NETLINK\n"
    "SystemCallFilter=@system-service\n"
    "SystemCallErrorNumber=EPERM\n";

bool IsNameByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
         (c >= '0' && c <= '9') || c == '-' || c == '_' || c == '.';
}

// % begins a specifier everywhere.
std::string Plain(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '%') out += '%';
    out += c;
  }
  return out;
}

// One word of a list of words.
std::string Quoted(const std::string& word) {
  std::string out = "\"";
  for (const char c : Plain(word)) {
    if (c == '"' || c == '\\') out += '\\';
    out += c;
  }
  return out + '"';
}

// In a command a variable would be put in for $NAME.
std::string Command(const std::vector<std::string>& words) {
  std::string out;
  for (const std::string& word : words) {
    if (!out.empty()) out += ' ';
    for (const char c : Quoted(word)) {
      if (c == '$') out += '$';
      out += c;
    }
  }
  return out;
}

}  // namespace

std::string UnitName(const std::string& service_utf8) {
  std::string out;
  for (const char c : service_utf8) {
    if (IsNameByte(c) && !(c == '.' && out.empty())) {
      out += c;
    } else {
      out += '_';
      AppendHexByte(out, c, kLowerHexDigits);
    }
  }
  return out + ".service";
}

std::string UnitText(const ServiceUnit& unit) {
  std::string text = kUnitMark;
  text += "\n\n[Unit]\nDescription=" + Plain(unit.description) + '\n';
  if (!unit.is_of_user)
    text +=
        "Wants=network-online.target\n"
        "After=network-online.target\n";
  // It is started again for as long as it takes: a line or a broker that is
  // away for an hour is no reason to give up.
  text +=
      "StartLimitIntervalSec=0\n\n[Service]\nType=notify\n"
      "NotifyAccess=main\nExecStart=" +
      Command(unit.command) +
      "\nWorkingDirectory=" + Plain(unit.working_folder) + '\n';
  if (!unit.account.empty()) text += "User=" + unit.account + '\n';
  for (const std::string& group : unit.groups)
    text += "SupplementaryGroups=" + group + '\n';
  text += "Restart=on-failure\nRestartSec=5\nWatchdogSec=" +
          std::to_string(kWatchdogSeconds) +
          "\nTimeoutStopSec=30\n"
          // The processors' helper processes end with the service.
          "KillMode=mixed\n\n";
  text += kHardening;
  if (!unit.is_of_user) {
    text += kMachineHardening;
    text += "ReadWritePaths=" + Quoted(unit.service_folder) + '\n';
  }
  text += "\n[Install]\nWantedBy=";
  text += unit.is_of_user ? "default.target\n" : "multi-user.target\n";
  return text;
}

}  // namespace kiv
