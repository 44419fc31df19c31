#include "mq/queue_name.h"

#include <gtest/gtest.h>

#include <string>

namespace kiv::mq {
namespace {

struct NameCase {
  const char* name;
  std::string written;
  std::string text;
  std::string file;
};

class NameOfQueue : public ::testing::TestWithParam<NameCase> {};

TEST_P(NameOfQueue, HasAFileAndComesBackFromIt) {
  QueueName name;
  std::string reason;
  ASSERT_TRUE(QueueName::Read(GetParam().written, name, reason)) << reason;
  EXPECT_EQ(name.Text(), GetParam().text);
  EXPECT_EQ(name.Path(), ".\\private$\\" + GetParam().text);
  EXPECT_EQ(name.File(), GetParam().file);
  QueueName back;
  ASSERT_TRUE(QueueName::FromFile(name.File(), back));
  EXPECT_EQ(back.Text(), name.Text());
}

INSTANTIATE_TEST_SUITE_P(
    Name, NameOfQueue,
    ::testing::Values(
        NameCase{"Plain", "orders_1.a-b$", "orders_1.a-b$",
                 "orders_1.a-b$.queue"},
        NameCase{"Private", ".\\Private$\\orders", "orders", "orders.queue"},
        NameCase{"Direct", "direct=os:.\\private$\\orders", "orders",
                 "orders.queue"},
        // Another computer's: no queue of ours, and no folder either.
        NameCase{"Remote", "srv\\private$\\x", "srv\\private$\\x",
                 "srv%5Cprivate$%5Cx.queue"},
        NameCase{"DirectRemote", "DIRECT=OS:srv\\x", "DIRECT=OS:srv\\x",
                 "DIRECT%3DOS%3Asrv%5Cx.queue"},
        NameCase{"PathTwice", ".\\private$\\.\\private$\\x", "x", "x.queue"},
        NameCase{"Up", "../x", "../x", "%2E.%2Fx.queue"},
        NameCase{"Percent", "a%41 ", "a%41 ", "a%2541%20.queue"},
        NameCase{"Chinese", "\xB6\xA9\xB5\xA5", "\xB6\xA9\xB5\xA5",
                 "\xB6\xA9\xB5\xA5.queue"},
        // 乗: a character that ends in the byte of "\".
        NameCase{"BackslashByte", "\x81\x5C/", "\x81\x5C/",
                 "\x81\x5C%2F.queue"},
        NameCase{"Euro", "\x80/", "\x80/", "\x80%2F.queue"}),
    [](const auto& row) { return row.param.name; });

TEST(QueueNames, ThatNoQueueCanHaveAreRefusedWithAReason) {
  const struct {
    std::string written;
    const char* reason;
  } rows[] = {{"", "the name is empty"},
              {".\\private$\\", "the name is empty"},
              {"a\nb", "the name holds a control character"},
              {std::string("a\0b", 3), "the name holds a control character"},
              {"a\xB6", "the name is no text in the local encoding"},
              {"\xFF\x41", "the name is no text in the local encoding"},
              {std::string(235, 'a'), "the name is too long: at most 234 "}};
  for (const auto& row : rows) {
    QueueName name;
    std::string reason;
    EXPECT_FALSE(QueueName::Read(row.written, name, reason)) << row.written;
    EXPECT_EQ(reason.substr(0, std::string(row.reason).size()), row.reason);
  }
  QueueName longest;
  std::string reason;
  EXPECT_TRUE(QueueName::Read(std::string(234, 'a'), longest, reason));
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
