#include <filesystem>
#include <iterator>
#include <string>

#include "compare.h"
#include "kiv/file_system_path.h"

namespace {

// Build, append and fold, as the library does for every configured path.
constexpr const char* kBase = "/srv/service/bin";
constexpr const char* kAppended[] = {"../conf", "queues/inbox",
                                     "../outbox/2005/11", "order-0001.xml"};

void OurPath(benchmark::State& state, std::size_t names) {
  for (auto _ : state) {
    kiv::FileSystemPath path(kBase);
    for (std::size_t i = 0; i < names; ++i)
      path /= kiv::FileSystemPath(kAppended[i % std::size(kAppended)]);
    benchmark::DoNotOptimize(path.string().data());
  }
}

void PeerPath(benchmark::State& state, std::size_t names) {
  for (auto _ : state) {
    std::filesystem::path path(kBase);
    for (std::size_t i = 0; i < names; ++i)
      path /= std::filesystem::path(kAppended[i % std::size(kAppended)]);
    path = path.lexically_normal();
    benchmark::DoNotOptimize(path.native().data());
  }
}

const bool path = bench::Compare(
    {"fs/path_build_append_fold", "paths/s", bench::One, "std::filesystem",
     2.0},
    bench::Curve{
        "paths appended to one", std::size(kAppended), {1, 16, 64, 256}},
    OurPath, PeerPath);

}  // namespace
