#ifndef PORT_SERVICE_CONTROL_H_
#define PORT_SERVICE_CONTROL_H_

#include <memory>
#include <string>

namespace kiv::port {

class WakeEvent;

// RegisterServiceCtrlHandler and SetServiceStatus: how a running service is
// asked to stop, and what it tells the service manager. One at a time.
class ServiceControl {
 public:
  // From now on the requests wait for WaitForStop, also those that the system
  // sends to threads which are started later. With `tells` the service manager
  // that started the process, if one did, is told what is reported.
  // Null on failure; LastError() of port/file.h has the system's code.
  static std::unique_ptr<ServiceControl> Take(bool tells);
  // The requests act as before.
  virtual ~ServiceControl() = default;

  // Whether there is a service manager to be told.
  virtual bool IsManaged() const = 0;
  virtual void ReportRunning() = 0;
  virtual void ReportStopPending() = 0;
  // UTF-8.
  virtual void ReportText(const std::string& text) = 0;
  // True when a request came before the time was over; `source` then says from
  // where. `event` is one, too. Tells that the process lives, often enough
  // however long the time.
  virtual bool WaitForStop(int timeout_ms, const WakeEvent& event,
                           std::string& source) = 0;
};

}  // namespace kiv::port

#endif  // PORT_SERVICE_CONTROL_H_
