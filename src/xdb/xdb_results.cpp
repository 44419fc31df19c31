#include <limits>
#include <stdexcept>
#include <utility>

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

namespace {

constexpr char kSizeFailed[] =
    "XDbResults::Construct: Inner size() call exception : - ";
constexpr char kNextFailed[] =
    "XDbResults::set_pos: Xml* Inner next() call exception : - ";

unsigned Counted(std::uint64_t count) {
  if (count >= std::numeric_limits<unsigned>::max())
    throw std::length_error("there are more items than can be counted");
  return static_cast<unsigned>(count);
}

}  // namespace

XDbResults::XDbResults() = default;

XDbResults::~XDbResults() = default;

bool XDbResults::Construct(const std::shared_ptr<xdb::Session>& session,
                           const void* results) {
  if (results == nullptr) return false;
  std::shared_ptr<xdb::QueryResults> bound;
  if (!Try("XDbResults::Construct assign exception: ", [&] {
        bound =
            *static_cast<const std::shared_ptr<xdb::QueryResults>*>(results);
        return bound != nullptr;
      }))
    return false;
  unsigned size = kBeforeFirst;
  if (!Try(kSizeFailed, [&] {
        if (bound->KnowsSize()) size = Counted(bound->Size());
        return true;
      }))
    return false;
  // The results before them go while their session is still there.
  results_ = std::move(bound);
  session_ = session;
  position_ = kBeforeFirst;
  passed_ = 0;
  size_ = size;
  has_failed_ = false;
  return true;
}

unsigned XDbResults::size() const {
  if (size_ != kBeforeFirst) return size_;
  const auto count = [this] {
    size_ = Counted(results_->Size());
    return true;
  };
  if (Try(kSizeFailed, count)) return size_;
  has_failed_ = true;
  // What there was before the failure is all now.
  if (!Try(kSizeFailed, count)) size_ = 0;
  return size_;
}

bool XDbResults::Has(unsigned count, const char* message) const {
  if (count == 0) return true;
  if (size_ != kBeforeFirst) return count <= size_;
  bool is_there = false;
  if (Try(message, [&] {
        is_there = results_->Has(count);
        return true;
      }))
    return is_there;
  has_failed_ = true;
  return count <= size();
}

bool XDbResults::is_eof() const {
  if (position_ == kBeforeFirst) return !Has(1, kSizeFailed);
  return position_ >= size_;
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
  const bool is_at_end =
      size_ == 0 || (position_ != kBeforeFirst && position_ >= size_);
  if (is_at_end) return false;
  const bool is_taken =
      Try("XDbResults::next: Xml* Inner call exception : - ", [&] {
        const unsigned passed = std::exchange(passed_, kBeforeFirst);
        const bool had_failed = std::exchange(has_failed_, true);
        const std::shared_ptr<const xdb::QueryValue> item = results_->Next();
        has_failed_ = had_failed;
        passed_ = item == nullptr ? passed : passed + 1;
        return item != nullptr && take(item);
      });
  if (is_taken)
    ++position_;
  else if (size() != 0)
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
    return document.Construct2(session_.get(),
                               xdb::StoredDocument(*place.document));
  });
}

bool XDbResults::set_pos(unsigned position) {
  if (results_ == nullptr || !Has(position, kNextFailed)) return false;
  // Compared with the inner position, which is one lower than get_pos(): right
  // after the first next(), 0 stays on the first item.
  if (position == position_) return true;
  if (!Has(1, kNextFailed)) return false;
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
  return Try(kNextFailed, [&] {
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
