#include "store_place.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <vector>

#include "local_text.h"
#include "secret.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

constexpr char kVariable[] = "KIV_STORE";

// What an entry says, without its time, category and source.
std::string MessageOf(const std::string& entry) {
  const std::size_t category = entry.find("] ");
  const std::size_t source =
      category == std::string::npos ? category : entry.find(": ", category);
  return source == std::string::npos ? entry : entry.substr(source + 2);
}

}  // namespace

int StorePlace::Fault(const std::string& what) const {
  std::cerr << "kiv store " << command_ << ": " << Printable(what) << '\n';
  return 1;
}

std::string StorePlace::NewReasons() const {
  const std::string entries = log_.Entries();
  std::istringstream lines(entries.substr(std::min(told_, entries.size())));
  told_ = entries.size();
  std::string reasons;
  for (std::string line; std::getline(lines, line);)
    if (!line.empty()) reasons += "  " + MessageOf(line) + '\n';
  return reasons;
}

int StorePlace::LibraryFault(const std::string& what) const {
  Fault(what);
  std::cerr << NewReasons();
  return 1;
}

void StorePlace::TellWarnings() const { std::cerr << NewReasons(); }

bool StorePlace::LocalText(const std::string& utf8, std::string& local) const {
  if (ToGb2312(utf8, local)) return true;
  Fault("'" + utf8 + "'" + kNotLocal);
  return false;
}

bool StorePlace::ReadText(std::string& utf8) const {
  if (!text.empty()) {
    utf8 = text;
    return true;
  }
  if (!text_file.empty()) {
    std::ifstream file(text_file);
    if (std::getline(file, utf8)) {
      while (!utf8.empty() && (utf8.back() == '\r' || utf8.back() == ' '))
        utf8.pop_back();
      if (!utf8.empty()) return true;
    }
    Fault(text_file + " has no connection text in its first line");
    return false;
  }
  if (const char* const variable = std::getenv(kVariable);
      variable != nullptr && *variable != '\0') {
    utf8 = variable;
    return true;
  }
  Fault(std::string("no connection: give --connection, --connection-file or ") +
        kVariable);
  return false;
}

bool StorePlace::ReadPassword(std::string& password) const {
  std::string reason;
  std::string utf8;
  if (password_file.empty() && !asks_password) return true;
  if (password_file.empty()
          ? !AskSecret(kPassword, "Password: ", utf8, reason)
          : !ReadSecretFile(kPassword, password_file, utf8, reason)) {
    Fault(reason);
    return false;
  }
  if (ToGb2312(utf8, password)) return true;
  Fault(std::string("the password") + kNotLocal);
  return false;
}

std::shared_ptr<kiv::store::Connection> StorePlace::Open(bool may_create) {
  std::string utf8;
  std::string local;
  std::string local_user;
  std::string password;
  // The text itself is not said: it may hold a password.
  if (!ReadText(utf8) || !ReadPassword(password) ||
      !LocalText(user, local_user))
    return nullptr;
  if (!ToGb2312(utf8, local)) {
    Fault(std::string("the connection text") + kNotLocal);
    return nullptr;
  }
  auto connection = kiv::store::Factory().CreateConnection(local);
  if (!connection) {
    LibraryFault(
        "that is no connection text; ado:DBMS:TEXT and xmldb:FOLDER are");
    return nullptr;
  }
  // Of an XML database the two are halves of one password.
  if (connection->Open(local_user, password)) return connection;
  if (may_create && connection->Create(local_user, password)) {
    NewReasons();  // Why it was not there to be opened.
    return connection;
  }
  LibraryFault("the store cannot be opened");
  return nullptr;
}

std::shared_ptr<kiv::store::AdoConnection> StorePlace::OpenDatabase(
    bool may_create) {
  const auto connection = Open(may_create);
  auto database =
      std::dynamic_pointer_cast<kiv::store::AdoConnection>(connection);
  if (connection && !database)
    Fault(
        "an XML database has documents instead of rows and columns; see kiv "
        "xdb");
  return database;
}

std::shared_ptr<kiv::store::Table> StorePlace::OpenTable(
    kiv::store::Connection& connection, const std::string& name) const {
  std::string local;
  if (!LocalText(name, local)) return nullptr;
  auto table = connection.GetTable(local);
  if (!table) LibraryFault("there is no table '" + name + "'");
  return table;
}

}  // namespace kiv_tool
