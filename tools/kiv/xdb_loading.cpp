#include "xdb_loading.h"

#include <chrono>
#include <fstream>
#include <iostream>
#include <iterator>
#include <system_error>
#include <thread>
#include <utility>

#include "kiv/dom_parser.h"
#include "terminal.h"

namespace kiv_tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMaxAttempts = 20;

bool ReadWhole(const fs::path& file, std::string& content,
               std::string& reason) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  if (!fs::is_regular_file(status)) {
    reason = fs::exists(status) ? "this is no regular file"
                                : std::generic_category()
                                      .default_error_condition(error.value())
                                      .message();
    return false;
  }
  const std::uintmax_t size = fs::file_size(file, error);
  if (!error && size > kiv::DomParser::MaxBytes()) {
    reason = "the file has more than " +
             std::to_string(kiv::DomParser::MaxBytes()) + " bytes";
    return false;
  }
  std::ifstream stream(file, std::ios::binary);
  content.assign(std::istreambuf_iterator<char>(stream), {});
  if (stream.is_open() && !stream.bad()) return true;
  reason = "it cannot be read";
  return false;
}

}  // namespace

bool XdbLoading::Fail(const std::string& source, const std::string& reason) {
  progress_.Clear();
  place_.Fault(source + ": " + reason + "; stored before it: " +
               std::to_string(stored_) + ", nothing of its batch");
  return false;
}

bool XdbLoading::AddFile(const std::string& name, const fs::path& file) {
  Item item;
  item.source = file.string();
  item.file = file;
  return place_.LocalName(name, item.name) && Add(std::move(item));
}

bool XdbLoading::AddContent(const std::string& name, const std::string& content,
                            const std::string& source) {
  Item item;
  item.source = source;
  item.content = content;
  return place_.LocalName(name, item.name) && Add(std::move(item));
}

bool XdbLoading::Add(Item item) {
  batch_.push_back(std::move(item));
  return batch_.size() < options_.batch || StoreBatch();
}

bool XdbLoading::Finish() {
  const bool is_stored = StoreBatch();
  progress_.Clear();
  return is_stored;
}

bool XdbLoading::StoreBatch() {
  if (batch_.empty()) return true;
  for (int attempt = 1;; ++attempt) {
    switch (TryBatch()) {
      case Attempt::Stored:
        stored_ += batch_.size();
        batch_.clear();
        progress_.Show(stored_);
        return true;
      case Attempt::Failed:
        return false;
      case Attempt::InTheWay:
        if (attempt == kMaxAttempts)
          return Fail(batch_.front().source, LibraryReason());
        std::this_thread::sleep_for(std::chrono::milliseconds(attempt * 10));
    }
  }
}

XdbLoading::Attempt XdbLoading::TryBatch() {
  const kiv::XDbManager& manager = *place_.Open();
  // A context with a transaction that is released, and with it aborted, on
  // every way out but the last.
  kiv::XDbTransaction transaction;
  kiv::XDbUpdateContext context;
  if (!manager.CreateTransaction(transaction) ||
      !manager.CreateUpdateContext(context) ||
      !context.SetTransaction(transaction)) {
    Fail(batch_.front().source, LibraryReason());
    return Attempt::Failed;
  }
  std::vector<std::string> generated;
  for (const Item& item : batch_) {
    const Attempt attempt = StoreItem(item, context, generated);
    if (attempt != Attempt::Stored) return attempt;
  }
  if (!transaction.Commit()) {
    // Much of what others may be in the way of is written only now.
    if (kiv::XDbManager::IsWorthRetrying()) return Attempt::InTheWay;
    Fail(batch_.front().source, LibraryReason());
    return Attempt::Failed;
  }
  for (const std::string& name : generated) std::cout << Utf8(name) << '\n';
  return Attempt::Stored;
}

XdbLoading::Attempt XdbLoading::StoreItem(const Item& item,
                                          kiv::XDbUpdateContext& context,
                                          std::vector<std::string>& generated) {
  std::string content = item.content;
  std::string reason;
  if (!item.file.empty() && !ReadWhole(item.file, content, reason)) {
    Fail(item.source, reason);
    return Attempt::Failed;
  }
  if (options_.replaces && !item.name.empty()) {
    kiv::XDbDocument document;
    if (place_.Open()->CreateDocument(document) &&
        document.SetName(item.name) && document.setContent(content)) {
      if (container_.UpdateDocument(document, context)) return Attempt::Stored;
      if (kiv::XDbManager::IsWorthRetrying()) return Attempt::InTheWay;
    }
    // There is none of that name; what else is wrong shows in the put, too.
  }
  std::string name = item.name;
  if (container_.PutDocument(name, content, context)) {
    if (item.name.empty()) generated.push_back(name);
    return Attempt::Stored;
  }
  if (kiv::XDbManager::IsWorthRetrying()) return Attempt::InTheWay;
  Fail(item.source, LibraryReason());
  return Attempt::Failed;
}

}  // namespace kiv_tool
