#ifndef KIV_MODULE_MODULE_H_
#define KIV_MODULE_MODULE_H_

#include <memory>

#include "kiv/export.h"

namespace kiv::module {

// What a processor library exports, under any name (extern "C"). The bytes need
// not end with a zero. `context` is null for a message queue, the
// ComQueueConfig for a serial port and the FileQueueFile for a watched
// directory. True means handled; an exception counts as false.
using ProcessorFunction = bool (*)(const char* data, int length, void* context);

// The code that handles one message. No lock: one thread at a time, unless the
// processor function allows more.
class KIV_API Module {
 public:
  // From a description of the form dll://library:function. The library's path
  // is looked up ignoring case, against the current directory, with or without
  // "lib" and its suffix.
  //
  // Empty only for a bad description or a missing file. A library that cannot
  // be loaded, or lacks the function, still gives a module: the fault is
  // logged, and its process_mem answers false.
  static std::shared_ptr<Module> create(const char* description);

  virtual bool process_mem(const char* data, int length, void* context);

  Module() = default;
  Module(const Module&) = default;
  Module& operator=(const Module&) = default;
  virtual ~Module() = default;
};

}  // namespace kiv::module

#endif  // KIV_MODULE_MODULE_H_
