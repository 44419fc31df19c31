#ifndef TESTING_POSTGRES_SERVER_H_
#define TESTING_POSTGRES_SERVER_H_

#include <pwd.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "port/test_folder.h"
#include "testing/eventually.h"
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
  PostgresServer() : folder_(MakeFolder()) {
    WriteTestFile(folder_ / "password", std::string(kPassword) + "\n");
    GiveAway(folder_ / "password");
    const auto maker = Run(
        "initdb", {"--pgdata=" + Data(), "--encoding=UTF8", "--locale=C",
                   "--username=" + std::string(kUser), "--auth=scram-sha-256",
                   "--pwfile=" + (folder_ / "password").string(), "--no-sync"});
    if (maker->WaitForEnd(kStartLimit) != 0)
      throw std::runtime_error("no cluster: " + maker->Errors());
    Start();
  }
  ~PostgresServer() {
    Stop();
    std::error_code ignored;
    std::filesystem::remove_all(folder_, ignored);
  }
  PostgresServer(const PostgresServer&) = delete;
  PostgresServer& operator=(const PostgresServer&) = delete;

  void Start() {
    server_ =
        Run("postgres", {"-D", Data(), "-k", folder_.string(), "-p",
                         std::to_string(kPort), "-c", "listen_addresses=", "-c",
                         "fsync=off", "-c", "max_connections=20"});
    const std::filesystem::path ready = folder_ / "data" / "postmaster.pid";
    if (!Eventually(
            [&] {
              return ReadTestFile(ready).find("ready") != std::string::npos;
            },
            kStartLimit))
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
  std::string Host() const { return folder_.string(); }
  static int Port() { return kPort; }

 private:
  // A second or two, unless the machine has other things to do.
  static constexpr std::chrono::minutes kStartLimit{2};
  // Part of the socket's name; nobody listens on it.
  static constexpr int kPort = 5432;

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

  static std::filesystem::path MakeFolder() {
    std::string name =
        (std::filesystem::temp_directory_path() / "kiv-pg-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
      throw std::runtime_error("no folder for the server");
    GiveAway(name);
    return name;
  }

  static void GiveAway(const std::filesystem::path& path) {
    if (::geteuid() != 0) return;
    const passwd* const nobody = ::getpwnam("nobody");
    if (nobody == nullptr ||
        ::chown(path.c_str(), nobody->pw_uid, nobody->pw_gid) != 0)
      throw std::runtime_error("no user to run the server");
  }

  std::string Data() const { return (folder_ / "data").string(); }

  std::unique_ptr<RunningProgram> Run(const std::string& program,
                                      std::vector<std::string> arguments) {
    std::string file = (ProgramFolder() / program).string();
    if (::geteuid() == 0) {
      // The change of user takes the signal at our death away.
      std::vector<std::string> words{"--reuid=nobody", "--regid=nogroup",
                                     "--clear-groups", "--pdeathsig=KILL",
                                     std::move(file)};
      words.insert(words.end(), arguments.begin(), arguments.end());
      arguments = std::move(words);
      file = "/usr/bin/setpriv";
    }
    return std::make_unique<RunningProgram>(
        file, std::move(arguments),
        RunningProgram::Surroundings{
            .files = folder_, .terminal = nullptr, .variables = {"LC_ALL=C"}});
  }

  const std::filesystem::path folder_;
  std::unique_ptr<RunningProgram> server_;
};

// One for the tests of a program that leave it running.
inline PostgresServer& SharedPostgres() {
  static PostgresServer server;
  return server;
}

}  // namespace kiv::testing

#endif  // TESTING_POSTGRES_SERVER_H_
