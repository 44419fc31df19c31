#ifndef XDB_XQUERY_RUN_LISTED_DOCUMENTS_TESTING_H_
#define XDB_XQUERY_RUN_LISTED_DOCUMENTS_TESTING_H_

#include <algorithm>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "xdb/tree/index_values.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/xquery/run/document_source.h"
#include "xml/xml_events.h"

// For tests: documents in memory, all of which are the collection "c".
namespace kiv::xdb::xq {

// With an index of its collection that knows of each value no more than how it
// begins, and gives a leaf too many rather than one too few.
class ListedDocuments : public DocumentSource {
 public:
  // The XML platform has been started. Throws XmlRefusal.
  void Add(const std::string& name, std::string_view xml) {
    TreeBuilder builder(paths_);
    ReadXmlEvents(xml, builder);
    auto bytes = std::make_shared<std::string>();
    builder.TakeTree(*bytes);
    auto origin = std::make_shared<TreeOrigin>();
    origin->document_uri = origin->base_uri = "c/" + name;
    origin->collection = "c";
    origin->name = name;
    const std::uint64_t number = documents_.size();
    documents_.push_back(
        {std::make_shared<const Tree>(dictionary_, bytes, *bytes),
         std::move(origin)});
    EachIndexValue(
        *bytes, *dictionary_,
        {.value = [&](PathId path, std::string_view value,
                      NodeId) { index_.leaves_[path].emplace(value, number); },
         .trait =
             [&](PathId path, PathTrait trait) {
               dictionary_->AddTraits(path, trait);
             }});
  }

  void SetIndexed(bool is_indexed) { is_indexed_ = is_indexed; }

  SourceDocument FindDocument(const std::string& uri) override {
    for (const SourceDocument& document : documents_)
      if (document.origin->document_uri == uri) return document;
    return {};
  }
  std::unique_ptr<DocumentStream> OpenCollection(
      const std::string& uri) override {
    return uri == "c" ? std::make_unique<Stream>(documents_) : nullptr;
  }
  const CollectionIndex* IndexOf(const std::string& uri) override {
    return is_indexed_ && uri == "c" ? &index_ : nullptr;
  }

 private:
  static constexpr std::size_t kEntryBytes = 4;

  class Stream final : public DocumentStream {
   public:
    explicit Stream(std::vector<SourceDocument> documents)
        : documents_(std::move(documents)) {
      std::sort(documents_.begin(), documents_.end(),
                [](const SourceDocument& a, const SourceDocument& b) {
                  return a.origin->name < b.origin->name;
                });
    }
    bool IsOrdered() const override { return true; }
    void StartBehind(const std::string& name) override {
      while (next_ < documents_.size() &&
             documents_[next_].origin->name <= name)
        ++next_;
    }
    bool Next(SourceDocument& document) override {
      if (next_ == documents_.size()) return false;
      document = documents_[next_++];
      return true;
    }

   private:
    std::vector<SourceDocument> documents_;
    std::size_t next_ = 0;
  };

  class Index final : public CollectionIndex {
   public:
    explicit Index(const ListedDocuments& all) : all_(all) {}

    const Dictionary& dictionary() const override { return *all_.dictionary_; }
    std::uint8_t Traits(PathId path) const override {
      return dictionary().path(path).traits;
    }
    void EachLeaf(
        PathId path, const IndexBounds& bounds,
        const std::function<bool(const IndexedLeaf&)>& each) const override {
      const auto leaves = leaves_.find(path);
      if (leaves == leaves_.end()) return;
      for (const auto& [value, document] : leaves->second) {
        const bool is_whole = value.size() <= kEntryBytes;
        if (is_whole && !IsWithin(value, bounds)) continue;
        if (!each({document, std::string_view(value).substr(0, kEntryBytes),
                   is_whole}))
          return;
      }
    }
    std::uint64_t Estimate(PathId path,
                           const IndexBounds& bounds) const override {
      std::uint64_t count = 0;
      EachLeaf(path, bounds, [&](const IndexedLeaf&) { return ++count != 0; });
      return count;
    }
    std::unique_ptr<DocumentStream> Documents(
        std::vector<std::uint64_t> numbers) const override {
      std::vector<SourceDocument> chosen;
      for (const std::uint64_t number : numbers)
        chosen.push_back(all_.documents_[number]);
      return std::make_unique<Stream>(std::move(chosen));
    }

   private:
    friend class ListedDocuments;

    static bool IsWithin(std::string_view value, const IndexBounds& bounds) {
      if (bounds.from &&
          (bounds.from->is_included ? value < bounds.from->value
                                    : value <= bounds.from->value))
        return false;
      return !bounds.to || (bounds.to->is_included ? value <= bounds.to->value
                                                   : value < bounds.to->value);
    }

    const ListedDocuments& all_;
    // By value; with the document's number.
    std::map<PathId, std::multimap<std::string, std::uint64_t>> leaves_;
  };

  const std::shared_ptr<Dictionary> dictionary_ =
      std::make_shared<Dictionary>();
  GrowingPaths paths_{*dictionary_};
  std::vector<SourceDocument> documents_;
  Index index_{*this};
  bool is_indexed_ = true;
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_LISTED_DOCUMENTS_TESTING_H_
