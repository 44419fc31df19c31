#ifndef TOOLS_KIV_STORE_PLACE_H_
#define TOOLS_KIV_STORE_PLACE_H_

#include <memory>
#include <string>

#include "captured_log.h"
#include "kiv/store/store.h"

namespace kiv_tool {

// Where the commands of kiv store work: one connection. What fails is said on
// standard error, with the command in front and what the library logged behind.
// Names and texts are UTF-8 here, as on the command line.
class StorePlace {
 public:
  std::string text;       // the connection text, as an argument
  std::string text_file;  // a file that holds it; else KIV_STORE does
  std::string user;
  std::string password_file;
  bool asks_password = false;

  // Empty on failure.
  std::shared_ptr<kiv::store::Connection> Open(bool may_create = false);
  // The same for a database; an XML database is refused.
  std::shared_ptr<kiv::store::AdoConnection> OpenDatabase(
      bool may_create = false);
  // Empty, and said, when there is no such table.
  std::shared_ptr<kiv::store::Table> OpenTable(
      kiv::store::Connection& connection, const std::string& name) const;

  // The command's name, for errors.
  void SetCommand(const std::string& command) { command_ = command; }
  // 1, with the text on standard error.
  int Fault(const std::string& what) const;
  // The same with what the library logged since the last time.
  int LibraryFault(const std::string& what) const;
  // Warnings that the library logged since the last time.
  void TellWarnings() const;
  // Text in the library's encoding. False, and said, when it cannot be.
  bool LocalText(const std::string& utf8, std::string& local) const;

 private:
  bool ReadText(std::string& utf8) const;
  bool ReadPassword(std::string& password) const;
  std::string NewReasons() const;

  const CapturedLog log_;
  mutable std::size_t told_ = 0;
  std::string command_;
};

}  // namespace kiv_tool

#endif  // TOOLS_KIV_STORE_PLACE_H_
