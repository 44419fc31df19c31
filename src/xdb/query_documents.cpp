#include "xdb/query_documents.h"

#include "kiv/file_system_path.h"
#include "util/cp936.h"
#include "util/hex_digits.h"
#include "xdb/container/store_error.h"
#include "xdb/container_name.h"
#include "xdb/input_stream.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/xdb_text.h"
#include "xml/xml_events.h"

namespace kiv::xdb {
namespace {

constexpr std::string_view kFileScheme = "file:";

std::string WithoutEscapes(std::string_view uri) {
  std::string text;
  for (std::size_t i = 0; i < uri.size(); ++i) {
    const bool is_escape = uri[i] == '%' && i + 2 < uri.size() &&
                           HexValue(uri[i + 1]) >= 0 &&
                           HexValue(uri[i + 2]) >= 0;
    if (is_escape) {
      text +=
          static_cast<char>(HexValue(uri[i + 1]) * 16 + HexValue(uri[i + 2]));
      i += 2;
    } else {
      text += uri[i];
    }
  }
  return text;
}

// What doc() takes for the document.
std::string UriOf(const std::string& file, const std::string& name) {
  std::string uri = Cp936ToUtf8(file) + "/";
  for (const char c : name) {
    if (c == '%')
      uri += "%25";
    else if (c == '#')
      uri += "%23";
    else
      uri += c;
  }
  return uri;
}

std::shared_ptr<const StoredOrigin> OriginOf(const std::string& file,
                                             const std::string& name) {
  auto origin = std::make_shared<StoredOrigin>();
  origin->document_uri = origin->base_uri = UriOf(file, name);
  origin->container_file = origin->collection = file;
  origin->name = name;
  return origin;
}

class Scan final : public xq::DocumentStream {
 public:
  // `keeper` holds what is read open.
  Scan(std::shared_ptr<Container> keeper, DocumentScan scan)
      : keeper_(std::move(keeper)), scan_(std::move(scan)) {}

  bool IsOrdered() const override { return true; }
  void StartBehind(const std::string& name) override {
    scan_.StartBehind(name);
  }
  bool Next(xq::SourceDocument& document) override {
    DocumentTree found;
    if (!scan_.Next(found)) return false;
    document = {found.tree, OriginOf(keeper_->FileName(), found.name)};
    return true;
  }

 private:
  const std::shared_ptr<Container> keeper_;
  DocumentScan scan_;
};

class ContainerIndex final : public xq::CollectionIndex {
 public:
  ContainerIndex(std::shared_ptr<Container> container,
                 const ContainerReading& reading)
      : container_(std::move(container)), reading_(reading) {}

  const Dictionary& dictionary() const override {
    return reading_.dictionary();
  }
  std::uint8_t Traits(PathId path) const override {
    return reading_.Traits(path);
  }
  void EachLeaf(
      PathId path, const xq::IndexBounds& bounds,
      const std::function<bool(const xq::IndexedLeaf&)>& each) const override {
    IndexHits hits = reading_.Find(RangeOf(path, bounds));
    hits.Each([&each](const IndexHit& hit) {
      return each({hit.document, hit.value, hit.is_whole});
    });
  }
  std::uint64_t Estimate(PathId path,
                         const xq::IndexBounds& bounds) const override {
    return reading_.EstimateHits(RangeOf(path, bounds));
  }
  std::unique_ptr<xq::DocumentStream> Documents(
      std::vector<std::uint64_t> numbers) const override {
    return std::make_unique<Scan>(container_,
                                  reading_.Documents(std::move(numbers)));
  }

 private:
  static ValueRange RangeOf(PathId path, const xq::IndexBounds& bounds) {
    ValueRange range = ValueRange::All(path);
    if (bounds.from)
      range.from = {bounds.from->value, bounds.from->is_included};
    if (bounds.to) range.to = {bounds.to->value, bounds.to->is_included};
    return range;
  }

  const std::shared_ptr<Container> container_;
  const ContainerReading& reading_;
};

// Inside the home, wherever the program itself may open containers.
bool IsInHome(const FileSystemPath& path) {
  return !path.has_root_path() && *path.begin() != "..";
}

}  // namespace

ContainerDocuments::OpenedReading* ContainerDocuments::ReadingOfFile(
    const std::string& file) {
  const auto known = readings_.find(file);
  if (known != readings_.end()) return &known->second;
  std::shared_ptr<Container> container = session_->FindContainer(file);
  if (container == nullptr) return nullptr;
  const std::shared_ptr<Transaction> transaction = HoldTransaction();
  auto reading =
      std::make_unique<ContainerReading>(*container, transaction.get());
  auto index = std::make_unique<const ContainerIndex>(container, *reading);
  return &readings_
              .emplace(file,
                       OpenedReading{std::move(container), std::move(reading),
                                     std::move(index)})
              .first->second;
}

ContainerDocuments::OpenedReading* ContainerDocuments::ReadingOf(
    const std::string& name) {
  const std::string local = LocalText(name);
  // A character that names of containers cannot have is a "?" by now.
  if (local.empty() || Cp936ToUtf8(local) != name) return nullptr;
  const FileSystemPath path(local, FileSystemPath::native);
  if (path.empty() || (!session_->MayReadFiles() && !IsInHome(path)))
    return nullptr;
  if (name.ends_with(kContainerSuffix)) {
    if (auto* reading = ReadingOfFile(path.native_file_string()))
      return reading;
  }
  std::string file;
  return FileOfContainer(local, file) ? ReadingOfFile(file) : nullptr;
}

xq::SourceDocument ContainerDocuments::FindDocument(const std::string& uri) {
  if (uri.starts_with(kFileScheme)) return ReadLocalFile(uri);
  xq::SourceDocument found = FindStored(uri);
  if (found.tree == nullptr && uri.find('%') != std::string::npos)
    found = FindStored(WithoutEscapes(uri));
  return found;
}

// Names of containers and of documents may both have a "/" in them.
xq::SourceDocument ContainerDocuments::FindStored(const std::string& uri) {
  for (std::size_t slash = uri.find('/'); slash != std::string::npos;
       slash = uri.find('/', slash + 1)) {
    OpenedReading* const opened = ReadingOf(uri.substr(0, slash));
    if (opened == nullptr) continue;
    const std::string name = uri.substr(slash + 1);
    auto tree = opened->reading->Document(name);
    if (tree != nullptr)
      return {std::move(tree), OriginOf(opened->container->FileName(), name)};
  }
  return {};
}

ContainerDocuments::OpenedReading* ContainerDocuments::ReadingOfUri(
    const std::string& uri) {
  OpenedReading* opened = ReadingOf(uri.empty() ? default_collection_ : uri);
  if (opened == nullptr && uri.find('%') != std::string::npos)
    opened = ReadingOf(WithoutEscapes(uri));
  return opened;
}

const xq::CollectionIndex* ContainerDocuments::IndexOf(const std::string& uri) {
  OpenedReading* const opened = ReadingOfUri(uri);
  return opened == nullptr ? nullptr : opened->index.get();
}

std::unique_ptr<xq::DocumentStream> ContainerDocuments::OpenCollection(
    const std::string& uri) {
  OpenedReading* const opened = ReadingOfUri(uri);
  if (opened == nullptr) return nullptr;
  return std::make_unique<Scan>(opened->container,
                                opened->reading->Documents());
}

xq::SourceDocument ContainerDocuments::ReadLocalFile(
    const std::string& uri) const {
  if (!session_->MayReadFiles()) {
    throw xq::Error("FODC0002", uri + ": the manager was opened without " +
                                    "access to other files");
  }
  std::string path = WithoutEscapes(uri.substr(kFileScheme.size()));
  // file:///x and file:/x are one.
  if (path.starts_with("//")) path.erase(0, path.find('/', 2));
  const FileSystemPath native(LocalText(path), FileSystemPath::native);
  try {
    const std::string text =
        OpenLocalFile(native.native_file_string())->ReadAll();
    auto dictionary = std::make_shared<Dictionary>();
    GrowingPaths paths(*dictionary);
    TreeBuilder builder(paths);
    ReadXmlEvents(text, builder);
    auto bytes = std::make_shared<std::string>();
    builder.TakeTree(*bytes);
    auto origin = std::make_shared<StoredOrigin>();
    origin->document_uri = origin->base_uri = uri;
    return {std::make_shared<const Tree>(dictionary, bytes, *bytes), origin};
  } catch (const StoreError& error) {
    throw xq::Error("FODC0002", Cp936ToUtf8(error.what()));
  } catch (const XmlRefusal& refusal) {
    throw xq::Error("FODC0002", uri + ": " + Cp936ToUtf8(refusal.reason));
  }
}

}  // namespace kiv::xdb
