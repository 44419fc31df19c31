#include <filesystem>
#include <string>

#include "compare.h"
#include "kiv/file_system_path.h"

namespace {

// Build, append and fold, as the library does for every configured path.
constexpr const char* kBase = "/srv/service/bin";
constexpr const char* kAppended[] = {"../conf", "queues/inbox",
                                     "../outbox/2005/11", "order-0001.xml"};

void OurPath(benchmark::State& state) {
  for (auto _ : state) {
    kiv::FileSystemPath path(kBase);
    for (const char* name : kAppended) path /= kiv::FileSystemPath(name);
    benchmark::DoNotOptimize(path.string().data());
  }
}

void PeerPath(benchmark::State& state) {
  for (auto _ : state) {
    std::filesystem::path path(kBase);
    for (const char* name : kAppended) path /= std::filesystem::path(name);
    path = path.lexically_normal();
    benchmark::DoNotOptimize(path.native().data());
  }
}

const bool path = bench::Compare(
    {"fs/path_build_append_fold", "paths/s", 1, "std::filesystem", 2.0},
    OurPath, PeerPath);

}  // namespace
