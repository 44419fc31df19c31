#ifndef SERVICE_SERVICE_SETUP_H_
#define SERVICE_SERVICE_SETUP_H_

#include <string>
#include <vector>

namespace kiv {

// Installs, removes, starts and stops a service through the service manager,
// and says on the standard streams what became of it. Words and paths are the
// system's own: UTF-8, "/".
class ServiceSetup {
 public:
  ServiceSetup(const std::string& name, bool is_of_user);

  // The folder must be there; `arguments` follow the running program's file.
  bool Install(const std::string& description,
               const std::string& working_folder,
               const std::vector<std::string>& arguments) const;
  bool Uninstall() const;
  bool Start() const;
  bool Stop() const;

 private:
  // systemctl with the words; what it has against them it says itself.
  bool Control(std::vector<std::string> words) const;
  bool Say(const std::string& text) const;    // true
  bool Fault(const std::string& text) const;  // false
  std::string SwitchOfUser() const;

  std::string name_;
  std::string unit_;
  std::string file_;  // empty: there is no folder for it
  bool is_of_user_;
};

}  // namespace kiv

#endif  // SERVICE_SERVICE_SETUP_H_
