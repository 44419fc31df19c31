#include <limits>
#include <stdexcept>

#include "kiv/xdb_document.h"
#include "kiv/xdb_query.h"
#include "xdb/query_engine.h"
#include "xdb/session.h"
#include "xdb/xdb_access.h"
#include "xdb/xdb_text.h"

// position_ is the number of the item that was fetched last, from 0; all ones
// before the first. passed_ is where the cursor of the results really stands,
// so that both agree again after every set_pos.
namespace kiv {

using xdb::Try;

XDbResults::XDbResults() = default;

XDbResults::~XDbResults() = default;

bool XDbResults::Construct(const std::shared_ptr<xdb::Session>& manager,
                           const void* results) {
  if (results == nullptr) return false;
  std::shared_ptr<xdb::QueryResults> bound;
  if (!Try("XDbResults::Construct assign exception: ", [&] {
        bound =
            *static_cast<const std::shared_ptr<xdb::QueryResults>*>(results);
        return bound != nullptr;
      }))
    return false;
  unsigned size = 0;
  if (!Try("XDbResults::Construct: Inner size() call exception : - ", [&] {
        const std::uint64_t count = bound->Size();
        if (count >= kBeforeFirst)
          throw std::length_error("there are more items than can be counted");
        size = static_cast<unsigned>(count);
        return true;
      }))
    return false;
  // The results before them go while their session is still there.
  results_ = std::move(bound);
  manager_ = manager;
  position_ = kBeforeFirst;
  passed_ = 0;
  size_ = size;
  return true;
}

bool XDbResults::is_eof() const {
  return size_ == 0 || (position_ != kBeforeFirst && position_ >= size_);
}

void XDbResults::reset() {
  if (results_ == nullptr) return;
  passed_ = kBeforeFirst;
  if (!Try("XDbResults::reset: Xml* Inner reset() call exception : - ", [&] {
        results_->Reset();
        return true;
      }))
    return;
  passed_ = 0;
  position_ = kBeforeFirst;
}

template <class Take>
bool XDbResults::Next(Take take) {
  if (results_ == nullptr) {
    set_eof();
    return false;
  }
  if (is_eof()) return false;
  const bool is_taken =
      Try("XDbResults::next: Xml* Inner call exception : - ", [&] {
        const unsigned passed = passed_;
        passed_ = kBeforeFirst;
        const std::shared_ptr<const xdb::QueryValue> item = results_->Next();
        passed_ = item == nullptr ? passed : passed + 1;
        return item != nullptr && take(item);
      });
  if (is_taken)
    ++position_;
  else
    set_eof();
  return is_taken;
}

bool XDbResults::next(XDbValue& value) {
  return Next([&](const std::shared_ptr<const xdb::QueryValue>& item) {
    value = xdb::XDbAccess::Value(item);
    return true;
  });
}

bool XDbResults::next(XDbDocument& document) {
  return Next([&](const std::shared_ptr<const xdb::QueryValue>& item) {
    const xdb::NodePlace place = item->Place();
    if (place.document == nullptr)
      throw std::runtime_error("the item stands in no document");
    return document.Construct2(manager_.get(),
                               xdb::StoredDocument(*place.document));
  });
}

bool XDbResults::set_pos(unsigned position) {
  if (results_ == nullptr || position > size_) return false;
  // Compared with the inner position, which is one lower than get_pos(): right
  // after the first next(), 0 stays on the first item.
  if (position == position_) return true;
  if (size_ == 0) return false;
  if (position == 0) {
    if (position_ != kBeforeFirst) reset();
    return true;
  }
  if (passed_ == kBeforeFirst) {
    reset();
    if (passed_ == kBeforeFirst) return false;
  }
  return StepBackTo(position) && StepForwardTo(position);
}

bool XDbResults::StepBackTo(unsigned position) {
  return Try("XDbResults::set_pos: Xml* Inner previous() call exception : - ",
             [&] {
               while (passed_ > position) {
                 if (results_->Previous() == nullptr) return false;
                 position_ = --passed_ - 1;
               }
               return true;
             });
}

bool XDbResults::StepForwardTo(unsigned position) {
  return Try("XDbResults::set_pos: Xml* Inner next() call exception : - ", [&] {
    while (passed_ < position) {
      if (results_->Next() == nullptr) return false;
      // With every step: a later one may fail.
      position_ = passed_++;
    }
    position_ = passed_ - 1;
    return true;
  });
}

}  // namespace kiv
