#ifndef TOOLS_KIV_XDB_PLACE_H_
#define TOOLS_KIV_XDB_PLACE_H_

#include <string>

#include "kiv/xdb.h"

namespace kiv_tool {

// Where the commands of kiv xdb work: one environment, opened by the first
// command that needs it. What fails is said on standard error, with the command
// in front. Names are UTF-8 here, as on the command line.
class XdbPlace {
 public:
  std::string home = ".";
  std::string password_file;
  bool asks_password = false;
  // Beside the usual ones, for the one that opens.
  long extra_flags = 0;

  // Null on failure. Only with `may_create` is a folder taken that holds no
  // environment yet.
  kiv::XDbManager* Open(bool may_create = false);
  bool OpenContainer(const std::string& name, kiv::XDbContainer& out,
                     bool may_create = false);
  void Close();
  // The password, asked for once. False on failure.
  bool Password(std::string& password, bool is_new);

  // The command's name, for errors.
  void SetCommand(const std::string& command) { command_ = command; }
  // 1, with the text on standard error.
  int Fault(const std::string& text) const;
  // The same with what the library said last.
  int LibraryFault(const std::string& what) const;
  // A name in the library's encoding. False, and said, when it cannot be.
  bool LocalName(const std::string& name, std::string& local) const;

 private:
  bool HoldsEnvironment() const;

  kiv::XDbManager manager_;
  bool is_open_ = false;
  std::string command_;
  std::string password_;
  bool has_password_ = false;
};

// A name of the library for a terminal or a file: UTF-8, "/" between folders.
std::string ShownName(const std::string& local);
// The reason in what the library logged last on this thread.
std::string LibraryReason();

}  // namespace kiv_tool

#endif  // TOOLS_KIV_XDB_PLACE_H_
