#include "service/log_echo.h"

#include <cstdio>
#include <iostream>

#include "kiv/date_time.h"
#include "kiv/encoding.h"
#include "kiv/log.h"

namespace kiv {
namespace {

constexpr char kFolder[] = "Logfiles/System/";

}  // namespace

LogEcho::LogEcho() { Open(TodaysFile(), true); }

void LogEcho::ShowNew() {
  Log::Instance().LockedFlush();
  const std::string today = TodaysFile();
  if (!file_.is_open()) Open(name_, false);
  ShowLines();
  if (today == name_) return;
  Open(today, false);
  ShowLines();
}

std::string LogEcho::TodaysFile() {
  const DateTime now = DateTime::Now();
  char name[16];
  std::snprintf(name, sizeof name, "%d%02d%02d.txt", now.Year(), now.Month(),
                now.Day());
  return name;
}

void LogEcho::Open(const std::string& name, bool at_end) {
  name_ = name;
  line_.clear();
  file_ = std::ifstream(kFolder + name, std::ios::binary);
  if (at_end) file_.seekg(0, std::ios::end);
}

void LogEcho::ShowLines() {
  if (!file_.is_open()) return;
  file_.clear();
  for (std::string piece; std::getline(file_, piece);) {
    line_ += piece;
    if (file_.eof()) return;
    if (line_.ends_with('\r')) line_.pop_back();
    std::cerr << stringToUtf8(line_.c_str(), 0).get() << '\n';
    line_.clear();
  }
}

}  // namespace kiv
