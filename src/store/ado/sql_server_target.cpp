#include "store/ado/sql_server_target.h"

#include <algorithm>
#include <utility>

#include "util/gb_text.h"

namespace kiv::store::ado {
namespace {

struct Server {
  std::string host;
  std::string port;
};

// "host", "host\instance", "host,port", "tcp:host,port"; "." and "(local)" are
// this machine.
Server ServerOf(std::string text) {
  if (StartsWithIgnoreCase(text, "tcp:")) text.erase(0, 4);
  Server server;
  if (const std::size_t comma = FindLastAscii(text, ',');
      comma != std::string::npos) {
    server.port = text.substr(comma + 1);
    std::erase(server.port, ' ');
    text.erase(comma);
  }
  const std::size_t instance = std::min(FindAscii(text, '\\'), text.size());
  const std::string host = text.substr(0, instance);
  const bool is_here =
      host.empty() || host == "." || EqualIgnoreCase(host, "(local)");
  server.host = (is_here ? "localhost" : host) + text.substr(instance);
  return server;
}

bool IsFreeTds(const Driver& driver) {
  return driver.library.find("tdsodbc") != std::string::npos;
}

}  // namespace

void AddServer(const std::string& address, const Driver& driver,
               ConnectionText& pairs) {
  const Server server = ServerOf(address);
  if (IsFreeTds(driver)) {
    pairs.Set("Server", server.host);
    if (!server.port.empty()) pairs.Set("Port", server.port);
  } else {
    pairs.Set("Server",
              server.host + (server.port.empty() ? "" : "," + server.port));
  }
}

void CompleteSqlServer(ConnectionText pairs, Target& target) {
  if (IsFreeTds(target.driver)) {
    pairs.AddMissing("ClientCharset", "UTF-8");
    // Left to find it out, the driver waits without end for a server that says
    // nothing. A server that knows less answers with what it knows.
    pairs.AddMissing("TDS_Version", "7.4");
  }
  SetTexts(std::move(pairs), "master", target);
}

Target SqlServerTarget(const ConnectionText& text, const std::string& user,
                       const std::string& password) {
  Target target;
  target.driver = SqlServerDriver();
  ConnectionText pairs;
  pairs.Add("Driver", target.driver.name);
  AddServer(text.FirstOf({"Data Source", "Server", "Address", "Addr",
                          "Network Address"}),
            target.driver, pairs);
  const std::string database = text.FirstOf({"Initial Catalog", "Database"});
  if (!database.empty()) pairs.Add("Database", database);
  if (IsYes(text.FirstOf({"Integrated Security", "Trusted_Connection"})) &&
      user.empty()) {
    pairs.Add("Trusted_Connection", "Yes");
  } else {
    pairs.Add("UID", user);
    pairs.Add("PWD", password);
    target.password = password;
  }
  if (const std::string name = text.FirstOf({"Application Name", "APP"});
      !name.empty())
    pairs.Add("APP", name);
  if (const std::string name = text.FirstOf({"Workstation ID", "WSID"});
      !name.empty())
    pairs.Add("WSID", name);
  if (IsYes(text.FirstOf({"Use Encryption for Data", "Encrypt"}))) {
    if (IsFreeTds(target.driver)) {
      pairs.Add("Encryption", "require");
    } else {
      pairs.Add("Encrypt", "Yes");
      if (IsYes(text.FirstOf(
              {"Trust Server Certificate", "TrustServerCertificate"})))
        pairs.Add("TrustServerCertificate", "Yes");
    }
  }
  CompleteSqlServer(std::move(pairs), target);
  return target;
}

}  // namespace kiv::store::ado
