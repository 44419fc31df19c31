// kiv xdb dump and load: a container as plain files in a folder.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <system_error>
#include <vector>

#include "progress.h"
#include "terminal.h"
#include "xdb_command.h"
#include "xdb_file_name.h"
#include "xdb_loading.h"

namespace kiv_tool {
namespace {

namespace fs = std::filesystem;

bool WriteFile(const fs::path& file, const std::string& content,
               std::string& reason) {
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  std::ofstream out(file, std::ios::binary);
  out.write(content.data(), static_cast<std::streamsize>(content.size()));
  out.close();
  if (out) return true;
  reason = file.string() + " cannot be written";
  if (error) reason += ": " + error.message();
  return false;
}

// As a shell completes it, a folder's name ends with a slash.
fs::path WithoutSlash(const fs::path& folder) {
  const fs::path normal = folder.lexically_normal();
  return normal.has_filename() ? normal : normal.parent_path();
}

// A folder that is made beside its place and moved there when it is whole.
class FreshFolder {
 public:
  explicit FreshFolder(const fs::path& folder)
      : folder_(WithoutSlash(folder)), beside_(folder_.string() + ".part") {}
  ~FreshFolder() {
    std::error_code ignored;
    if (is_ours_) fs::remove_all(beside_, ignored);
  }
  FreshFolder(const FreshFolder&) = delete;
  FreshFolder& operator=(const FreshFolder&) = delete;

  bool Make(std::string& reason) {
    std::error_code error;
    if (fs::exists(folder_, error) &&
        !(fs::is_directory(folder_, error) && fs::is_empty(folder_, error))) {
      reason = folder_.string() + " is there already, and not empty";
      return false;
    }
    // An earlier dump that was killed left it, or it is somebody's own.
    if (fs::exists(beside_, error)) {
      reason = beside_.string() +
               " is in the way; remove it if a dump that was ended left it";
      return false;
    }
    is_ours_ = fs::create_directories(beside_, error);
    if (!is_ours_) reason = beside_.string() + ": " + error.message();
    return is_ours_;
  }
  const fs::path& Beside() const { return beside_; }
  bool Finish(std::string& reason) {
    std::error_code error;
    fs::rename(beside_, folder_, error);
    if (error) reason = folder_.string() + ": " + error.message();
    is_ours_ = static_cast<bool>(error);
    return !error;
  }

 private:
  const fs::path folder_;
  const fs::path beside_;
  bool is_ours_ = false;
};

// Writes what it is given; says the first failure.
class Dump {
 public:
  Dump(XdbPlace& place, const fs::path& folder)
      : place_(place), folder_(folder) {}

  bool Add(const std::string& name, const std::string& content) {
    std::string reason;
    if (!is_whole_) return false;
    if (!WriteFile(folder_ / FileOfDocument(Utf8(name)), content, reason))
      return Fail("document '" + Utf8(name) + "': " + reason);
    progress_.Show(++written_);
    return true;
  }
  bool Fail(const std::string& text) {
    progress_.Clear();
    place_.Fault(text);
    return is_whole_ = false;
  }
  bool IsWhole() const { return is_whole_; }
  unsigned long long Written() const { return written_; }
  void End() { progress_.Clear(); }

 private:
  XdbPlace& place_;
  const fs::path folder_;
  Progress progress_{"written"};
  unsigned long long written_ = 0;
  bool is_whole_ = true;
};

void DumpSound(XdbPlace& place, const XdbOptions& options, Dump& dump) {
  kiv::XDbContainer container;
  if (!place.OpenContainer(options.container, container)) {
    dump.Fail("nothing written");
    return;
  }
  const bool is_read = container.EachDocumentName([&](const std::string& name) {
    kiv::XDbDocument document;
    std::string content;
    if (!container.GetDocument(name, document) || !document.getContent(content))
      return dump.Fail("document '" + Utf8(name) + "': " + LibraryReason());
    return dump.Add(name, content);
  });
  if (!is_read) dump.Fail(LibraryReason());
}

void DumpSalvaged(XdbPlace& place, const XdbOptions& options, Dump& dump) {
  kiv::XDbManager* const manager = place.Open();
  std::string local;
  if (manager == nullptr || !place.LocalName(options.container, local)) {
    dump.Fail("nothing written");
    return;
  }
  if (!manager->Salvage(local.c_str(), [&](const std::string& name,
                                           const std::string& content) {
        dump.Add(name, content);
      }))
    dump.Fail(LibraryReason());
}

}  // namespace

int XdbDump(XdbPlace& place, const XdbOptions& options) {
  FreshFolder folder(options.folder);
  std::string reason;
  if (!folder.Make(reason)) return place.Fault(reason);
  Dump dump(place, folder.Beside());
  if (options.salvages)
    DumpSalvaged(place, options, dump);
  else
    DumpSound(place, options, dump);
  dump.End();
  if (!dump.IsWhole()) return 1;
  if (!folder.Finish(reason)) return place.Fault(reason);
  std::cerr << Counted(dump.Written(), "document") << " written\n";
  return 0;
}

int XdbLoad(XdbPlace& place, const XdbOptions& options) {
  const fs::path folder = options.folder;
  std::error_code error;
  std::vector<fs::path> files;
  fs::recursive_directory_iterator entry(folder, error);
  for (const fs::recursive_directory_iterator end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (!entry->is_directory(ignored)) files.push_back(entry->path());
  }
  if (error) return place.Fault(options.folder + ": " + error.message());
  std::sort(files.begin(), files.end());

  kiv::XDbContainer container;
  if (!place.OpenContainer(options.container, container, true)) return 1;
  XdbLoading loading(place, container, options);
  for (const fs::path& file : files) {
    std::string name;
    if (!DocumentOfFile(file.lexically_relative(folder), name))
      return place.Fault(file.string() +
                         " is not named as kiv xdb dump names files; use kiv "
                         "xdb put; stored before it: " +
                         std::to_string(loading.Stored()));
    if (!loading.AddFile(name, file)) return 1;
  }
  if (!loading.Finish()) return 1;
  std::cerr << Counted(loading.Stored(), "document") << " stored\n";
  return 0;
}

}  // namespace kiv_tool
