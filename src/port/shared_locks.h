#ifndef PORT_SHARED_LOCKS_H_
#define PORT_SHARED_LOCKS_H_

#include <atomic>
#include <functional>

// Waiting for locks in memory that processes share, any of which may be killed
// while it holds one: such a wait must be able to end without the lock. The
// locks themselves are called by Berkeley DB, under the names that
// cmake/KivBerkeleyDb.cmake gives them.
namespace kiv::port {

// The waits of the calling thread fail, soon after it, once `is_abandoned`;
// null: they last as long as it takes. The flag outlives them.
void AbandonWaitsWhen(const std::atomic<bool>* is_abandoned);

// As long as it lives, long waits of the calling thread also fail when
// `is_enough`, which is asked several times a second, says so.
class ImpatientWaits {
 public:
  // What a try for a lock is that somebody else has: over at once, or a short
  // wait that may fail as the others do. Berkeley DB tries again and again in
  // place of waiting while it clears up after the dead.
  enum class Tries { EndAtOnce, AreWaits };

  explicit ImpatientWaits(std::function<bool()> is_enough,
                          Tries tries = Tries::EndAtOnce);
  ~ImpatientWaits();
  ImpatientWaits(const ImpatientWaits&) = delete;
  ImpatientWaits& operator=(const ImpatientWaits&) = delete;

 private:
  const std::function<bool()> is_enough_;
};

// For waits that are made of something else: whether the calling thread is to
// give up by now.
bool IsToGiveUpWaiting();

}  // namespace kiv::port

#endif  // PORT_SHARED_LOCKS_H_
