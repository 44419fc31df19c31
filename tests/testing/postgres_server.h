#ifndef TESTING_POSTGRES_SERVER_H_
#define TESTING_POSTGRES_SERVER_H_

#include <pwd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "testing/running_program.h"

namespace kiv::testing {

// A PostgreSQL server of the test's own: an ordinary program in a folder of its
// own, reached through a socket there and nowhere else. It shares nothing with
// a server that may run as a service, and does not outlive a test that is
// killed; start it on a thread that lives as long.
//
// The server refuses to run as root: there, the user "nobody" runs it.
class PostgresServer {
 public:
  static constexpr char kWhyNot[] =
      "no PostgreSQL server is installed: scripts/test installs the package "
      "postgresql";
  static constexpr char kUser[] = "kiv";
  static constexpr char kPassword[] = "Geheim;{}'x";

  static bool IsInstalled() { return !ProgramFolder().empty(); }

  // Starts it, with an empty database "postgres" in UTF-8.
  PostgresServer() {
    std::string name = std::filesystem::temp_directory_path() / "kiv-pg-XXXXXX";
    if (::mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("no folder for the server");
    folder_ = name;
    const std::string password = folder_ / "password";
    WriteTestFile(password, std::string(kPassword) + "\n");
    GiveAway(folder_);
    GiveAway(password);
    const auto maker = Run(
        "initdb", {"--pgdata=" + Data(), "--encoding=UTF8", "--locale=C",
                   std::string("--username=") + kUser, "--auth=scram-sha-256",
                   "--pwfile=" + password, "--no-sync"});
    if (maker->WaitForEnd(kStartLimit) != 0)
      throw std::runtime_error("no cluster: " + maker->Errors());
    Start();
  }
  ~PostgresServer() {
    Stop();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }

  void Start() {
    server_ = Run(
        "postgres",
        {"-D", Data(), "-k", Host(), "-p", std::to_string(Port()), "-c",
         "listen_addresses=", "-c", "fsync=off", "-c", "max_connections=20"});
    const auto is_ready = [this] {
      return ReadTestFile(Data() + "/postmaster.pid").find("ready") !=
             std::string::npos;
    };
    if (!Eventually(is_ready, kStartLimit))
      throw std::runtime_error("the server does not start: " +
                               server_->Errors());
  }
  // At once, with whatever is open.
  void Stop() {
    if (server_ == nullptr) return;
    server_->Send(SIGQUIT);
    server_->WaitForEnd();
    server_.reset();
  }

  // For an ODBC connection text.
  std::string Host() const { return folder_; }
  // Part of the socket's name; nobody listens on it.
  static int Port() { return 5432; }
  // One whole, for the record store and a database of that name. In braces, as
  // ODBC wants what has ";" in it: our password.
  std::string Text(const std::string& database,
                   const char* password = "{Geheim;{}}'x}") const {
    return "ado:ado:Driver=PostgreSQL Unicode;Server=" + Host() +
           ";Port=" + std::to_string(Port()) + ";Database=" + database +
           ";UID=" + kUser + ";PWD=" + password;
  }

 private:
  // A second or two, unless the machine has other things to do.
  static constexpr std::chrono::minutes kStartLimit{2};

  static std::filesystem::path ProgramFolder() {
    std::error_code missing;
    std::filesystem::path newest;
    for (const auto& version :
         std::filesystem::directory_iterator("/usr/lib/postgresql", missing)) {
      const auto programs = version.path() / "bin";
      if (std::filesystem::exists(programs / "initdb") && newest < programs)
        newest = programs;
    }
    return newest;
  }

  static void GiveAway(const std::filesystem::path& path) {
    if (::geteuid() != 0) return;
    const passwd* const nobody = ::getpwnam("nobody");
    if (nobody == nullptr ||
        ::chown(path.c_str(), nobody->pw_uid, nobody->pw_gid) != 0)
      throw std::runtime_error("no user to run the server");
  }

  std::string Data() const { return folder_ / "data"; }

  std::unique_ptr<RunningProgram> Run(const char* program,
                                      std::vector<std::string> words) {
    words.insert(words.begin(), ProgramFolder() / program);
    // The change of user takes the signal at our death away.
    if (::geteuid() == 0)
      words.insert(words.begin(),
                   {"/usr/bin/setpriv", "--reuid=nobody", "--regid=nogroup",
                    "--clear-groups", "--pdeathsig=KILL"});
    return std::make_unique<RunningProgram>(
        words[0], std::vector(words.begin() + 1, words.end()),
        RunningProgram::Surroundings{.files = folder_,
                                     .variables = {"LC_ALL=C"}});
  }

  std::filesystem::path folder_;
  std::unique_ptr<RunningProgram> server_;
};

// One for the tests of a program that leave it running.
inline PostgresServer& SharedPostgres() {
  static PostgresServer server;
  return server;
}

}  // namespace kiv::testing

#endif  // TESTING_POSTGRES_SERVER_H_
