#include "xdb/container/container.h"

#include <optional>
#include <utility>

#include "util/cp936.h"
#include "util/log_entry.h"
#include "xdb/container/container_core.h"
#include "xdb/container/container_impl.h"
#include "xdb/container/environment_access.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/tree/tree_text.h"
#include "xml/xml_events.h"

namespace kiv::xdb {
namespace {

// Names are read so many at a time.
constexpr std::size_t kNamesAtOnce = 256;

std::string ShownDocument(const std::string& name) {
  return "document '" + Shown(Utf8ToCp936(name)) + "'";
}

[[noreturn]] void ThrowNoSuch(const std::string& name) {
  throw StoreError(Failure::NotFound, "there is no " + ShownDocument(name),
                   DB_NOTFOUND);
}

[[noreturn]] void ThrowTaken(const std::string& name) {
  throw StoreError(Failure::AlreadyThere,
                   "there is already a " + ShownDocument(name), DB_KEYEXIST);
}

void RequireName(const std::string& name) {
  if (name.empty()) throw StoreError(Failure::Other, "a document needs a name");
}

// A document on its way in.
class Incoming {
 public:
  Incoming(const std::string& name, std::string_view content)
      : name_(name), content_(content) {}

  // With ids that hold in the scope: what the dictionary lacks is added.
  const std::string& Tree(ContainerCore& core, const Scope& scope) {
    PendingAdditions* const mine =
        scope.part == nullptr ? nullptr : &scope.part->additions();
    StoredDictionary& dictionary = core.dictionary();
    if (tree_.empty()) Build(dictionary.ViewFor(mine));
    while (!additions_.IsEmpty() &&
           !dictionary.Add(scope.transaction, mine, additions_))
      Build(dictionary.ViewFor(mine));
    return tree_;
  }

  // Outside of a transaction, so that nobody waits for it.
  void Build(StoredDictionary::View view) {
    ViewPaths paths(std::move(view));
    TreeBuilder builder(paths);
    try {
      ReadXmlEvents(content_, builder);
    } catch (const XmlRefusal& refusal) {
      std::string text = ShownDocument(name_);
      if (refusal.line != 0)
        text += ", line " + std::to_string(refusal.line) + ", column " +
                std::to_string(refusal.column);
      throw StoreError(Failure::NotXml, text + ": " + Shown(refusal.reason));
    }
    tree_.clear();
    builder.TakeTree(tree_);
    additions_ = paths.additions();
  }

 private:
  const std::string& name_;
  const std::string_view content_;
  std::string tree_;
  DictionaryAdditions additions_;
};

PendingAdditions* PendingOf(ContainerCore& core, Transaction* transaction) {
  PendingAdditions* mine = nullptr;
  core.Read(transaction, {}, [&](Scope& scope) {
    if (scope.part != nullptr) mine = &scope.part->additions();
  });
  return mine;
}

// From its first write on, a change that fails leaves a transaction that cannot
// be committed.
class DoomUnlessDone {
 public:
  explicit DoomUnlessDone(const Scope& scope) : part_(scope.part) {}
  ~DoomUnlessDone() {
    if (part_ != nullptr) part_->Doom();
  }
  DoomUnlessDone(const DoomUnlessDone&) = delete;
  DoomUnlessDone& operator=(const DoomUnlessDone&) = delete;
  void Done() { part_ = nullptr; }

 private:
  ContainerPart* part_;
};

// The entries of a document that goes. Those of one that cannot be read are
// looked for one by one.
void AddGoing(ContainerCore& core, const Scope& scope,
              const DocumentRecord& record, IndexChanges& changes) {
  try {
    record.Check();
    core.AddIndexChanges(scope, record.id, record.tree, false, changes);
  } catch (const TreeError&) {
    core.FlushIndex(scope);
    EntryReader reader(core.tables().index, scope.transaction, {});
    while (reader.Next())
      if (ReadEntry(reader.entry()).document == record.id)
        changes.Add(reader.entry(), false);
  }
}

}  // namespace

Container::Container(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Container::~Container() = default;

const std::string& Container::FileName() const {
  return impl_->core->file_name();
}

void Container::Put(const std::string& name, std::string_view content,
                    Transaction* transaction) {
  RequireName(name);
  ContainerCore& core = *impl_->core;
  Incoming incoming(name, content);
  incoming.Build(core.dictionary().ViewFor(PendingOf(core, transaction)));
  const DocumentId id = core.tables().TakeNumber();
  core.Change(transaction, [&](Scope& scope) {
    if (core.tables().documents.Has(scope.transaction, name)) ThrowTaken(name);
    DoomUnlessDone doom(scope);
    const std::string& tree = incoming.Tree(core, scope);
    if (!core.tables().documents.Insert(scope.transaction, name,
                                        MakeRecord(id, id, tree))) {
      doom.Done();
      ThrowTaken(name);
    }
    core.tables().ids.Put(scope.transaction, OrderedKey(id), name);
    IndexChanges changes;
    core.AddIndexChanges(scope, id, tree, true, changes);
    core.ApplyIndexChanges(scope, changes);
    doom.Done();
  });
}

std::string Container::GenerateName(Transaction* transaction) {
  ContainerTables& tables = impl_->core->tables();
  std::string name;
  do {
    name = "doc-" + tables.tag() + "-" + std::to_string(tables.TakeNumber());
  } while (Has(name, transaction));
  return name;
}

void Container::Replace(const std::string& name, std::string_view content,
                        Transaction* transaction) {
  ContainerCore& core = *impl_->core;
  Incoming incoming(name, content);
  incoming.Build(core.dictionary().ViewFor(PendingOf(core, transaction)));
  const std::uint64_t version = core.tables().TakeNumber();
  core.Change(transaction, [&](Scope& scope) {
    ReadBuffer old;
    if (!core.tables().documents.Get(scope.transaction, name, old,
                                     scope.part == nullptr ? 0 : DB_RMW))
      ThrowNoSuch(name);
    const DocumentRecord before = ReadRecordHead(old.view());
    DoomUnlessDone doom(scope);
    const std::string& tree = incoming.Tree(core, scope);
    IndexChanges changes;
    AddGoing(core, scope, before, changes);
    core.AddIndexChanges(scope, before.id, tree, true, changes);
    core.tables().documents.Put(scope.transaction, name,
                                MakeRecord(before.id, version, tree));
    core.ApplyIndexChanges(scope, changes);
    doom.Done();
  });
}

void Container::Rename(const std::string& old_name, const std::string& new_name,
                       Transaction* transaction) {
  RequireName(new_name);
  ContainerCore& core = *impl_->core;
  core.Change(transaction, [&](Scope& scope) {
    ContainerTables& tables = core.tables();
    ReadBuffer record;
    if (!tables.documents.Get(scope.transaction, old_name, record,
                              scope.part == nullptr ? 0 : DB_RMW))
      ThrowNoSuch(old_name);
    if (old_name == new_name) return;
    DoomUnlessDone doom(scope);
    if (!tables.documents.Insert(scope.transaction, new_name, record.view())) {
      doom.Done();
      ThrowTaken(new_name);
    }
    tables.documents.Erase(scope.transaction, old_name);
    tables.ids.Put(scope.transaction,
                   OrderedKey(ReadRecordHead(record.view()).id), new_name);
    doom.Done();
  });
}

void Container::Delete(const std::string& name, Transaction* transaction) {
  ContainerCore& core = *impl_->core;
  core.Change(transaction, [&](Scope& scope) {
    ContainerTables& tables = core.tables();
    ReadBuffer bytes;
    if (!tables.documents.Get(scope.transaction, name, bytes,
                              scope.part == nullptr ? 0 : DB_RMW))
      ThrowNoSuch(name);
    const DocumentRecord record = ReadRecordHead(bytes.view());
    DoomUnlessDone doom(scope);
    IndexChanges changes;
    AddGoing(core, scope, record, changes);
    tables.documents.Erase(scope.transaction, name);
    tables.ids.Erase(scope.transaction, OrderedKey(record.id));
    core.ApplyIndexChanges(scope, changes);
    doom.Done();
  });
}

std::string Container::Get(const std::string& name,
                           Transaction* transaction) const {
  ContainerCore& core = *impl_->core;
  std::string content;
  core.Read(transaction, name, [&](Scope& scope) {
    thread_local ReadBuffer bytes;
    if (!core.tables().documents.Get(scope.transaction, name, bytes))
      ThrowNoSuch(name);
    const DocumentRecord record = ReadRecord(bytes.view());
    content = core.WithDictionary(scope, [&](const auto& dictionary) {
      return TreeText(record.tree, *dictionary);
    });
  });
  return content;
}

bool Container::Has(const std::string& name, Transaction* transaction) const {
  bool has = false;
  impl_->core->Read(transaction, name, [&](Scope& scope) {
    has = impl_->core->tables().documents.Has(scope.transaction, name);
  });
  return has;
}

void Container::EachName(const std::function<bool(const std::string&)>& each,
                         Transaction* transaction) const {
  std::vector<std::string> names;
  std::string from;
  do {
    names.clear();
    // No cursor is open while `each` runs.
    impl_->core->Read(transaction, {}, [&](Scope& scope) {
      Cursor cursor(impl_->core->tables().documents, scope.transaction,
                    Cursor::KeysOnly);
      for (bool found = cursor.Seek(from); found && names.size() < kNamesAtOnce;
           found = cursor.Next())
        names.emplace_back(cursor.key());
    });
    for (const std::string& name : names)
      if (!each(name)) return;
    // What sorts right behind the last.
    if (!names.empty()) from = names.back() + '\0';
  } while (!names.empty());
}

}  // namespace kiv::xdb
