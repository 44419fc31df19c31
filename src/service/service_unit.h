#ifndef SERVICE_SERVICE_UNIT_H_
#define SERVICE_SERVICE_UNIT_H_

#include <string>
#include <vector>

namespace kiv {

// What a unit says. Words and paths are the system's own: UTF-8, "/".
struct ServiceUnit {
  std::string description;
  std::vector<std::string> command;  // the program's file in front
  std::string working_folder;
  std::string service_folder;  // everything in it may be written
  // The account it runs under; empty: that of the service manager.
  std::string account;
  // Groups it is in beside the account's own.
  std::vector<std::string> groups;
  bool is_of_user = false;
};

// How often the service says that it lives, at the least.
inline constexpr int kWatchdogSeconds = 30;

// The first line of every unit that we write.
inline constexpr char kUnitMark[] = "# Written by -install of kivcorelib10";

// weighbridge.service. Bytes that a unit's name cannot hold are written _NN.
std::string UnitName(const std::string& service_utf8);
std::string UnitText(const ServiceUnit& unit);

}  // namespace kiv

#endif  // SERVICE_SERVICE_UNIT_H_
