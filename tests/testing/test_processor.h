#ifndef TESTING_TEST_PROCESSOR_H_
#define TESTING_TEST_PROCESSOR_H_

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "port/shared_library.h"
#include "testing/eventually.h"

namespace kiv::testing {

// A processor library of its own in the test's folder, and what it received.
class TestProcessor {
 public:
  // `file` with the suffix ".so".
  explicit TestProcessor(const std::filesystem::path& file) {
    namespace fs = std::filesystem;
    fs::create_directories(fs::absolute(file).parent_path());
    fs::copy_file(KIV_TEST_PROCESSOR, file);
    fs::permissions(file, fs::perms::owner_all);
    std::string reason;
    library_ = port::SharedLibrary::Open(file.string(), reason);
    if (library_ == nullptr) throw std::runtime_error(reason);
    using SetSink = void (*)(bool (*)(void*, const char*, int, void*), void*);
    reinterpret_cast<SetSink>(library_->Symbol("SetSink", reason))(&Take, this);
  }

  // What the processor does with a message; it answers true by default. Set
  // before a reader starts.
  std::function<bool(std::string_view message, void* context)> answer;
  bool keeps_messages = true;

  std::vector<std::string> Messages() const {
    const std::lock_guard lock(mutex_);
    return messages_;
  }
  bool WaitForMessages(std::size_t count) const {
    return Eventually([&] { return Messages().size() >= count; });
  }

 private:
  static bool Take(void* receiver, const char* bytes, int length,
                   void* context) {
    auto& self = *static_cast<TestProcessor*>(receiver);
    const std::string_view message(bytes, static_cast<std::size_t>(length));
    if (self.keeps_messages) {
      const std::lock_guard lock(self.mutex_);
      self.messages_.emplace_back(message);
    }
    return self.answer == nullptr || self.answer(message, context);
  }

  std::unique_ptr<port::SharedLibrary> library_;
  mutable std::mutex mutex_;
  std::vector<std::string> messages_;
};

}  // namespace kiv::testing

#endif  // TESTING_TEST_PROCESSOR_H_
