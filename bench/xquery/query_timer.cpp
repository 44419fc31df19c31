// Loads documents into a container, and times queries over it; what
// bench/xquery/compare.py sets beside another database.
//
//   query_timer HOME load CONTAINER FILE-OR-FOLDER
//   query_timer HOME run [--runs N] [--output FOLDER] QUERY-FILE...
//   query_timer HOME prepare QUERY-FILE
//
// "run" writes a line a query: its file, the fewest milliseconds of N runs
// after one more, all from the text of the query to the text of the answer, and
// of these the ones for the plan; at last the most memory that the process had.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "kiv/xdb.h"
#include "xdb/container/container.h"
#include "xdb/query_documents.h"
#include "xdb/session.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/run/serializer.h"

namespace {

namespace fs = std::filesystem;
namespace xdb = kiv::xdb;
namespace xq = kiv::xdb::xq;

constexpr std::size_t kBatch = 1'000;

double Milliseconds() {
  return std::chrono::duration<double, std::milli>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

std::shared_ptr<xdb::Environment> OpenHome(const fs::path& home) {
  fs::create_directories(home);
  auto environment = std::make_shared<xdb::Environment>();
  if (environment->Open(home.string(), {true, true, true, true}, "") != 0)
    throw std::runtime_error(environment->ErrorText());
  return environment;
}

// A file by its name, those of a folder without their extension.
void Load(const fs::path& home, const std::string& container_name,
          const fs::path& source) {
  const auto environment = OpenHome(home);
  const auto container = OpenContainer(environment, container_name + ".xdb",
                                       {.create = true,
                                        .encrypted = false,
                                        .thread = true,
                                        .transactional = true});
  if (!fs::is_directory(source)) {
    container->Put(source.filename(), ReadFile(source), nullptr);
    return;
  }
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(source))
    files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (std::size_t first = 0; first < files.size(); first += kBatch) {
    const auto transaction = environment->Begin();
    const std::size_t end = std::min(first + kBatch, files.size());
    for (std::size_t i = first; i < end; ++i)
      container->Put(files[i].stem(), ReadFile(files[i]), transaction.get());
    transaction->Commit();
  }
  environment->Checkpoint();
}

struct Measured {
  double all_ms = 0;
  double compile_ms = 0;
  std::string answer;
};

Measured RunOnce(const std::shared_ptr<xdb::Session>& session,
                 const std::string& query) {
  Measured measured;
  const double start = Milliseconds();
  const auto compiled = xq::Compile(query, {});
  measured.compile_ms = Milliseconds() - start;
  xdb::ContainerDocuments documents(session, {});
  xq::Surroundings surroundings;
  surroundings.documents = &documents;
  {
    xq::RunningQuery running(compiled, surroundings, xq::Item(), {});
    // Nothing between two values.
    for (xq::Item item; running.Next(item);)
      xq::Serializer(measured.answer).Write(item);
  }
  measured.all_ms = Milliseconds() - start;
  return measured;
}

double MostMegabytes() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);)
    if (line.starts_with("VmHWM:"))
      return std::strtod(line.c_str() + std::strlen("VmHWM:"), nullptr) / 1024;
  return 0;
}

void Run(const fs::path& home, int runs, const fs::path& output,
         const std::vector<fs::path>& queries) {
  const auto session =
      std::make_shared<xdb::Session>(OpenHome(home), false, true);
  for (const fs::path& file : queries) {
    const std::string query = ReadFile(file);
    Measured best = RunOnce(session, query);
    for (int i = 0; i < runs; ++i) {
      Measured next = RunOnce(session, query);
      if (i == 0 || next.all_ms < best.all_ms) best = std::move(next);
    }
    std::printf("%s\t%.4f\t%.4f\n", file.filename().c_str(), best.all_ms,
                best.compile_ms);
    if (!output.empty()) {
      std::ofstream answer(output / file.stem(), std::ios::binary);
      answer << best.answer;
    }
  }
  std::printf("resident\t%.1f\n", MostMegabytes());
}

// Nanoseconds to get a query that was prepared before.
void Prepare(const fs::path& home, const fs::path& file) {
  constexpr int kTurns = 1'000'000;
  const std::string query = ReadFile(file);
  kiv::XDbManager manager;
  if (!manager.Open(home.c_str(), 0x0F, nullptr, nullptr))
    throw std::runtime_error(manager.LastError());
  kiv::XDbQueryContext context;
  manager.CreateQueryContext(context);
  if (manager.Prepare(query, context, true) == nullptr)
    throw std::runtime_error(manager.LastError());
  const double start = Milliseconds();
  for (int i = 0; i < kTurns; ++i) manager.Prepare(query, context, true);
  std::printf("prepare\t%.1f\n", (Milliseconds() - start) * 1e6 / kTurns);
}

int Main(const std::vector<std::string>& arguments) {
  const std::string& home = arguments.at(0);
  const std::string& what = arguments.at(1);
  if (what == "load") {
    Load(home, arguments.at(2), arguments.at(3));
    return 0;
  }
  if (what == "prepare") {
    Prepare(home, arguments.at(2));
    return 0;
  }
  int runs = 3;
  fs::path output;
  std::vector<fs::path> queries;
  for (std::size_t i = 2; i < arguments.size(); ++i) {
    if (arguments[i] == "--runs")
      runs = std::stoi(arguments.at(++i));
    else if (arguments[i] == "--output")
      output = arguments.at(++i);
    else
      queries.push_back(arguments[i]);
  }
  Run(home, runs, output, queries);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  kiv::GlobalInit();
  int code = 1;
  try {
    code = Main({argv + 1, argv + argc});
  } catch (const xq::Error& error) {
    std::fprintf(stderr, "query_timer: %s: %s\n", error.code().c_str(),
                 error.what());
  } catch (const std::exception& error) {
    std::fprintf(stderr, "query_timer: %s\n", error.what());
  }
  kiv::GlobalUninit();
  return code;
}
