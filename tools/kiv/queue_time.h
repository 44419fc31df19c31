#ifndef TOOLS_KIV_QUEUE_TIME_H_
#define TOOLS_KIV_QUEUE_TIME_H_

#include <cstdio>
#include <string>

#include "kiv/date_time.h"

namespace kiv_tool {

// As 2026-03-01 14:03:59, local time; "-" for a missing one.
inline std::string TimeText(const kiv::DateTime& time) {
  if (time == kiv::DateTime()) return "-";
  char text[40];
  std::snprintf(text, sizeof text, "%04d-%02d-%02d %02d:%02d:%02d", time.Year(),
                time.Month(), time.Day(), time.Hour(), time.Minute(),
                time.Second());
  return text;
}

}  // namespace kiv_tool

#endif  // TOOLS_KIV_QUEUE_TIME_H_
