#ifndef XDB_PREPARED_QUERIES_H_
#define XDB_PREPARED_QUERIES_H_

#include <array>
#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace kiv {
class XDbQueryExpression;
}

namespace kiv::xdb {

class Session;

// Prepared queries by their text, for as long as the session that prepared them
// is the current one.
//
// Find takes no lock: entries are only ever added, at the head of their chain
// and complete before they are reachable, and freed with the whole. A chain is
// read from a head that was stored with release and loaded with acquire, so all
// that lies behind it is seen as it was made.
class PreparedQueries {
 public:
  using Expression = std::shared_ptr<XDbQueryExpression>;

  PreparedQueries() = default;
  ~PreparedQueries() {
    for (const auto& head : heads_)
      for (const Entry* entry = head.load(); entry != nullptr;) {
        const std::unique_ptr<const Entry> gone(entry);
        entry = entry->next;
      }
  }
  PreparedQueries(const PreparedQueries&) = delete;
  PreparedQueries& operator=(const PreparedQueries&) = delete;

  // Empty when there is none.
  Expression Find(const std::string& text,
                  const std::shared_ptr<Session>& session) const {
    if (session == nullptr) return nullptr;
    const std::size_t hash = std::hash<std::string>()(text);
    const Entry* entry = HeadOf(hash).load(std::memory_order_acquire);
    for (; entry != nullptr; entry = entry->next)
      if (entry->hash == hash && entry->text == text)
        // One of an earlier session is as good as none, and so are those behind
        // it, which are older still.
        return entry->session.lock() == session ? entry->expression : nullptr;
    return nullptr;
  }

  // What is stored under the text from now on: an entry that another thread
  // made meanwhile wins.
  Expression Insert(const std::string& text,
                    const std::shared_ptr<Session>& session,
                    const Expression& expression) {
    const std::lock_guard lock(mutex_);
    if (Expression stored = Find(text, session)) return stored;
    const std::size_t hash = std::hash<std::string>()(text);
    std::atomic<const Entry*>& head = HeadOf(hash);
    head.store(new Entry{hash, text, session, expression, head.load()},
               std::memory_order_release);
    return expression;
  }

 private:
  struct Entry {
    std::size_t hash;
    std::string text;
    std::weak_ptr<Session> session;
    Expression expression;
    const Entry* next;
  };
  using Head = std::atomic<const Entry*>;
  static constexpr std::size_t kChains = 1024;

  const Head& HeadOf(std::size_t hash) const { return heads_[hash % kChains]; }
  Head& HeadOf(std::size_t hash) { return heads_[hash % kChains]; }

  std::recursive_mutex mutex_;
  std::array<Head, kChains> heads_{};
};

}  // namespace kiv::xdb

#endif  // XDB_PREPARED_QUERIES_H_
