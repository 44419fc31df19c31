#include "xdb/container/container_reading.h"

#include <algorithm>
#include <utility>

#include "xdb/container/container_impl.h"
#include "xdb/container/tree_cache.h"
#include "xdb/tree/tree_error.h"

namespace kiv::xdb {
namespace {

// A record of so many bytes is read at once and decoded each time; of a larger
// one first the head, in case its tree is still there.
constexpr std::size_t kSmallRecord = 4096;
// What a scan reads at a time.
constexpr std::size_t kScanDocuments = 64;
constexpr std::size_t kScanBytes = std::size_t{1} << 18;
// Estimates count so many blocks.
constexpr int kCountedBlocks = 16;
// Of documents whose numbers lie so close that one of so many is wanted, all
// are looked at.
constexpr std::uint64_t kDense = 8;
// Fewer are looked up in any case.
constexpr std::size_t kFew = 64;

// The first key behind all that begin with `prefix`; empty when there is none.
std::string Behind(std::string prefix) {
  while (!prefix.empty() && prefix.back() == '\xFF') prefix.pop_back();
  if (!prefix.empty()) ++prefix.back();
  return prefix;
}

// Where the entries of a range begin, and what is behind them.
std::string FirstKey(const ValueRange& range) {
  std::string key = OrderedKey(range.path);
  if (range.from) key += range.from->value.substr(0, kWholeBytes);
  return key;
}

std::string EndKey(const ValueRange& range) {
  std::string key = OrderedKey(range.path);
  if (!range.to) return Behind(key);
  if (range.to->value.size() > kWholeBytes)
    return Behind(key + range.to->value.substr(0, kWholeBytes));
  key.clear();
  AppendValueKey(key, range.path, range.to->value);
  return range.to->is_included ? Behind(key) : key;
}

bool IsEqual(const ValueRange& range) {
  return range.from && range.to && range.from->is_included &&
         range.to->is_included && range.from->value == range.to->value;
}

std::shared_ptr<const Tree> Decode(ContainerCore& core, const Scope& scope,
                                   std::string_view tree,
                                   std::shared_ptr<const std::string> keeper) {
  return core.WithDictionary(scope, [&](const auto& dictionary) {
    return std::make_shared<const Tree>(dictionary, keeper, tree);
  });
}

// Of a whole record; a large tree is kept, or was.
DocumentTree DecodeRecord(ContainerCore& core, const Scope& scope,
                          std::string name, std::string bytes) {
  const auto kept = std::make_shared<const std::string>(std::move(bytes));
  const DocumentRecord record = ReadRecord(*kept);
  DocumentTree document{record.id, std::move(name), nullptr};
  const bool is_large = kept->size() >= kSmallRecord;
  if (is_large) document.tree = core.trees().Find(record.version);
  if (document.tree != nullptr) return document;
  document.tree = Decode(core, scope, record.tree, kept);
  if (is_large) core.trees().Keep(record.version, document.tree);
  return document;
}

// Nullopt when there is none.
std::optional<DocumentTree> ReadDocument(ContainerCore& core,
                                         const Scope& scope,
                                         std::string_view name) {
  Table& documents = core.tables().documents;
  ReadBuffer bytes;
  if (!documents.GetHead(scope.transaction, name, kSmallRecord, bytes))
    return std::nullopt;
  if (bytes.view().size() == kSmallRecord) {
    const DocumentRecord head = ReadRecordHead(bytes.view());
    if (auto tree = core.trees().Find(head.version))
      return DocumentTree{head.id, std::string(name), std::move(tree)};
    if (!documents.Get(scope.transaction, name, bytes)) return std::nullopt;
  }
  return DecodeRecord(core, scope, std::string(name),
                      std::string(bytes.view()));
}

}  // namespace

ContainerReading::ContainerReading(Container& container,
                                   Transaction* transaction)
    : core_(container.impl().core), transaction_(transaction) {
  core_->Read(transaction_, {}, [&](Scope& scope) {
    core_->RefreshDictionary(scope);
    dictionary_ = core_->dictionary().Current();
  });
}

std::uint8_t ContainerReading::Traits(PathId path) const {
  std::uint8_t traits = dictionary_->path(path).traits;
  core_->Read(transaction_, {}, [&](Scope& scope) {
    if (scope.part == nullptr) return;
    const auto& pending = scope.part->additions().traits;
    const auto found = pending.find(path);
    if (found != pending.end()) traits |= found->second;
  });
  return traits;
}

std::shared_ptr<const Tree> ContainerReading::Document(
    const std::string& name) const {
  std::optional<DocumentTree> document;
  core_->Read(transaction_, name, [&](Scope& scope) {
    document = ReadDocument(*core_, scope, name);
  });
  return document ? document->tree : nullptr;
}

std::optional<DocumentTree> ContainerReading::Document(DocumentId id) const {
  std::optional<DocumentTree> document;
  core_->Read(transaction_, {}, [&](Scope& scope) {
    ReadBuffer name;
    if (core_->tables().ids.Get(scope.transaction, OrderedKey(id), name))
      document = ReadDocument(*core_, scope, name.view());
  });
  // Between the two the name may have become another document's.
  if (document && document->id != id) return std::nullopt;
  return document;
}

DocumentScan ContainerReading::Documents() const {
  return DocumentScan(core_, transaction_);
}

DocumentScan ContainerReading::Documents(DocumentIds ids) const {
  DocumentScan scan(core_, transaction_);
  if (ids.size() > kFew && ids.back() - ids.front() < kDense * ids.size()) {
    scan.wanted_ = std::move(ids);
    return scan;
  }
  auto& names = scan.names_.emplace();
  core_->Read(transaction_, {}, [&](Scope& scope) {
    names.clear();
    ReadBuffer name;
    for (const DocumentId id : ids)
      if (core_->tables().ids.Get(scope.transaction, OrderedKey(id), name))
        names.emplace_back(name.view(), id);
  });
  std::sort(names.begin(), names.end());
  return scan;
}

IndexHits ContainerReading::Find(const ValueRange& range) const {
  return IndexHits(core_, transaction_, range);
}

std::uint64_t ContainerReading::EstimateHits(const ValueRange& range) const {
  IndexHits hits = Find(range);
  std::uint64_t count = 0;
  core_->Read(transaction_, {}, [&](Scope& scope) {
    core_->FlushIndex(scope);
    const auto share_before = [&](const std::string& key) {
      return key.empty()
                 ? 1.0
                 : core_->tables().index.ShareBefore(scope.transaction, key);
    };
    const double from = share_before(hits.from_);
    int blocks = 0;
    for (; blocks < kCountedBlocks && hits.NextBlock(); ++blocks) {
      BlockReader reader(hits.block_);
      while (reader.Next())
        if (reader.entry() >= hits.first_ &&
            (hits.to_.empty() || reader.entry() < hits.to_))
          ++count;
    }
    if (hits.has_ended_) return;
    // As many in the rest for each share as in what was counted.
    const double counted = share_before(hits.from_) - from;
    const double all = share_before(hits.to_) - from;
    if (counted > 0 && all > counted)
      count = static_cast<std::uint64_t>(static_cast<double>(count) * all /
                                         counted);
  });
  return count;
}

IndexHits::IndexHits(std::shared_ptr<ContainerCore> core,
                     Transaction* transaction, ValueRange range)
    : core_(std::move(core)),
      transaction_(transaction),
      range_(std::move(range)) {
  if (IsEqual(range_)) {
    AppendValueKey(from_, range_.path, range_.from->value);
    to_ = Behind(from_);
  } else {
    from_ = FirstKey(range_);
    to_ = EndKey(range_);
  }
  first_ = from_;
}

// Reads the block in which from_ lies, and moves it behind.
bool IndexHits::NextBlock() {
  if (has_ended_) return false;
  block_.clear();
  core_->Read(transaction_, {}, [&](Scope& scope) {
    core_->FlushIndex(scope);
    Cursor cursor(core_->tables().index, scope.transaction);
    if (!cursor.Seek(from_)) {
      has_ended_ = true;
      return;
    }
    block_ = cursor.value();
    // No entry of the next block is in the range.
    has_ended_ = !to_.empty() && cursor.key() >= to_;
    if (cursor.key() == kLastBlockKey) has_ended_ = true;
    from_ = std::string(cursor.key()) + '\0';
  });
  return !block_.empty();
}

// Whether the value lies between the bounds. What the index has of it is
// compared; where that is not enough, the hit is not certain.
bool IndexHits::IsInRange(std::string_view value, bool is_whole,
                          bool& is_certain) const {
  is_certain = is_whole;
  if (is_whole) {
    const auto holds = [](int order, bool is_included) {
      return order > 0 || (order == 0 && is_included);
    };
    return (!range_.from || holds(value.compare(range_.from->value),
                                  range_.from->is_included)) &&
           (!range_.to ||
            holds(-value.compare(range_.to->value), range_.to->is_included));
  }
  // The beginnings differ, or the ends decide.
  const auto differs = [value](const std::optional<ValueRange::Bound>& bound) {
    return !bound ||
           value != std::string_view(bound->value).substr(0, kWholeBytes);
  };
  is_certain = differs(range_.from) && differs(range_.to);
  return true;
}

bool IndexHits::Next(IndexHit& hit) {
  bool found = false;
  // Without the transaction: nothing is read but the block.
  core_->Read(nullptr, {}, [&](Scope&) {
    while (!(found = NextInBlock(hit)) && NextBlock())
      reader_ = BlockReader(block_);
  });
  return found;
}

void IndexHits::Each(const std::function<bool(const IndexHit&)>& each) {
  core_->Read(nullptr, {}, [&](Scope&) {
    IndexHit hit;
    do {
      while (NextInBlock(hit))
        if (!each(hit)) return;
      if (!NextBlock()) return;
      reader_ = BlockReader(block_);
    } while (true);
  });
}

bool IndexHits::NextInBlock(IndexHit& hit) {
  while (reader_.Next()) {
    const std::string_view entry = reader_.entry();
    // The first block may begin before the range.
    if (entry < first_) continue;
    if (!to_.empty() && entry >= to_) {
      has_ended_ = true;
      reader_ = {};
      return false;
    }
    const IndexEntry read = ReadEntry(entry);
    hit.document = read.document;
    hit.node = read.node;
    hit.value = read.value;
    hit.is_whole = read.is_whole;
    if (IsInRange(read.value, read.is_whole, hit.is_certain)) return true;
  }
  return false;
}

bool DocumentScan::Next(DocumentTree& document) {
  while (next_ == read_.size()) {
    if (has_ended_) return false;
    Fill();
  }
  document = std::move(read_[next_++]);
  return true;
}

bool DocumentScan::IsWanted(std::string_view record) const {
  return !wanted_ || std::binary_search(wanted_->begin(), wanted_->end(),
                                        ReadRecordHead(record).id);
}

void DocumentScan::Fill() {
  read_.clear();
  next_ = 0;
  if (names_) return FillFromNames();
  core_->Read(transaction_, {}, [&](Scope& scope) {
    struct Record {
      std::string name;
      std::string bytes;
    };
    std::vector<Record> records;
    std::string last;
    std::size_t seen = 0;
    std::size_t bytes = 0;
    {
      // Of a large one only the head, in case its tree is still there.
      Cursor cursor(core_->tables().documents, scope.transaction, kSmallRecord);
      bool found = cursor.Seek(from_);
      for (; found && seen < kScanDocuments && bytes < kScanBytes;
           found = cursor.Next(), ++seen) {
        last = cursor.key();
        const bool is_large = cursor.value().size() == kSmallRecord;
        bytes += is_large ? kScanBytes : cursor.value().size();
        if (IsWanted(cursor.value()))
          records.push_back({last, std::string(cursor.value())});
      }
      has_ended_ = !found;
    }
    if (seen != 0) from_ = last + '\0';
    for (Record& record : records) {
      if (record.bytes.size() < kSmallRecord) {
        read_.push_back(DecodeRecord(*core_, scope, std::move(record.name),
                                     std::move(record.bytes)));
      } else if (auto large = ReadDocument(*core_, scope, record.name)) {
        read_.push_back(*std::move(large));
      }
    }
  });
}

// A name may have become another document's meanwhile.
void DocumentScan::FillFromNames() {
  const std::size_t end = std::min(next_name_ + kScanDocuments, names_->size());
  for (; next_name_ != end; ++next_name_) {
    const auto& wanted = (*names_)[next_name_];
    core_->Read(transaction_, wanted.first, [&](Scope& scope) {
      auto document = ReadDocument(*core_, scope, wanted.first);
      if (document && document->id == wanted.second)
        read_.push_back(*std::move(document));
    });
  }
  has_ended_ = end == names_->size();
}

}  // namespace kiv::xdb
