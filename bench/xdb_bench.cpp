// The XML database: loading documents against another database of documents,
// getting one by name against a bare Berkeley DB, the size of a container, and
// what a put costs as a container grows. Skipped, with the reason, where the
// data is missing: KIV_DATA, else ../shared/data beside the checkout.
#include <db_cxx.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "compare.h"
#include "xdb/container/container.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/store_error.h"

namespace {

namespace fs = std::filesystem;
using kiv::xdb::Container;
using kiv::xdb::ContainerSwitches;
using kiv::xdb::Environment;

constexpr int kOrders = 20'000;
constexpr std::size_t kBatch = 1'000;
constexpr ContainerSwitches kCreate = {
    .create = true, .encrypted = false, .thread = true, .transactional = true};

double Seconds() {
  return std::chrono::duration<double>(
             std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

void RunCommand(const std::string& command) {
  if (std::system(command.c_str()) != 0)
    throw std::runtime_error("this failed: " + command);
}

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// On the disk that the program runs on: /tmp may be memory.
class WorkFolder {
 public:
  WorkFolder()
      : path_(fs::current_path() /
              ("kiv_xdb_bench_" + std::to_string(std::rand()))) {
    fs::create_directories(path_);
  }
  ~WorkFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  const fs::path& path() const { return path_; }
  // Anew each time.
  fs::path Fresh(const char* name) const {
    fs::remove_all(path_ / name);
    fs::create_directories(path_ / name);
    return path_ / name;
  }

 private:
  const fs::path path_;
};

const WorkFolder& Work() {
  static const WorkFolder folder;
  return folder;
}

fs::path DataFolder() {
  if (const char* const set = std::getenv("KIV_DATA")) return set;
  return fs::current_path().parent_path() / "shared" / "data";
}

bool HasData(const char* part) {
  static bool is_told = false;
  const bool has = fs::exists(DataFolder() / part);
  if (!has && !is_told) {
    is_told = true;
    std::fprintf(stderr, "xdb/... is skipped where it needs %s\n",
                 (DataFolder() / part).c_str());
  }
  return has;
}

struct Documents {
  std::vector<std::pair<std::string, std::string>> all;  // name and content
  std::size_t bytes = 0;

  void Add(std::string name, std::string content) {
    bytes += content.size();
    all.emplace_back(std::move(name), std::move(content));
  }
};

const fs::path& OrdersFolder() {
  static const fs::path folder = [] {
    const fs::path made = Work().Fresh("orders");
    RunCommand("python3 " +
               (DataFolder() / "orders" / "gen_orders.py").string() + " " +
               made.string() + " " + std::to_string(kOrders));
    return made;
  }();
  return folder;
}

const fs::path& AuctionFolder() {
  static const fs::path folder = [] {
    const fs::path made = Work().Fresh("auction");
    RunCommand("gzip -dc " +
               (DataFolder() / "auction" / "auction.xml.gz").string() + " > " +
               (made / "auction.xml").string());
    return made;
  }();
  return folder;
}

std::vector<fs::path> FilesOf(const fs::path& folder) {
  const fs::directory_iterator entries(folder);
  std::vector<fs::path> files(begin(entries), end(entries));
  std::sort(files.begin(), files.end());
  return files;
}

Documents ReadAll(const fs::path& folder) {
  Documents documents;
  for (const fs::path& file : FilesOf(folder))
    documents.Add(file.stem(), ReadFile(file));
  return documents;
}

const Documents& Orders() {
  static const Documents orders = ReadAll(OrdersFolder());
  return orders;
}

// A home with a container in it.
class Store {
 public:
  explicit Store(const char* folder)
      : home_(Work().Fresh(folder)),
        environment_(std::make_shared<Environment>()) {
    if (environment_->Open(home_.string(), {true, true, true, true}, "") != 0)
      throw std::runtime_error(environment_->ErrorText());
    container_ = OpenContainer(environment_, "bench.xdb", kCreate);
  }
  ~Store() {
    container_.reset();
    environment_->Close();
  }
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;

  Container& container() { return *container_; }

  // Durable batches.
  void Load(const Documents& documents) {
    for (std::size_t first = 0; first < documents.all.size(); first += kBatch) {
      const auto transaction = environment_->Begin();
      const std::size_t end = std::min(first + kBatch, documents.all.size());
      for (std::size_t i = first; i < end; ++i)
        container_->Put(documents.all[i].first, documents.all[i].second,
                        transaction.get());
      transaction->Commit();
    }
  }

  double FileBytes() {
    environment_->Checkpoint();
    return static_cast<double>(fs::file_size(home_ / "bench.xdb"));
  }
  Environment& environment() { return *environment_; }

 private:
  const fs::path home_;
  const std::shared_ptr<Environment> environment_;
  std::shared_ptr<Container> container_;
};

// The files as it finds them on the disk, for both sides.
double LoadSeconds(const fs::path& folder) {
  const double start = Seconds();
  Store store("load");
  Documents batch;
  const std::vector<fs::path> files = FilesOf(folder);
  for (const fs::path& file : files) {
    batch.Add(file.stem(), ReadFile(file));
    if (batch.all.size() == kBatch || file == files.back()) {
      store.Load(batch);
      batch = {};
    }
  }
  return Seconds() - start;
}

// By its own clock, which leaves out that its machine starts. Its own parser is
// much the faster one of the two it has.
double BasexSeconds(const fs::path& folder) {
  const fs::path home = Work().Fresh("basex");
  const fs::path output = Work().path() / "basex.txt";
  RunCommand("java -Dorg.basex.path=" + home.string() +
             " -Dorg.basex.DBPATH=" + (home / "data").string() +
             " -cp /usr/share/java/basex.jar org.basex.BaseX -V"
             " -c 'SET INTPARSE true' -c 'SET TEXTINDEX true'"
             " -c 'SET ATTRINDEX true' -c 'CREATE DB loaded " +
             folder.string() + "' > " + output.string() + " 2>&1");
  const std::string said = ReadFile(output);
  const std::string before = "created in ";
  const std::size_t at = said.find(before);
  if (at == std::string::npos)
    throw std::runtime_error("BaseX made no database: " + said);
  return std::strtod(said.c_str() + at + before.size(), nullptr) / 1000;
}

// In turns: a slow spell of the machine falls on both.
double LoadAgainstBasex(const fs::path& folder) {
  constexpr int kRounds = 5;
  std::vector<double> ours;
  std::vector<double> basex;
  for (int i = 0; i < kRounds; ++i) {
    ours.push_back(LoadSeconds(folder));
    basex.push_back(BasexSeconds(folder));
  }
  std::fprintf(stderr, "load of %s: ours %.2f s, BaseX %.2f s\n",
               folder.filename().c_str(), bench::Median(ours),
               bench::Median(basex));
  return bench::Median(ours) / bench::Median(basex);
}

double SizeOf(const Documents& documents, const char* what) {
  Store store("size");
  store.Load(documents);
  const double bytes = store.FileBytes();
  std::fprintf(stderr, "%s: container %.0f bytes, documents %zu bytes\n", what,
               bytes, documents.bytes);
  return bytes / static_cast<double>(documents.bytes);
}

// Names in an order in which neighbours do not follow one another.
const std::string& NameOf(std::size_t turn) {
  return Orders().all[turn * 7919 % Orders().all.size()].first;
}

void GetOurs(benchmark::State& state) {
  static Store* const store = [] {
    auto* made = new Store("get");
    made->Load(Orders());
    return made;
  }();
  std::size_t turn = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(store->container().Get(NameOf(++turn), nullptr));
}

// The documents themselves in one table of an environment that is opened and
// set as ours is.
class BareStore {
 public:
  BareStore() {
    if (environment_.Open(Work().Fresh("bare").string(),
                          {true, true, true, true}, "") != 0)
      throw std::runtime_error(environment_.ErrorText());
    DbEnv* const handle = kiv::xdb::EnvironmentHandle(environment_);
    table_ = std::make_unique<Db>(handle, DB_CXX_NO_EXCEPTIONS);
    Check(table_->set_pagesize(8192));
    Check(table_->open(nullptr, "bare.db", nullptr, DB_BTREE,
                       DB_CREATE | DB_THREAD | DB_AUTO_COMMIT, 0));
    DbTxn* transaction = nullptr;
    Check(handle->txn_begin(nullptr, &transaction, 0));
    for (const auto& [name, content] : Orders().all) {
      Dbt key(const_cast<char*>(name.data()),
              static_cast<u_int32_t>(name.size()));
      Dbt value(const_cast<char*>(content.data()),
                static_cast<u_int32_t>(content.size()));
      Check(table_->put(transaction, &key, &value, 0));
    }
    Check(transaction->commit(0));
  }

  std::string Get(const std::string& name) {
    Dbt key(const_cast<char*>(name.data()),
            static_cast<u_int32_t>(name.size()));
    Dbt value;
    value.set_flags(DB_DBT_USERMEM);
    value.set_data(buffer_.data());
    value.set_ulen(static_cast<u_int32_t>(buffer_.size()));
    Check(table_->get(nullptr, &key, &value, 0));
    return {buffer_.data(), value.get_size()};
  }

 private:
  static void Check(int code) {
    if (code != 0) throw std::runtime_error(DbEnv::strerror(code));
  }

  Environment environment_;
  std::unique_ptr<Db> table_;
  std::vector<char> buffer_ = std::vector<char>(1 << 16);
};

void GetBare(benchmark::State& state) {
  static BareStore* const store = new BareStore;
  std::size_t turn = 0;
  for (auto _ : state) benchmark::DoNotOptimize(store->Get(NameOf(++turn)));
}

std::string SmallDocument(std::size_t number) {
  const std::string n = std::to_string(number);
  return "<item id=\"i" + n + "\"><name>Name" +
         std::to_string(number * 7919 % 100'003) + "</name><group>" +
         std::to_string(number % 50) + "</group><price>" +
         std::to_string(number * 31 % 9973) + ".50</price></item>";
}

// A container that grows by small documents, in durable batches.
class Growing {
 public:
  explicit Growing(const char* folder) : store_(folder) {}

  std::size_t count() const { return count_; }
  // Microseconds a put.
  double Grow(std::size_t more) {
    Documents documents;
    for (std::size_t i = 0; i < more; ++i, ++count_)
      documents.Add("item" + std::to_string(count_), SmallDocument(count_));
    const double start = Seconds();
    store_.Load(documents);
    return (Seconds() - start) * 1e6 / static_cast<double>(more);
  }

 private:
  Store store_;
  std::size_t count_ = 0;
};

// How much more a put costs among the last of a million documents than at a
// hundredth to a tenth of it: a second container grows beside the last steps of
// the first, so that a slow spell of the machine falls on both. All steps of
// the first are plotted; the page of the benchmarks has the plot.
double PutGrowth() {
  constexpr std::size_t kMost = 1'000'000;
  constexpr std::size_t kStep = 10'000;
  constexpr std::size_t kCompared = 9 * kStep;
  Growing large("large");
  bench::Curve curve{"xdb/put_growth",
                     "us a put, in durable batches of 1,000",
                     "documents in the container",
                     {"ours"},
                     {}};
  const auto grow = [&] {
    // The first steps are small: from 1,000 on there is something to see.
    const double each = large.Grow(large.count() < kStep ? kBatch : kStep);
    curve.points.push_back({static_cast<double>(large.count()), {each}});
    return each;
  };
  while (large.count() < kMost - kCompared) grow();
  Growing small("small");
  small.Grow(kStep);
  std::vector<double> early;
  std::vector<double> late;
  while (large.count() < kMost) {
    early.push_back(small.Grow(kStep));
    late.push_back(grow());
  }
  bench::AddCurve(std::move(curve));
  std::fprintf(stderr,
               "a put costs %.1f us among 10,000 to 100,000 documents, %.1f us "
               "among 910,000 to 1,000,000\n",
               bench::Median(early), bench::Median(late));
  return bench::Median(late) / bench::Median(early);
}

bool LeaveOutAll(std::initializer_list<const char*> names) {
  for (const char* const name : names) bench::LeaveOut(name, "no data");
  return false;
}

const bool orders =
    HasData("orders")
        ? bench::StayBelow("xdb/load_orders", "x BaseX", 1,
                           [] { return LoadAgainstBasex(OrdersFolder()); }) &&
              bench::StayBelow("xdb/size_orders", "x documents", 2,
                               [] { return SizeOf(Orders(), "orders"); }) &&
              bench::Compare(
                  {"xdb/get_by_name", "gets/s", 1, "Berkeley DB", 0.5}, GetOurs,
                  GetBare)
        : LeaveOutAll(
              {"xdb/load_orders", "xdb/size_orders", "xdb/get_by_name"});
const bool auction =
    HasData("auction")
        ? bench::StayBelow("xdb/load_auction", "x BaseX", 1,
                           [] { return LoadAgainstBasex(AuctionFolder()); }) &&
              bench::StayBelow(
                  "xdb/size_auction", "x document", 2,
                  [] { return SizeOf(ReadAll(AuctionFolder()), "auction"); })
        : LeaveOutAll({"xdb/load_auction", "xdb/size_auction"});
const bool growth =
    bench::StayBelow("xdb/put_growth", "x at 1-10 % of it", 2, PutGrowth);

}  // namespace
