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
#include "folder.h"
#include "xdb/container/container.h"
#include "xdb/container/environment_access.h"
#include "xdb/container/store_error.h"

namespace {

namespace fs = std::filesystem;
using kiv::xdb::Container;
using kiv::xdb::ContainerSwitches;
using kiv::xdb::Environment;

constexpr std::size_t kOrders = 20'000;
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

const fs::path& Work() {
  static const bench::Folder folder(fs::current_path());
  return folder.path();
}

// Anew each time.
fs::path FreshFolder(const char* name) {
  fs::remove_all(Work() / name);
  fs::create_directories(Work() / name);
  return Work() / name;
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

fs::path OrdersFolder(std::size_t count) {
  const fs::path folder = Work() / ("orders" + std::to_string(count));
  if (!fs::exists(folder))
    RunCommand("python3 " +
               (DataFolder() / "orders" / "gen_orders.py").string() + " " +
               folder.string() + " " + std::to_string(count));
  return folder;
}

// With the first of so many per cent of its items, persons and auctions.
fs::path AuctionFolder(std::size_t percent) {
  const fs::path folder = Work() / ("auction" + std::to_string(percent));
  if (fs::create_directory(folder))
    RunCommand("python3 " KIV_BENCH_FOLDER "/xquery/cut_auction.py " +
               (DataFolder() / "auction" / "auction.xml.gz").string() + ' ' +
               (folder / "auction.xml").string() + ' ' +
               std::to_string(percent));
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

// Of one size in a process.
const Documents& Orders(std::size_t count) {
  static const Documents orders = ReadAll(OrdersFolder(count));
  return orders;
}

// A home with a container in it.
class Store {
 public:
  explicit Store(const char* folder)
      : home_(FreshFolder(folder)),
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
  const fs::path home = FreshFolder("basex");
  const fs::path output = Work() / "basex.txt";
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

bench::Rounds LoadAgainstBasex(const fs::path& folder,
                               const bench::Effort& effort) {
  return bench::TakeTurns(
      {std::min(effort.least, 5), 5, effort.seconds},
      [&] { return LoadSeconds(folder); },
      [&] { return BasexSeconds(folder); });
}

double SizeOf(const Documents& documents) {
  Store store("size");
  store.Load(documents);
  return store.FileBytes() / static_cast<double>(documents.bytes);
}

// Names in an order in which neighbours do not follow one another.
const std::string& NameOf(const Documents& documents, std::size_t turn) {
  return documents.all[turn * 7919 % documents.all.size()].first;
}

class OurStore {
 public:
  explicit OurStore(const Documents& documents) : store_("get") {
    store_.Load(documents);
  }
  std::string Get(const std::string& name) {
    return store_.container().Get(name, nullptr);
  }

 private:
  Store store_;
};

// The documents themselves in one table of an environment that is opened and
// set as ours is.
class BareStore {
 public:
  explicit BareStore(const Documents& documents) {
    if (environment_.Open(FreshFolder("bare").string(),
                          {true, true, true, true}, "") != 0)
      throw std::runtime_error(environment_.ErrorText());
    DbEnv* const handle = kiv::xdb::EnvironmentHandle(environment_);
    table_ = std::make_unique<Db>(handle, DB_CXX_NO_EXCEPTIONS);
    Check(table_->set_pagesize(8192));
    Check(table_->open(nullptr, "bare.db", nullptr, DB_BTREE,
                       DB_CREATE | DB_THREAD | DB_AUTO_COMMIT, 0));
    DbTxn* transaction = nullptr;
    Check(handle->txn_begin(nullptr, &transaction, 0));
    for (const auto& [name, content] : documents.all) {
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

template <typename Made>
void Get(benchmark::State& state, std::size_t count) {
  const Documents& documents = Orders(count);
  // Not closed: nobody is left then who could.
  static Made& made = *new Made(documents);
  std::size_t turn = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(made.Get(NameOf(documents, ++turn)));
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
// the first are plotted.
double PutGrowth(std::size_t) {
  constexpr std::size_t kMost = 1'000'000;
  constexpr std::size_t kStep = 10'000;
  constexpr std::size_t kCompared = 9 * kStep;
  Growing large("large");
  const auto grow = [&] {
    // The first steps are small: from 1,000 on there is something to see.
    const double each = large.Grow(large.count() < kStep ? kBatch : kStep);
    bench::AddPoint(static_cast<double>(large.count()), each);
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

bench::Growth ByDocuments() {
  return bench::Curve{"documents", kOrders, {200, 2'000}};
}
bench::Growth ByPercent() {
  return bench::Curve{"per cent of the document of 11 MB", 100, {1, 10}};
}

const bool orders =
    HasData("orders")
        ? bench::CompareRounds(
              {"xdb/load_orders", "documents/s", bench::Size, "BaseX", 1},
              ByDocuments(),
              [](std::size_t count, const bench::Effort& effort) {
                return LoadAgainstBasex(OrdersFolder(count), effort);
              }) &&
              bench::StayBelow(
                  {"xdb/size_orders", "x documents", 2}, ByDocuments(),
                  [](std::size_t count) { return SizeOf(Orders(count)); }) &&
              bench::Compare(
                  {"xdb/get_by_name", "gets/s", bench::One, "Berkeley DB", 0.5},
                  ByDocuments(), Get<OurStore>, Get<BareStore>)
        : LeaveOutAll(
              {"xdb/load_orders", "xdb/size_orders", "xdb/get_by_name"});
const bool auction =
    HasData("auction")
        ? bench::CompareRounds(
              {"xdb/load_auction", "MB/s",
               [](std::size_t percent) {
                 return bench::Megabytes(
                     fs::file_size(AuctionFolder(percent) / "auction.xml"));
               },
               "BaseX", 1},
              ByPercent(),
              [](std::size_t percent, const bench::Effort& effort) {
                return LoadAgainstBasex(AuctionFolder(percent), effort);
              }) &&
              bench::StayBelow({"xdb/size_auction", "x document", 2},
                               ByPercent(),
                               [](std::size_t percent) {
                                 return SizeOf(ReadAll(AuctionFolder(percent)));
                               })
        : LeaveOutAll({"xdb/load_auction", "xdb/size_auction"});
const bool growth =
    bench::StayBelow({"xdb/put_growth", "x at 1-10 % of it", 2},
                     bench::OwnCurve{"us a put, in durable batches of 1,000",
                                     "documents in the container"},
                     PutGrowth);

}  // namespace
