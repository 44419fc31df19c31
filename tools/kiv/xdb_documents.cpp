// kiv xdb: put, get, del, rename, ls and create.
#include <algorithm>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

#include "local_text.h"
#include "output_file.h"
#include "standard_streams.h"
#include "terminal.h"
#include "xdb_command.h"
#include "xdb_loading.h"

namespace kiv_tool {
namespace {

namespace fs = std::filesystem;

bool IsXml(const fs::path& file) {
  std::string suffix = file.extension().string();
  std::transform(suffix.begin(), suffix.end(), suffix.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return suffix == ".xml";
}

// In the order of their names, so that two runs do the same.
bool XmlFilesBelow(const fs::path& folder, std::vector<fs::path>& files,
                   unsigned long long& others, std::string& reason) {
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, error);
  for (const fs::recursive_directory_iterator end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (entry->is_directory(ignored)) continue;
    if (IsXml(entry->path()))
      files.push_back(entry->path());
    else
      ++others;
  }
  reason = error.message();
  std::sort(files.begin(), files.end());
  return !error;
}

bool PutFolder(XdbPlace& place, XdbLoading& loading, const fs::path& folder) {
  std::vector<fs::path> files;
  unsigned long long others = 0;
  std::string reason;
  if (!XmlFilesBelow(folder, files, others, reason)) {
    place.Fault(folder.string() + ": " + reason);
    return false;
  }
  for (const fs::path& file : files)
    if (!loading.AddFile(file.lexically_relative(folder).generic_string(),
                         file))
      return false;
  if (others > 0)
    std::cerr << "kiv xdb put: " << folder.string() << ": left out "
              << Counted(others, "file") << " without .xml\n";
  return true;
}

bool PutPath(XdbPlace& place, XdbLoading& loading, const std::string& path,
             const std::string& name) {
  if (path == "-") {
    const std::string content(std::istreambuf_iterator<char>(std::cin), {});
    if (!HasStandardInput() || std::cin.bad()) {
      place.Fault("standard input cannot be read");
      return false;
    }
    return loading.AddContent(name, content, "standard input");
  }
  const fs::path file = path;
  std::error_code ignored;
  if (fs::is_directory(file, ignored)) return PutFolder(place, loading, file);
  return loading.AddFile(name.empty() ? file.filename().string() : name, file);
}

// The bytes as they are into a file or a pipe; on a terminal as text.
void Write(const std::string& content) {
  if (IsTerminal())
    std::cout << ForTerminal(content) << '\n';
  else
    std::cout.write(content.data(),
                    static_cast<std::streamsize>(content.size()));
}

int RemoveContainer(XdbPlace& place, const XdbOptions& options) {
  std::string local;
  if (!place.LocalName(options.container, local)) return 1;
  kiv::XDbManager* const manager = place.Open();
  if (manager == nullptr) return 1;
  if (!manager->IsExistContainer(local.c_str()))
    return place.Fault("there is no container '" + options.container + "'");
  const int refused = Confirm(
      "xdb del",
      "Remove container " + options.container + " with all its documents?",
      options.is_confirmed);
  if (refused != 0) return refused;
  if (!manager->RemoveContainer(local.c_str()))
    return place.LibraryFault("container '" + options.container +
                              "' cannot be removed");
  std::cout << "container removed\n";
  return 0;
}

int RenameContainer(XdbPlace& place, const XdbOptions& options) {
  std::string old_name;
  std::string new_name;
  if (!place.LocalName(options.container, old_name) ||
      !place.LocalName(options.name, new_name))
    return 1;
  kiv::XDbManager* const manager = place.Open();
  if (manager == nullptr) return 1;
  // The library replaces a container of the new name; here nobody would mean
  // that.
  if (manager->IsExistContainer(new_name.c_str()))
    return place.Fault("there is a container '" + options.name + "' already");
  if (manager->RenameContainer(old_name.c_str(), new_name.c_str())) return 0;
  return place.LibraryFault("container '" + options.container +
                            "' cannot be renamed");
}

int ListContainers(XdbPlace& place, const XdbOptions& options) {
  std::vector<std::string> names;
  if (!AskedContainers(place, options, names)) return 1;
  if (options.shows_details) return XdbStat(place, options);
  for (const std::string& name : names) std::cout << name << '\n';
  return 0;
}

}  // namespace

int XdbCreate(XdbPlace& place, const XdbOptions& options) {
  for (const std::string& name : options.names) {
    std::string local;
    if (!place.LocalName(name, local)) return 1;
    kiv::XDbManager* const manager = place.Open(true);
    if (manager == nullptr) return 1;
    if (manager->IsExistContainer(local.c_str()))
      return place.Fault("there is a container '" + name + "' already");
    kiv::XDbContainer container;
    if (!place.OpenContainer(name, container, true)) return 1;
  }
  return 0;
}

int XdbList(XdbPlace& place, const XdbOptions& options) {
  if (options.container.empty()) return ListContainers(place, options);
  kiv::XDbContainer container;
  if (!place.OpenContainer(options.container, container)) return 1;
  const bool is_listed =
      container.EachDocumentName([](const std::string& name) {
        std::cout << ForTerminal(Utf8(name)) << '\n';
        return static_cast<bool>(std::cout);
      });
  if (!is_listed)
    return place.LibraryFault("container '" + options.container +
                              "' cannot be read");
  return 0;
}

int XdbPut(XdbPlace& place, const XdbOptions& options) {
  kiv::XDbContainer container;
  if (!place.OpenContainer(options.container, container, options.may_create))
    return 1;
  XdbLoading loading(place, container, options);
  for (const std::string& path : options.paths)
    if (!PutPath(place, loading, path, options.name)) return 1;
  if (!loading.Finish()) return 1;
  std::cerr << Counted(loading.Stored(), "document") << " stored\n";
  return 0;
}

int XdbGet(XdbPlace& place, const XdbOptions& options) {
  if (!options.output.empty() && options.names.size() != 1) {
    place.Fault("--output takes one document");
    return 2;
  }
  kiv::XDbContainer container;
  if (!place.OpenContainer(options.container, container)) return 1;
  for (const std::string& name : options.names) {
    std::string local;
    std::string content;
    kiv::XDbDocument document;
    if (!place.LocalName(name, local)) return 1;
    if (!container.GetDocument(local, document) ||
        !document.getContent(content))
      return place.LibraryFault("document '" + name + "'");
    if (options.output.empty()) {
      Write(content);
      continue;
    }
    OutputFile output(options.output);
    output.Stream().write(content.data(),
                          static_cast<std::streamsize>(content.size()));
    std::string reason;
    if (!output.Finish(reason)) return place.Fault(reason);
  }
  return 0;
}

int XdbDelete(XdbPlace& place, const XdbOptions& options) {
  if (options.removes_container) return RemoveContainer(place, options);
  if (options.names.empty()) {
    place.Fault("name the documents, or add --container");
    return 2;
  }
  kiv::XDbContainer container;
  if (!place.OpenContainer(options.container, container)) return 1;
  const kiv::XDbManager& manager = *place.Open();
  // All or none of them.
  kiv::XDbTransaction transaction;
  kiv::XDbUpdateContext context;
  if (!manager.CreateTransaction(transaction) ||
      !manager.CreateUpdateContext(context) ||
      !context.SetTransaction(transaction))
    return place.LibraryFault("no transaction");
  for (const std::string& name : options.names) {
    std::string local;
    if (!place.LocalName(name, local)) return 1;
    if (!container.DeleteDocument(local, context))
      return place.LibraryFault("nothing removed, since of document '" + name +
                                "'");
  }
  if (!transaction.Commit()) return place.LibraryFault("nothing removed");
  std::cerr << Counted(options.names.size(), "document") << " removed\n";
  return 0;
}

int XdbRename(XdbPlace& place, const XdbOptions& options) {
  if (options.new_name.empty()) return RenameContainer(place, options);
  kiv::XDbContainer container;
  std::string old_name;
  std::string new_name;
  if (!place.OpenContainer(options.container, container) ||
      !place.LocalName(options.name, old_name) ||
      !place.LocalName(options.new_name, new_name))
    return 1;
  kiv::XDbDocument document;
  if (container.GetDocument(old_name, document) && document.SetName(new_name) &&
      container.update(document))
    return 0;
  return place.LibraryFault("document '" + options.name +
                            "' cannot be renamed");
}

}  // namespace kiv_tool
