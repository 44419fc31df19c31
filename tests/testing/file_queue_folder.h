#ifndef TESTING_FILE_QUEUE_FOLDER_H_
#define TESTING_FILE_QUEUE_FOLDER_H_

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "kiv/startup.h"
#include "mq/file_queue.h"
#include "testing/service_folder.h"
#include "testing/test_processor.h"

namespace kiv::testing {

// A service with one watched folder, in/, whose files a test processor gets.
class FileQueueFolder {
 public:
  static constexpr char kProcessor[] =
      "<processor>dll://../lib/p:Record</processor>";

  FileQueueFolder() { std::filesystem::create_directory("../in"); }

  // Attributes of the one directory; it processes unless they say otherwise.
  void Write(const std::string& attributes = "process='true'",
             const std::string& below = kProcessor) const {
    WriteAll("<directory name='in' " + attributes + "><path>" + in().string() +
             "</path>" + below + "</directory>");
  }
  void WriteAll(const std::string& directories) const {
    WriteTestFile("../conf/fileq.xml", "<service><directories>" + directories +
                                           "</directories></service>");
  }

  std::filesystem::path in() const { return service.path() / "in"; }
  // As a writer of the folder puts it there: whole, under its name.
  void Put(const std::filesystem::path& name, const std::string& text) const {
    WriteTestFile(in() / name, text);
  }
  bool Has(const std::filesystem::path& name) const {
    return std::filesystem::exists(
        std::filesystem::symlink_status(in() / name));
  }
  // A file is there a moment before its text.
  bool WaitForText(const std::filesystem::path& name,
                   const std::string& text) const {
    return Eventually([&] { return ReadTestFile(in() / name) == text; });
  }
  // Every file below in/ that is no folder's, relative to it; sorted.
  std::vector<std::string> Files() const {
    using Walk = std::filesystem::recursive_directory_iterator;
    std::vector<std::string> files;
    std::error_code gone;
    // A folder that goes away ends the walk; it begins again then.
    do {
      files.clear();
      gone.clear();
      for (Walk at(in(), gone); at != Walk(); at.increment(gone)) {
        std::error_code ignored;
        if (!at->is_directory(ignored) && at->path().filename() != "lock")
          files.push_back(at->path().lexically_relative(in()));
      }
    } while (gone && std::filesystem::exists(in()));
    std::sort(files.begin(), files.end());
    return files;
  }
  std::vector<std::string> Messages() const {
    auto messages = processor.Messages();
    std::sort(messages.begin(), messages.end());
    return messages;
  }

  const ServiceFolder service;
  TestProcessor processor{"../lib/p.so"};
};

// A file queue over that folder.
class FileQueueTest : public ::testing::Test {
 protected:
  static void SetUpTestSuite() { GlobalInit(); }
  static void TearDownTestSuite() { GlobalUninit(); }

  void Start(const std::string& attributes = "process='true'") {
    folder_.Write(attributes);
    ASSERT_TRUE(queue_.Start()) << folder_.service.log.Text();
  }

  FileQueueFolder folder_;
  msgq::FileQueue queue_;
};

}  // namespace kiv::testing

#endif  // TESTING_FILE_QUEUE_FOLDER_H_
