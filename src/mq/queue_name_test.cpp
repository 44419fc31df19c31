#include "mq/queue_name.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <utility>

namespace kiv::mq {
namespace {

TEST(QueueNames, HaveAFileAndComeBackFromIt) {
  using Row = std::array<std::string, 3>;  // written, text, file
  const Row rows[] = {
      {"orders_1.a-b$", "orders_1.a-b$", "orders_1.a-b$.queue"},
      {".\\Private$\\orders", "orders", "orders.queue"},
      {"direct=os:.\\private$\\orders", "orders", "orders.queue"},
      {".\\private$\\.\\private$\\x", "x", "x.queue"},
      // Another computer's: no queue of ours, and no folder either.
      {"srv\\private$\\x", "srv\\private$\\x", "srv%5Cprivate$%5Cx.queue"},
      {"DIRECT=OS:srv\\x", "DIRECT=OS:srv\\x", "DIRECT%3DOS%3Asrv%5Cx.queue"},
      {"../x", "../x", "%2E.%2Fx.queue"},
      {"a%41 ", "a%41 ", "a%2541%20.queue"},
      // 乗: a character that ends in the byte of "\"; and the euro.
      {"\x81\x5C/", "\x81\x5C/", "\x81\x5C%2F.queue"},
      {"\x80/", "\x80/", "\x80%2F.queue"}};
  for (const auto& [written, text, file] : rows) {
    QueueName name;
    std::string reason;
    ASSERT_TRUE(QueueName::Read(written, name, reason)) << reason;
    EXPECT_EQ(name.Text(), text);
    EXPECT_EQ(name.Path(), ".\\private$\\" + text);
    EXPECT_EQ(name.File(), file);
    QueueName back;
    ASSERT_TRUE(QueueName::FromFile(file, back));
    EXPECT_EQ(back.Text(), text);
  }
}

TEST(QueueNames, ThatNoQueueCanHaveAreRefusedWithAReason) {
  const std::pair<std::string, const char*> rows[] = {
      {"", "the name is empty"},
      {"a\nb", "the name holds a control character"},
      {{"a\0b", 3}, "the name holds a control character"},
      {"a\xB6", "the name is no text in the local encoding"},
      {"\xFF\x41", "the name is no text in the local encoding"},
      {std::string(235, 'a'),
       "the name is too long: at most 234 letters or digits, or a third of "
       "that in Chinese characters"}};
  QueueName name;
  std::string reason;
  for (const auto& [written, expected] : rows) {
    EXPECT_FALSE(QueueName::Read(written, name, reason)) << written;
    EXPECT_EQ(reason, expected);
  }
  EXPECT_TRUE(QueueName::Read(std::string(234, 'a'), name, reason));
}

TEST(QueueNames, ComeFromNoFileThatTheyWouldNotMake) {
  for (const char* const file :
       {"a", ".queue", "a.queue-wal", "%41.queue", "a%2fb.queue", "a%2.queue",
        ".a.queue", "a b.queue", "%00.queue", "a%B6.queue"}) {
    QueueName name;
    EXPECT_FALSE(QueueName::FromFile(file, name)) << file << name.Text();
  }
}

}  // namespace
}  // namespace kiv::mq
