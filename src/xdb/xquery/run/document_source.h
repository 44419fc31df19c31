#ifndef XDB_XQUERY_RUN_DOCUMENT_SOURCE_H_
#define XDB_XQUERY_RUN_DOCUMENT_SOURCE_H_

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "xdb/tree/dictionary.h"
#include "xdb/tree/tree.h"
#include "xdb/xquery/values/held_tree.h"

// What an execution asks of the world outside: documents, collections, and what
// is known of these without reading them.
namespace kiv::xdb::xq {

// A document from outside, and where it comes from.
struct SourceDocument {
  std::shared_ptr<const Tree> tree;
  std::shared_ptr<const TreeOrigin> origin;
};

// The documents of a collection, one by one.
class DocumentStream {
 public:
  virtual ~DocumentStream() = default;
  // They come in the order of their names, which is that of the documents of
  // one collection, and may be asked for again at any time.
  virtual bool IsOrdered() const { return false; }
  // Of an ordered one, before the first.
  virtual void StartBehind(const std::string&) {}
  virtual bool Next(SourceDocument& document) = 0;
};

// An entry of an index: a leaf, which is an attribute or an element without
// child elements, of a document of a collection.
struct IndexedLeaf {
  std::uint64_t document = 0;
  // Whole, or only how it begins.
  std::string_view value;
  bool is_whole = true;
};

// Bounds of values by their bytes; none: to the end.
struct IndexBounds {
  struct Bound {
    std::string value;
    bool is_included = true;
  };
  std::optional<Bound> from;
  std::optional<Bound> to;
};

// What a collection knows of the values of its leaves. Whoever asks for a value
// of more than kMostIndexedBytes, or for what Traits says is not all there,
// looks into the documents instead.
class CollectionIndex {
 public:
  virtual ~CollectionIndex() = default;

  // In which paths have their ids.
  virtual const Dictionary& dictionary() const = 0;
  // PathTrait bits.
  virtual std::uint8_t Traits(PathId path) const = 0;
  // Leaves by their values; some whose value is not whole are not within the
  // bounds. Ends when `each` answers false.
  virtual void EachLeaf(
      PathId path, const IndexBounds& bounds,
      const std::function<bool(const IndexedLeaf&)>& each) const = 0;
  // How many leaves there are; exact for few, a guess for many.
  virtual std::uint64_t Estimate(PathId path,
                                 const IndexBounds& bounds) const = 0;
  // Ascending; as OpenCollection has them.
  virtual std::unique_ptr<DocumentStream> Documents(
      std::vector<std::uint64_t> numbers) const = 0;
};

// Where doc() and collection() find documents. Called on the thread of the
// execution; what it throws ends the query.
class DocumentSource {
 public:
  virtual ~DocumentSource() = default;
  // No tree: there is none of that URI (FODC0002).
  virtual SourceDocument FindDocument(const std::string& uri) = 0;
  // Null: there is no such collection (FODC0002). An empty URI is the default
  // one.
  virtual std::unique_ptr<DocumentStream> OpenCollection(
      const std::string& uri) = 0;
  // Null where there is no index of the collection, or no such collection.
  // Lives as long as the source.
  virtual const CollectionIndex* IndexOf(const std::string&) { return nullptr; }
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_RUN_DOCUMENT_SOURCE_H_
