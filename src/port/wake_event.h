#ifndef PORT_WAKE_EVENT_H_
#define PORT_WAKE_EVENT_H_

namespace kiv::port {

// A manual-reset event: CreateEvent, SetEvent, WaitForSingleObject. Set and the
// waits may come from any thread.
class WakeEvent {
 public:
  WakeEvent();
  ~WakeEvent();
  WakeEvent(const WakeEvent&) = delete;
  WakeEvent& operator=(const WakeEvent&) = delete;

  void Set();
  void Reset();
  // True when the event is set before the time is over.
  bool WaitFor(int timeout_ms) const;
  // What the system's own waits take: a file descriptor on Linux.
  int Handle() const { return handle_; }

 private:
  int handle_ = -1;
};

}  // namespace kiv::port

#endif  // PORT_WAKE_EVENT_H_
