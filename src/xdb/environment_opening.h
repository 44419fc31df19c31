#ifndef XDB_ENVIRONMENT_OPENING_H_
#define XDB_ENVIRONMENT_OPENING_H_

#include <string>

namespace kiv::xdb {

// An environment as far as opening it goes: Environment's operations with their
// arguments bound.
class OpeningEnvironment {
 public:
  virtual ~OpeningEnvironment() = default;
  virtual int Open() = 0;
  virtual void Repair(bool is_catastrophic) = 0;
  virtual std::string ErrorText() const = 0;
};

// Opens it, and where only that may help, repairs it first: with recovery, and
// when it still cannot be opened, with catastrophic recovery. False is logged.
// `home` is for people.
bool OpenWithRepair(OpeningEnvironment& environment, const std::string& home);

}  // namespace kiv::xdb

#endif  // XDB_ENVIRONMENT_OPENING_H_
