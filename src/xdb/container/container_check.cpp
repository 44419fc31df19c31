#include <algorithm>
#include <cstdint>
#include <utility>

#include "util/cp936.h"
#include "util/log_entry.h"
#include "util/utf8.h"
#include "xdb/container/container.h"
#include "xdb/container/container_impl.h"
#include "xdb/container/environment_access.h"
#include "xdb/tree/index_values.h"
#include "xdb/tree/tree.h"

namespace kiv::xdb {
namespace {

// What is behind them would only repeat it.
constexpr std::size_t kMostProblems = 200;

std::string Quoted(std::string_view utf8) {
  return "'" + Shown(Utf8ToCp936(utf8)) + "'";
}

// A set of entries as two sums: equal ones have equal sums, whatever the order,
// and different ones practically never.
struct EntrySum {
  std::uint64_t count = 0;
  std::uint64_t first = 0;
  std::uint64_t second = 0;

  void Add(std::string_view entry) {
    ++count;
    std::uint64_t hash = 14695981039346656037U;
    for (const char byte : entry)
      hash = (hash ^ static_cast<unsigned char>(byte)) * 1099511628211U;
    first += Mixed(hash);
    second += Mixed(hash ^ 0x9E3779B97F4A7C15U);
  }
  bool operator==(const EntrySum&) const = default;

 private:
  static std::uint64_t Mixed(std::uint64_t number) {
    number = (number ^ number >> 30) * 0xBF58476D1CE4E5B9U;
    number = (number ^ number >> 27) * 0x94D049BB133111EBU;
    return number ^ number >> 31;
  }
};

class Verifier {
 public:
  Verifier(ContainerCore& core, const Scope& scope)
      : core_(core), scope_(scope) {}

  std::vector<std::string> Run() {
    EachDocument([this](std::string_view name, std::string_view record) {
      CheckDocument(name, record);
    });
    CheckIds();
    SumIndex();
    // Only then is it worth the time to find out where.
    if (is_readable_ && !(in_documents_ == in_index_)) CompareIndex();
    return std::move(problems_);
  }

 private:
  void Say(std::string problem) {
    if (problems_.size() < kMostProblems)
      problems_.push_back(std::move(problem));
  }

  template <class Call>
  void EachDocument(Call call) {
    Cursor cursor(core_.tables().documents, scope_.transaction);
    for (bool found = cursor.First(); found; found = cursor.Next())
      call(cursor.key(), cursor.value());
  }

  // The tree, or null and a line.
  std::unique_ptr<Tree> Decode(std::string_view name, std::string_view bytes) {
    try {
      return core_.WithDictionary(scope_, [&](const auto& dictionary) {
        return std::make_unique<Tree>(dictionary, nullptr, bytes);
      });
    } catch (const TreeError& error) {
      is_readable_ = false;
      Say("document " + Quoted(name) + ": " + error.what());
      return nullptr;
    }
  }

  void CheckDocument(std::string_view name, std::string_view bytes);
  void CheckTexts(std::string_view name, const Tree& tree);
  void CheckIds();
  void SumIndex();
  void CompareIndex();
  template <class Call>
  void EachEntryOf(DocumentId id, std::string_view tree, Call call);

  ContainerCore& core_;
  const Scope scope_;
  std::vector<std::string> problems_;
  EntrySum in_documents_;
  EntrySum in_index_;
  std::uint64_t document_count_ = 0;
  bool is_readable_ = true;
};

template <class Call>
void Verifier::EachEntryOf(DocumentId id, std::string_view tree, Call call) {
  const auto dictionary = core_.dictionary().Current();
  std::string entry;
  EachIndexValue(tree, *dictionary,
                 {.value =
                      [&](PathId path, std::string_view value, NodeId node) {
                        entry.clear();
                        AppendEntry(entry, path, value, id, node);
                        call(entry);
                      },
                  .trait =
                      [&](PathId path, PathTrait trait) {
                        if ((dictionary->path(path).traits & trait) == 0)
                          Say("path " + std::to_string(path) + " lacks trait " +
                              std::to_string(trait));
                      }});
}

void Verifier::CheckDocument(std::string_view name, std::string_view bytes) {
  ++document_count_;
  DocumentRecord record;
  try {
    record = ReadRecord(bytes);
  } catch (const TreeError& error) {
    is_readable_ = false;
    return Say("document " + Quoted(name) + ": " + error.what());
  }
  ReadBuffer named;
  if (!core_.tables().ids.Get(scope_.transaction, OrderedKey(record.id), named))
    Say("document " + Quoted(name) + ": its id " + std::to_string(record.id) +
        " is unknown");
  else if (named.view() != name)
    Say("document " + Quoted(name) + ": its id " + std::to_string(record.id) +
        " is that of " + Quoted(named.view()));
  const std::unique_ptr<Tree> tree = Decode(name, record.tree);
  if (tree == nullptr) return;
  CheckTexts(name, *tree);
  EachEntryOf(record.id, record.tree,
              [this](std::string_view entry) { in_documents_.Add(entry); });
}

void Verifier::CheckTexts(std::string_view name, const Tree& tree) {
  for (NodeId node = 0; node != tree.node_count(); ++node)
    if (!IsUtf8(tree.value(node)) || !IsUtf8(tree.target(node)))
      return Say("document " + Quoted(name) + ": a text is no UTF-8");
}

void Verifier::CheckIds() {
  std::uint64_t id_count = 0;
  Cursor cursor(core_.tables().ids, scope_.transaction);
  for (bool found = cursor.First(); found; found = cursor.Next()) {
    ++id_count;
    if (!core_.tables().documents.Has(scope_.transaction, cursor.value()))
      Say("an id stands for document " + Quoted(cursor.value()) +
          ", which is not there");
  }
  if (id_count != document_count_)
    Say("there are " + std::to_string(document_count_) + " documents and " +
        std::to_string(id_count) + " ids");
}

void Verifier::SumIndex() {
  try {
    std::string last;
    EntryReader reader(core_.tables().index, scope_.transaction, {});
    while (reader.Next()) {
      if (in_index_.count > 0 && reader.entry() <= last)
        Say("the index is out of order");
      last = reader.entry();
      ReadEntry(last);
      in_index_.Add(last);
    }
  } catch (const TreeError& error) {
    is_readable_ = false;
    Say(std::string("the index: ") + error.what());
  }
}

void Verifier::CompareIndex() {
  const std::size_t before = problems_.size();
  EachDocument([this](std::string_view name, std::string_view bytes) {
    const DocumentRecord record = ReadRecordHead(bytes);
    EachEntryOf(record.id, record.tree, [&](const std::string& entry) {
      EntryReader reader(core_.tables().index, scope_.transaction, entry);
      if (!reader.Next() || reader.entry() != entry)
        Say("document " + Quoted(name) + ": the value of node " +
            std::to_string(ReadEntry(entry).node) + " is not in the index");
    });
  });
  // What is left are entries that no document has.
  if (problems_.size() == before)
    Say("the index has " + std::to_string(in_index_.count) +
        " entries, the documents have " + std::to_string(in_documents_.count));
}

}  // namespace

std::vector<std::string> Container::Verify() const {
  std::vector<std::string> problems;
  // Changes nothing. In a transaction, where there are any, all that is
  // compared is of one time, and a wait for others is seen for what it is.
  impl_->core->Change(nullptr, [&](Scope& scope) {
    impl_->core->RefreshDictionary(scope);
    problems = Verifier(*impl_->core, scope).Run();
  });
  return problems;
}

XDbContainerStatistics Container::Statistics() const {
  XDbContainerStatistics statistics;
  ContainerCore& core = *impl_->core;
  core.Read(nullptr, {}, [&](Scope& scope) {
    core.RefreshDictionary(scope);
    const auto dictionary = core.dictionary().Current();
    statistics.name_count = dictionary->name_count();
    // One path is that of the document.
    statistics.path_count = dictionary->path_count() - 1;
    statistics.format_version = core.tables().format_version();
    Cursor documents(core.tables().documents, nullptr);
    for (bool found = documents.First(); found; found = documents.Next()) {
      ++statistics.document_count;
      statistics.document_bytes += documents.value().size();
    }
    EntryReader entries(core.tables().index, nullptr, {});
    while (entries.Next()) ++statistics.index_entry_count;
    statistics.file_bytes = core.tables().FileBytes();
  });
  return statistics;
}

}  // namespace kiv::xdb
